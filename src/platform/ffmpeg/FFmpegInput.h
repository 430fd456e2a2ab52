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
///
/// Silences FFmpeg's own messages and bounds the size of each piece of memory that it takes, in the whole program.
class FFmpegInput {
 public:
  explicit FFmpegInput(std::unique_ptr<ByteSource> bytes);

  /// Finds out what the file is, by its bytes alone, and opens it. On failure `context` is empty. From here until
  /// `endOpening` no more is read than an honest file takes, since what is read becomes tables in memory.
  std::error_code open(FFmpegHandle<AVFormatContext>& context);
  void endOpening();

  /// Ends what is under way, and whatever is begun later. Any thread.
  void cancel() noexcept { cancelled_ = true; }
  bool isCancelled() const noexcept { return cancelled_; }

 private:
  static int readBytes(void* self, std::uint8_t* into, int size);
  static std::int64_t seekBytes(void* self, std::int64_t offset, int whence);
  static int wantsToEnd(void* self);

  std::unique_ptr<ByteSource> bytes_;
  std::int64_t position_ = 0;
  /// Bytes that may still be read.
  std::int64_t allowance_ = 0;
  std::atomic<bool> cancelled_ = false;
  FFmpegHandle<AVIOContext> io_;
};

}  // namespace tallyrig
