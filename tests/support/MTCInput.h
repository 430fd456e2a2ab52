#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/simulated/SimulatedWorld.h"
#include "support/MTCSignal.h"
#include "timecode/TimecodeAnchor.h"

namespace tallyrig {

/// A MIDI source of a simulated world, and a player of MIDI Time Code behind it: quarter frames at exact instants, the
/// first piece of a pair of frames at its first instant. Main thread.
class MTCInput {
 public:
  MTCInput(SimulatedWorld& world, std::string name, const Timecode& start)
      : source(world.midi().addSource(name)), world_(world), next_(start) {
    SimulatedMidiDestination& player = world.midi().addDestination("Player of " + name, false);
    world.midi().connect(player, source);
    destination_ = player.endpoint();
    world.midi().createClient(
        "MTCInput", [] {}, client_);
    world.midi().createOutputPort(client_, "MTCInput", port_);
  }
  ~MTCInput() { world_.midi().disposeClient(client_); }
  MTCInput(const MTCInput&) = delete;
  MTCInput& operator=(const MTCInput&) = delete;

  /// From now on, with the next pair of frames.
  void play() {
    truth_ = {next_, world_.clock().now()};
    sent_ = 0;
    timer_ = world_.scheduler().mainQueue().repeat({.interval = kPeriod, .leeway = {}, .first = {}},
                                                   [this] { sendAhead(); });
  }
  /// Cuts the stream.
  void stop() {
    timer_.reset();
    world_.midi().flushOutput(destination_);
  }
  void locate(const Timecode& timecode) {
    next_ = timecode;
    world_.midi().send(port_, destination_, fullFrame(timecode), world_.clock().now());
  }

  /// What the stream stands at while it plays.
  Timecode truthAt(HostTime now) const { return truth_.extrapolated(now, world_.clock()); }

  SimulatedMidiSource& source;

 private:
  static constexpr std::chrono::milliseconds kPeriod{100};

  HostTime instantOf(std::int64_t quarterFrame) const {
    const double nanos = static_cast<double>(quarterFrame) * 1e9 / quarterFramesPerSecond(truth_.timecode.frameRate);
    return truth_.hostTime + world_.clock().ticksFromNanos(static_cast<std::uint64_t>(nanos));
  }

  void sendAhead() {
    const HostTime horizon = world_.clock().now() + world_.clock().ticksFromNanos(200'000'000);
    for (; instantOf(sent_) < horizon; ++sent_) {
      const auto piece = static_cast<int>(sent_ % 8);
      const Timecode pair = truth_.timecode.advanced(sent_ / 8 * 2);
      world_.midi().send(port_, destination_, quarterFrame(pair, piece), instantOf(sent_));
      next_ = pair.advanced(2);
    }
  }

  SimulatedWorld& world_;
  Timecode next_;
  TimecodeAnchor truth_;
  std::int64_t sent_ = 0;
  MIDIEndpointRef destination_ = 0;
  MIDIClientRef client_ = 0;
  MIDIPortRef port_ = 0;
  std::unique_ptr<RepeatingTimer> timer_;
};

}  // namespace tallyrig
