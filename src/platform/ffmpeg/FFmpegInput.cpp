#include "platform/ffmpeg/FFmpegInput.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <utility>

#include "platform/ffmpeg/FFmpegError.h"
#include "platform/ffmpeg/MovieEdits.h"

extern "C" {
#include <libavutil/dict.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
}

namespace tallyrig {
namespace {

constexpr std::size_t kBufferSize = 32768;
// The index of a whole day at 192 kHz takes less, and so does a picture of 8K; the header of hours of many tracks is a
// tenth of what may be read. A forged one can stand for all the memory that there is.
constexpr std::size_t kLargestAllocation = std::size_t{512} << 20U;
constexpr std::int64_t kMostReadToOpen = std::int64_t{128} << 20U;
constexpr int kMostTracks = 128;

// Containers that are one file. Play lists and the like, which are read by opening other places, are not among them.
constexpr char kFormats[] =
    "aac,ac3,aiff,amr,ape,asf,au,avi,caf,dts,eac3,flac,flv,m4v,matroska,mov,mp3,mpeg,mpegts,mxf,ogg,rm,tta,voc,w64,wav,"
    "wv";

int refuseToOpen(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
  return AVERROR(EACCES);
}

}  // namespace

FFmpegInput::FFmpegInput(std::unique_ptr<ByteSource> bytes) : bytes_(std::move(bytes)) {
  av_log_set_level(AV_LOG_QUIET);
  av_max_alloc(kLargestAllocation);
  auto* buffer = static_cast<unsigned char*>(av_malloc(kBufferSize));
  if (buffer == nullptr) return;
  io_.reset(avio_alloc_context(buffer, kBufferSize, 0, this, &readBytes, nullptr, &seekBytes));
  if (!io_) av_free(buffer);
}

std::error_code FFmpegInput::open(FFmpegHandle<AVFormatContext>& context) {
  AVFormatContext* opened = avformat_alloc_context();
  if (!io_ || opened == nullptr) {
    avformat_free_context(opened);
    return std::make_error_code(std::errc::not_enough_memory);
  }
  opened->pb = io_.get();
  opened->flags |= AVFMT_FLAG_CUSTOM_IO;
  opened->io_open = &refuseToOpen;
  opened->interrupt_callback = {&wantsToEnd, this};
  opened->format_whitelist = av_strdup(kFormats);
  opened->protocol_whitelist = av_strdup("");
  opened->max_streams = kMostTracks;
  allowance_ = kMostReadToOpen;
  AVDictionary* options = nullptr;
  if (hasUneditedSound(*bytes_)) av_dict_set(&options, "advanced_editlist", "0", 0);
  // On failure the library frees the context itself.
  const int status = avformat_open_input(&opened, nullptr, nullptr, &options);
  av_dict_free(&options);
  if (status < 0) return ffmpegError(status);
  context.reset(opened);
  return {};
}

void FFmpegInput::endOpening() {
  allowance_ = std::numeric_limits<std::int64_t>::max();
}

int FFmpegInput::readBytes(void* self, std::uint8_t* into, int size) {
  auto& input = *static_cast<FFmpegInput*>(self);
  if (input.cancelled_) return AVERROR_EXIT;
  const auto length = static_cast<std::int64_t>(input.bytes_->size());
  const std::int64_t count = std::min<std::int64_t>(size, length - input.position_);
  if (count <= 0) return AVERROR_EOF;
  if (count > input.allowance_) return AVERROR(EFBIG);
  const auto offset = static_cast<std::uint64_t>(input.position_);
  if (const auto error = input.bytes_->read(offset, {into, static_cast<std::size_t>(count)})) {
    return AVERROR(error.category() == std::generic_category() ? error.value() : EIO);
  }
  input.position_ += count;
  input.allowance_ -= count;
  return static_cast<int>(count);
}

std::int64_t FFmpegInput::seekBytes(void* self, std::int64_t offset, int whence) {
  auto& input = *static_cast<FFmpegInput*>(self);
  const auto length = static_cast<std::int64_t>(input.bytes_->size());
  switch (whence & ~AVSEEK_FORCE) {
    case AVSEEK_SIZE:
      return length;
    case SEEK_SET:
      break;
    case SEEK_CUR:
      offset += input.position_;
      break;
    case SEEK_END:
      offset += length;
      break;
    default:
      return AVERROR(EINVAL);
  }
  if (offset < 0) return AVERROR(EINVAL);
  return input.position_ = offset;
}

int FFmpegInput::wantsToEnd(void* self) {
  return static_cast<FFmpegInput*>(self)->cancelled_ ? 1 : 0;
}

}  // namespace tallyrig
