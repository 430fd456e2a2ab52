#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <system_error>

#include "platform/ByteSource.h"
#include "platform/ffmpeg/FFmpegHandles.h"

namespace tallyrig {

/// The bytes of one file as FFmpeg reads them. FFmpeg gets at nothing else: a file that names others, or places in the
/// network, gets none of them. One thread at a time, but for `cancel`.
class FFmpegInput {
 public:
  explicit FFmpegInput(std::unique_ptr<ByteSource> bytes);

  /// Finds out what the file is, by its bytes alone, and opens it. On failure `context` is empty.
  std::error_code open(FFmpegHandle<AVFormatContext>& context);

  /// Ends what is under way, and whatever is begun later. Any thread.
  void cancel() noexcept { cancelled_ = true; }
  bool isCancelled() const noexcept { return cancelled_; }

 private:
  static int readBytes(void* self, std::uint8_t* into, int size);
  static std::int64_t seekBytes(void* self, std::int64_t offset, int whence);
  static int wantsToEnd(void* self);

  std::unique_ptr<ByteSource> bytes_;
  std::int64_t position_ = 0;
  std::atomic<bool> cancelled_ = false;
  FFmpegHandle<AVIOContext> io_;
};

}  // namespace tallyrig
