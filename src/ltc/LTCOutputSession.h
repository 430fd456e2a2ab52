#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "audio/AudioDevices.h"
#include "ltc/LTCAudioGenerator.h"
#include "ltc/LTCOutputError.h"
#include "ltc/LTCOutputRenderer.h"
#include "platform/HostClock.h"
#include "platform/Log.h"
#include "platform/SerialQueue.h"
#include "timecode/TimecodeAnchor.h"

namespace tallyrig {

/// One run of LTC on one output channel: a queue of its own keeps some two seconds of encoded audio ahead of the
/// device, and tells from the callback's published position which frame has been played and when. It can end exactly
/// at a frame boundary.
class LTCOutputSession : public std::enable_shared_from_this<LTCOutputSession> {
 public:
  struct Settings {
    AudioOutputDevice device;
    /// Logical channel, from 0.
    std::int64_t channel = 0;
    MTCFrameRate frameRate = MTCFrameRate::fps30;
    /// Converted to `frameRate`.
    Timecode startTimecode;
    double volumeDBFS = 0;
  };

  LTCOutputSession(Settings settings, const HostClock& clock, Scheduler& scheduler, Log& log);

  /// Called on the producer queue: the newest frame whose first sample has been played, and when. Set before
  /// `configure`.
  std::function<void(const TimecodeAnchor&)> onAnchor;
  /// Called on the producer queue: the device asked for more than there was.
  std::function<void()> onUnderrun;

  /// Makes the encoder, fills the ring and starts producing; returns when that is done. `sampleRate` in hertz.
  std::optional<LTCOutputError> configure(double sampleRate);

  /// Ends the output after the frame that is on the air, with silence from the next frame's first sample on.
  /// `completion` is called on the producer queue with the last frame sent and the instant at which it ended. While a
  /// stop is pending another does nothing, and its completion is never called. Any thread.
  void requestBoundaryStop(std::function<void(const TimecodeAnchor&)> completion);

  /// Ends the production; returns when that is done. The callback must have been detached.
  void close();

  const AudioOutputDevice& device() const { return settings_.device; }
  std::int64_t channel() const { return settings_.channel; }
  /// What the device callback runs. Present once `configure` has made it.
  const std::shared_ptr<LTCOutputRenderer>& renderer() const { return renderer_; }

 private:
  struct FrameBoundary {
    /// The frame's first sample.
    std::int64_t sampleOffset = 0;
    Timecode timecode;
  };

  /// How much is kept ahead of the device.
  std::int64_t samplesAhead() const;
  void fill();
  void tick();
  void publishNewestPlayedBoundary();
  void reportBoundaryStop();

  const Settings settings_;
  const HostClock& clock_;
  Log& log_;
  std::shared_ptr<SerialQueue> producerQueue_;
  std::shared_ptr<LTCOutputRenderer> renderer_;

  // Producer queue only.
  std::unique_ptr<RepeatingTimer> producerTimer_;
  std::unique_ptr<LTCAudioGenerator> generator_;
  double sampleRate_ = 48000;
  /// What has been generated and not yet forgotten, oldest first.
  std::vector<FrameBoundary> frameBoundaries_;
  std::int64_t generatedSampleOffset_ = 0;
  std::int64_t lastPublishedBoundaryOffset_ = -1;
  std::optional<FrameBoundary> requestedStopBoundary_;
  bool didReportBoundaryStop_ = false;
  std::function<void(const TimecodeAnchor&)> boundaryStopCompletion_;
};

}  // namespace tallyrig
