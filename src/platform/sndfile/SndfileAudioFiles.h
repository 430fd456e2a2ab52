#pragma once

#include "platform/AudioFile.h"
#include "platform/OpenBytes.h"

namespace tallyrig {

/// Audio files of every kind that libsndfile reads: WAV with its long forms RF64 and W64, AIFF, CAF, FLAC, Ogg, MP3 and
/// more. What a file is shows in its bytes; its name is not looked at.
class SndfileAudioFiles final : public AudioFiles {
 public:
  explicit SndfileAudioFiles(OpenBytes openBytes);

  std::error_code open(const std::filesystem::path& path, std::unique_ptr<AudioFile>& file) override;

 private:
  OpenBytes openBytes_;
};

}  // namespace tallyrig
