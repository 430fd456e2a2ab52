#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "ltc/FrameRateLock.h"
#include "platform/HostClock.h"
#include "timecode/Timecode.h"

struct LTCDecoder;

namespace tallyrig {

/// Turns mono audio into timecode (SMPTE 12M linear timecode): finds the frames with libltc, resolves their rate and
/// stamps them with host time. It knows nothing of devices, levels or loss of signal. Frames of code that runs
/// backwards are reported like any other.
///
/// One thread at a time; not real-time safe, since it allocates. Nothing fails visibly: what cannot be decoded gives
/// no frame.
class LTCTimecodeDecoder {
 public:
  struct DecodedFrame {
    /// As the frame carries it, at the resolved rate.
    Timecode timecode;
    /// Samples since this object's first chunk, its last `reset` or the last change of sample rate. A frame lasts
    /// longer than most chunks, so both can lie before the chunk that completed it.
    std::int64_t startSamplePosition = 0;
    std::int64_t endSamplePosition = 0;
    /// The instants of these samples; both or none.
    std::optional<HostTime> startHostTime;
    std::optional<HostTime> endHostTime;

    bool operator==(const DecodedFrame&) const = default;
  };

  explicit LTCTimecodeDecoder(const HostClock& clock);

  /// Called inside `process`. May be empty.
  std::function<void(const DecodedFrame&)> onTimecode;

  /// Takes the next chunk, nominally within -1...1; a louder one is scaled down as a whole. `hostTime` is the instant
  /// of its first sample, `sampleRate` is in hertz. Reports at most one frame: the newest valid one that the chunk
  /// completed. A change of sample rate begins anew, but for the rate lock.
  void process(std::span<const float> samples, std::optional<HostTime> hostTime, double sampleRate);

  /// Forgets everything but `onTimecode`.
  void reset();

 private:
  struct FreeDecoder {
    void operator()(LTCDecoder* decoder) const noexcept;
  };

  bool prepareDecoder(double sampleRate);
  void writeSamples(std::span<const float> samples);
  std::optional<DecodedFrame> readNewestFrame(double sampleRate);

  const HostClock& clock_;
  std::unique_ptr<LTCDecoder, FreeDecoder> decoder_;
  double currentSampleRate_ = 0;
  std::int64_t samplePosition_ = 0;
  FrameRateLock rateLock_;
  std::vector<float> normalized_;
};

}  // namespace tallyrig
