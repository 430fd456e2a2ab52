#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>

#include "platform/Lifetime.h"
#include "platform/simulated/SimulatedWorld.h"
#include "support/MTCSignal.h"

namespace tallyrig {

/// A machine that plays timecode into a MIDI destination: quarter frames at their ideal instants, to the nanosecond,
/// and full frames while it locates. It knows what it is playing at any instant.
class MTCTransport {
 public:
  MTCTransport(SimulatedWorld& world, SimulatedMidiDestination& out) : world_(world), out_(out) {
    if (world.midi().createClient(
            "MTCTransport", [] {}, client_) != kPlatformOk ||
        world.midi().createOutputPort(client_, "out", port_) != kPlatformOk) {
      throw std::runtime_error("no MIDI port");
    }
  }
  ~MTCTransport() { world_.midi().disposeClient(client_); }
  MTCTransport(const MTCTransport&) = delete;
  MTCTransport& operator=(const MTCTransport&) = delete;

  /// From now on and from `start` on, beginning with piece 0.
  void play(const Timecode& start) {
    start_ = start;
    begin_ = world_.clock().nanos();
    ++run_;
    sendPiece(0, run_);
  }
  void stop() { ++run_; }
  void locate(const Timecode& timecode) { send(fullFrame(timecode)); }

  /// What was played when the last quarter frame left; as `truthAt`.
  std::optional<Timecode> truthAtLastPiece() const { return truthAt(lastPiece_); }

  /// The frame at `now`; absent within a sample of a boundary between two frames, where either neighbour is right.
  std::optional<Timecode> truthAt(std::chrono::nanoseconds now) const {
    const Timecode early = frameAt(now - kSample);
    if (early != frameAt(now + kSample)) return std::nullopt;
    return early;
  }
  std::chrono::nanoseconds begin() const { return begin_; }

  /// At 48 kHz.
  static constexpr std::chrono::nanoseconds kSample{20'833};

 private:
  Timecode frameAt(std::chrono::nanoseconds now) const {
    const std::int64_t elapsed = (now - begin_).count();
    if (elapsed < 0) return start_;
    const bool isDropFrame = start_.frameRate == MTCFrameRate::fps2997;
    const std::int64_t perSecond = nominalFrameRate(start_.frameRate);
    return start_.advanced(elapsed * perSecond / (isDropFrame ? 1'001'000'000 : 1'000'000'000));
  }

  /// From the beginning to quarter frame `number`, rounded.
  std::chrono::nanoseconds offsetOf(std::int64_t number) const {
    const bool isDropFrame = start_.frameRate == MTCFrameRate::fps2997;
    const std::int64_t perSecond = 4 * nominalFrameRate(start_.frameRate);
    const std::int64_t second = isDropFrame ? 1'001'000'000 : 1'000'000'000;
    return std::chrono::nanoseconds((number * second + perSecond / 2) / perSecond);
  }

  void sendPiece(std::int64_t number, int run) {
    if (run != run_) return;
    const auto piece = static_cast<int>(number % kQuarterFramePieces);
    send(quarterFrame(start_.advanced(number / kQuarterFramePieces * 2), piece));
    lastPiece_ = world_.clock().nanos();
    const auto next = begin_ + offsetOf(number + 1) - lastPiece_;
    world_.scheduler().mainQueue().postAfter(next,
                                             lifetime_.guard([this, number, run] { sendPiece(number + 1, run); }));
  }

  void send(const MidiBytes& bytes) {
    const auto status = world_.midi().send(port_, out_.endpoint(), bytes, world_.clock().now());
    if (status != kPlatformOk) throw std::runtime_error("not sent");
  }

  SimulatedWorld& world_;
  SimulatedMidiDestination& out_;
  MIDIClientRef client_ = 0;
  MIDIPortRef port_ = 0;
  Lifetime lifetime_;
  Timecode start_;
  std::chrono::nanoseconds begin_{0};
  std::chrono::nanoseconds lastPiece_{0};
  int run_ = 0;
};

}  // namespace tallyrig
