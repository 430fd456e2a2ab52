#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "scenario/DisplayTick.h"
#include "scenario/Start.h"
#include "support/Cards.h"
#include "support/HeardOutput.h"
#include "support/LTCSignal.h"
#include "support/Wall.h"

namespace tallyrig {

constexpr double kRate = 48000;
constexpr std::uint32_t kQuantum = 256;
/// From the return of the code to the lock: a loss that lasted is forgotten, the first frame is found at the end of the
/// second or third, and three frames must agree.
constexpr std::chrono::milliseconds kRelock{350};

/// One card on input 0 of a desk that emits on output 4.
class JamSync : public testing::Test {
 protected:
  Wall wall{{.seed = 51}};
  SimulatedWorld& world = wall.world;
  SimulatedDevice& desk =
      world.audio().addDevice({.name = "Desk", .inputGroups = {8}, .outputGroups = {8}, .quantum = kQuantum});
  HeardOutput output{desk, 4};
  std::unique_ptr<LTCSignal> signal;
  /// The first sample of the signal, as a position of the desk.
  std::int64_t signalStart = 0;
  float gain = 1;

  void open(OutputFrameRate rate = OutputFrameRate::followInput) {
    wall.openWith({emittingOn(readerOn(desk, 0), desk, 4, rate)});
  }
  ReaderInstance& card() { return wall.card(0); }
  JamSyncState state() { return card().jamSyncState(); }

  /// From the desk's next cycle on the input hears this code.
  void play(const Timecode& start) {
    signal = std::make_unique<LTCSignal>(start.frameRate, start, kRate);
    signalStart = desk.nextPosition();
    desk.feed(0, [this](std::int64_t position, std::span<float> samples) {
      signal->fill(position - signalStart, samples);
      for (float& sample : samples) sample *= gain;
    });
  }

  /// The frame at the input connector at a position of the desk.
  Timecode truthAt(std::int64_t position) { return signal->frameAt(position - signalStart); }

  /// Jams to `start` and expects the lock.
  void jamTo(const Timecode& start) {
    play(start);
    world.runFor(std::chrono::seconds(1));
    card().enableJam();
    world.runFor(kRelock);
    ASSERT_EQ(state(), JamSyncState::locked);
  }

  /// Lets `duration` pass and expects the output to be one row of frames that starts with the first one heard now,
  /// and the display to show at each tick the frame that is at the connector, give or take a cycle and the output's
  /// 10 ms turn.
  void expectSteadyOutput(std::chrono::nanoseconds duration) {
    const std::size_t first = output.frames().size();
    const int broken = output.brokenCount();
    std::vector<std::pair<std::int64_t, Timecode>> shown;
    for (std::chrono::nanoseconds passed{0}; passed < duration; passed += kTick) {
      world.runFor(kTick);
      const auto now = static_cast<double>((world.clock().now() - desk.timeOf(0)).ticks) * kRate / 1e9;
      shown.emplace_back(static_cast<std::int64_t>(now), *card().displayedTimecode(world.clock().now()));
    }
    ASSERT_GT(output.frames().size(), first + 2);
    for (std::size_t i = first + 1; i < output.frames().size(); ++i) {
      EXPECT_EQ(output.frames()[i].timecode, output.frames()[i - 1].timecode.advanced(1));
      EXPECT_EQ(output.frames()[i].start, output.frames()[i - 1].end);
    }
    EXPECT_EQ(output.brokenCount(), broken);
    const std::int64_t late = 530 + 48;
    int compared = 0;
    for (const auto& [position, timecode] : shown) {
      const auto early = output.frameAt(position - late);
      const auto ahead = output.frameAt(position + kQuantum);
      if (!early || !ahead || early->start < output.frames()[first].start) continue;
      ++compared;
      EXPECT_GE(*early->timecode.signedFrameDistance(timecode), 0);
      EXPECT_LE(*timecode.signedFrameDistance(ahead->timecode), ahead->timecode == early->timecode ? 0 : 1);
    }
    EXPECT_GT(compared, static_cast<int>(shown.size()) * 8 / 10);
  }

  /// Frames by which the output is behind the input, where the newest frame heard began.
  std::int64_t lag() {
    const auto& newest = output.frames().back();
    return newest.timecode.signedFrameDistance(truthAt(newest.start)).value_or(9999);
  }
};

}  // namespace tallyrig
