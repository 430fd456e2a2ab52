#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <utility>
#include <vector>

#include "scenario/Start.h"
#include "support/Cards.h"
#include "support/HeardOutput.h"
#include "support/MTCListener.h"
#include "support/MTCTransport.h"
#include "support/Wall.h"

namespace tallyrig {

/// From the return of the code to the lock: two sequences.
constexpr std::chrono::milliseconds kRelock{165};

/// A machine that plays into a card, which emits MTC to the lights or LTC on the desk.
class JamSyncMTC : public testing::Test {
 protected:
  Wall wall{{.seed = 81}};
  SimulatedWorld& world = wall.world;
  SimulatedDevice& desk = world.audio().addDevice({.name = "Desk", .outputGroups = {2}, .quantum = 256});
  SimulatedMidiDestination& player = world.midi().addDestination("Player", false);
  SimulatedMidiSource& in = world.midi().addSource("Machine");
  SimulatedMidiCable& cable = world.midi().connect(player, in);
  SimulatedMidiDestination& lights = world.midi().addDestination("Lights");
  MTCTransport machine{world, player};
  MTCListener listener{lights};
  HeardOutput heard{desk, 1};
  std::vector<JamSyncState> states;
  Timecode played;
  HostTime playedAt;

  void open(const ReaderSnapshot& card) {
    wall.openWith({card});
    QObject::connect(&this->card(), &ReaderInstance::jamChanged, [this] { states.push_back(state()); });
  }
  void openToLights() { open(emittingTo(readerOf(in), lights)); }
  void openToDesk() { open(emittingOn(readerOf(in), desk, 1)); }
  ReaderInstance& card() { return wall.card(0); }
  JamSyncState state() { return card().jamSyncState(); }
  std::vector<JamSyncState> takeStates() { return std::exchange(states, {}); }

  void play(const Timecode& start) {
    played = start;
    playedAt = world.clock().now();
    machine.play(start);
  }
  Timecode truth() const { return TimecodeAnchor{played, playedAt}.extrapolated(world.clock().now(), world.clock()); }
  /// Plays and jams, and expects the lock.
  void jamTo(const Timecode& start) {
    play(start);
    world.runFor(std::chrono::seconds(1));
    card().enableJam();
    world.runFor(kRelock);
    ASSERT_EQ(state(), JamSyncState::locked);
    states.clear();
  }
  /// The stream at the lights runs on without a locate or a gap for `duration`.
  void expectSteadyStream(std::chrono::nanoseconds duration) {
    listener.listen();
    listener.clear();
    world.runFor(duration);
    listener.listen();
    ASSERT_FALSE(listener.sequences().empty());
    for (std::size_t i = 1; i < listener.sequences().size(); ++i) {
      ASSERT_EQ(listener.sequences()[i].timecode, listener.sequences()[i - 1].timecode.advanced(2));
    }
    EXPECT_THAT(listener.locates(), testing::IsEmpty());
    EXPECT_EQ(listener.brokenCount(), 0);
    EXPECT_EQ(listener.shortestPeriod(), listener.longestPeriod());
  }
  /// Frames by which the stream is behind the machine, at its last sequence.
  double lag() {
    const auto& [timecode, at] = listener.sequences().back();
    const double frames = world.clock().seconds(at - playedAt) * exactFrameRate(played.frameRate);
    return frames - static_cast<double>(played.signedFrameDistance(timecode).value_or(1'000'000));
  }
  static constexpr double kSample = 30 / 48000.0;
};

}  // namespace tallyrig
