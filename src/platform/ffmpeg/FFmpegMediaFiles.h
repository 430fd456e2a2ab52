#pragma once

#include "platform/MediaFile.h"
#include "platform/OpenBytes.h"

namespace tallyrig {

/// Media files of every container that FFmpeg reads and that is one file by itself. What a file is shows in its bytes;
/// its name is not looked at.
class FFmpegMediaFiles final : public MediaFiles {
 public:
  explicit FFmpegMediaFiles(OpenBytes openBytes);

  std::error_code open(const std::filesystem::path& path, std::unique_ptr<MediaFile>& file) override;

 private:
  OpenBytes openBytes_;
};

}  // namespace tallyrig
