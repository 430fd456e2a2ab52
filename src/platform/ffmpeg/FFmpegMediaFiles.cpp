#include "platform/ffmpeg/FFmpegMediaFiles.h"

#include <utility>

#include "platform/ffmpeg/FFmpegMediaFile.h"

namespace tallyrig {

FFmpegMediaFiles::FFmpegMediaFiles(OpenBytes openBytes) : openBytes_(std::move(openBytes)) {}

std::error_code FFmpegMediaFiles::open(const std::filesystem::path& path, std::unique_ptr<MediaFile>& file) {
  std::unique_ptr<ByteSource> bytes;
  if (const auto error = openBytes_(path, bytes)) return error;
  auto opened = std::make_unique<FFmpegMediaFile>(std::move(bytes));
  if (const auto error = opened->open()) return error;
  file = std::move(opened);
  return {};
}

}  // namespace tallyrig
