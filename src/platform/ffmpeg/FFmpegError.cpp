#include "platform/ffmpeg/FFmpegError.h"

#include <array>
#include <string>

extern "C" {
#include <libavutil/error.h>
}

namespace tallyrig {
namespace {

class FFmpegCategory final : public std::error_category {
 public:
  const char* name() const noexcept override { return "ffmpeg"; }
  std::string message(int status) const override {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(status, text.data(), text.size());
    return text.data();
  }
};

// FFmpeg's own numbers are four characters with the sign turned, far from any errno.
constexpr int kLargestErrno = 4095;

}  // namespace

std::error_code ffmpegError(int status) {
  static const FFmpegCategory kCategory;
  if (status == AVERROR_EXIT) return std::make_error_code(std::errc::operation_canceled);
  if (AVUNERROR(status) <= kLargestErrno) return {AVUNERROR(status), std::generic_category()};
  return {status, kCategory};
}

}  // namespace tallyrig
