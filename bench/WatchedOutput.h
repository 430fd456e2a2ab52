#pragma once

#include <atomic>
#include <cmath>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "ProcessUsage.h"
#include "platform/AudioSystem.h"
#include "platform/HostClock.h"
#include "support/ForwardedAudio.h"

namespace tallyrig {

/// Instants that one real-time thread notes and another thread takes. A full list loses the rest.
template <typename Noted>
class NotedEvents {
 public:
  void note(const Noted& event) noexcept {
    const std::size_t at = written_.load(std::memory_order_relaxed);
    if (at - read_.load(std::memory_order_acquire) == events_.size()) return;
    events_[at % events_.size()] = event;
    written_.store(at + 1, std::memory_order_release);
  }
  /// What has been noted since the last call.
  std::vector<Noted> take() {
    std::vector<Noted> taken;
    std::size_t next = read_.load(std::memory_order_relaxed);
    for (const std::size_t end = written_.load(std::memory_order_acquire); next < end; ++next)
      taken.push_back(events_[next % events_.size()]);
    read_.store(next, std::memory_order_release);
    return taken;
  }

 private:
  std::vector<Noted> events_ = std::vector<Noted>(65536);
  std::atomic<std::size_t> written_{0};
  std::atomic<std::size_t> read_{0};
};

/// An audio system that tells what the callbacks on it gave to the device and when: what goes wrong there is told from
/// what goes wrong on the way.
class WatchedOutput final : public ForwardedAudio {
 public:
  struct Event {
    enum class Kind {
      /// The callback gave silence on the watched channel after sound.
      kSilence,
      /// It was called later than its cycle lasts, or not at all.
      kLate,
    };
    Kind kind = Kind::kSilence;
    double seconds = 0;
  };

  WatchedOutput(AudioSystem& inner, const HostClock& clock, int channel, double rate)
      : ForwardedAudio(inner), clock_(clock), channel_(static_cast<std::size_t>(channel)), rate_(rate) {}

  std::vector<Event> take() { return events_.take(); }

  PlatformStatus createIO(AudioDeviceID device, AudioCycleCallback callback, std::unique_ptr<AudioIO>& io) override {
    return ForwardedAudio::createIO(
        device,
        [this, callback = std::move(callback)](const AudioCycle& cycle) {
          callback(cycle);
          watch(cycle);
        },
        io);
  }

 private:
  void watch(const AudioCycle& cycle) noexcept {
    if (cycle.output.size() <= channel_ || cycle.output[channel_].data == nullptr) return;
    const AudioBuffer& buffer = cycle.output[channel_];
    const double start = clock_.seconds(cycle.outputTime.hostTime - HostTime{});
    const std::size_t frames = buffer.byteSize / sizeof(float);
    const double length = static_cast<double>(frames) / rate_;
    if ((last_ > 0 && start - last_ > 1.5 * length) || clockSeconds(CLOCK_MONOTONIC) > start + length)
      events_.note({Event::Kind::kLate, start});
    last_ = start;
    for (std::size_t frame = 0; frame < frames; ++frame) {
      const bool sounds = std::abs(buffer.data[frame]) > 0.1F;
      if (sounded_ && !sounds) events_.note({Event::Kind::kSilence, start + static_cast<double>(frame) / rate_});
      sounded_ = sounds;
    }
  }

  const HostClock& clock_;
  const std::size_t channel_;
  const double rate_;
  double last_ = 0;
  bool sounded_ = false;
  NotedEvents<Event> events_;
};

}  // namespace tallyrig
