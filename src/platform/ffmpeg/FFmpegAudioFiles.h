#pragma once

#include "platform/AudioFile.h"
#include "platform/OpenBytes.h"

namespace tallyrig {

/// Audio files of every kind: those that another reader knows, and where it refuses, the first audio track of what
/// FFmpeg makes of the file, such as AAC and AC-3 without a container, or an audiobook.
class FFmpegAudioFiles final : public AudioFiles {
 public:
  /// `first` must outlive this.
  FFmpegAudioFiles(AudioFiles& first, OpenBytes openBytes);

  /// Fails with what `first` says.
  std::error_code open(const std::filesystem::path& path, std::unique_ptr<AudioFile>& file) override;

 private:
  AudioFiles& first_;
  const OpenBytes openBytes_;
};

}  // namespace tallyrig
