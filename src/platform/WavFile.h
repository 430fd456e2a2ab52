#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <system_error>

namespace tallyrig {

struct WavFormat {
  /// In hertz.
  int sampleRate = 0;
  /// 16 or 24.
  int bitDepth = 0;
  /// How many are going to be written, for room to be made for them at once; another number can follow.
  std::int64_t expectedSamples = 0;
};

/// A WAV file that is being written: PCM, little-endian, one channel (RIFF WAVE). Destroying it closes it as well as it
/// can be; what has been written stays. Blocking; one thread at a time that is no real-time thread.
class WavFile {
 public:
  virtual ~WavFile() = default;

  /// The depth that the file really has.
  virtual int bitDepth() const = 0;
  /// Whole samples as they stand in the file: two or three bytes each, signed, the low byte first. Cheapest in pieces
  /// of many thousands. After an error nothing more can be written.
  virtual std::error_code write(std::span<const std::uint8_t> samples) = 0;
  /// Completes the file. No other call may follow.
  virtual std::error_code close() = 0;
};

class WavFiles {
 public:
  virtual ~WavFiles() = default;

  /// Begins a file, in the place of one that is there. Never waits for what is no regular file. On failure `file` is
  /// empty, and a file that was there may have lost its contents. Any thread but a real-time one.
  virtual std::error_code create(const std::filesystem::path& path, WavFormat format,
                                 std::unique_ptr<WavFile>& file) = 0;
};

}  // namespace tallyrig
