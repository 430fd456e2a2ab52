#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <system_error>

namespace tallyrig {

struct AudioFormat {
  /// Frames a second.
  double sampleRate = 0;
  /// Samples in a frame.
  int channelCount = 0;

  bool operator==(const AudioFormat&) const = default;
};

/// Sound that is read in sequence, from any position: interleaved 32-bit floats, full scale at 1, at the sound's own
/// rate and with all its channels. Positions are in frames from the start of the file and exact in every format, so
/// that the delay of an encoder is not part of the sound, and a hole in it reads as silence.
///
/// Blocking; one thread at a time that is no real-time thread. Errors have a text for the user.
class AudioReader {
 public:
  virtual ~AudioReader() = default;

  virtual AudioFormat format() const = 0;

  /// The next `read` begins at `frame`, of 0 and up. A place behind the end is no error; nothing can be read there.
  virtual std::error_code seek(std::int64_t frame) = 0;

  /// The next frames into `samples`, which must have room for at least one. `frames` is their number, which may be
  /// smaller than the room at any time; 0 means that the sound has ended, or that there is an error.
  virtual std::error_code read(std::span<float> samples, std::size_t& frames) = 0;

  /// Ends a `seek` or `read` that is under way, and every later one, with `std::errc::operation_canceled`. Any thread.
  virtual void cancel() noexcept = 0;
};

/// A file that is sound and nothing else, such as WAV, AIFF, FLAC or MP3.
class AudioFile : public AudioReader {
 public:
  /// The length of the file.
  virtual std::int64_t frameCount() const = 0;
};

class AudioFiles {
 public:
  virtual ~AudioFiles() = default;

  /// Opens a file for reading, at its first frame. Never waits for what is no regular file. On failure `file` is empty.
  /// Any thread but a real-time one.
  virtual std::error_code open(const std::filesystem::path& path, std::unique_ptr<AudioFile>& file) = 0;
};

}  // namespace tallyrig
