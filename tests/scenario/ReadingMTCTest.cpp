// What an MTC receiver shows of a machine at the other end of a cable, compared with the truth at every tick of the
// display.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <string>
#include <tuple>

#include "platform/simulated/SimulatedWorld.h"
#include "scenario/DisplayTick.h"
#include "scenario/MTCDisplay.h"
#include "scenario/Start.h"
#include "support/MTCTransport.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using enum MTCFrameRate;
using std::chrono::nanoseconds;

/// The eight pieces of the first sequence are there after two frames of the slowest rate.
constexpr auto kTwoFrames = 84ms;

/// A machine, a cable and a receiver.
struct Rig {
  Rig(SimulatedWorld::Options options, const SimulatedMidiCableOptions& wire)
      : world(options), cable(world.midi().connect(out, in, wire)) {}

  nanoseconds instantOf(HostTime time) const {
    return nanoseconds(static_cast<std::int64_t>(world.clock().nanosFromTicks(HostDuration{time.ticks})));
  }

  /// Lets `duration` pass in ticks of the display and expects what the machine played `lag` before each.
  void expectTruth(std::chrono::milliseconds duration, nanoseconds lag = 0ns) {
    int compared = 0;
    int wrong = 0;
    for (auto passed = 0ns; passed < duration; passed += kTick) {
      world.runFor(kTick);
      const auto truth = machine.truthAt(world.clock().nanos() - lag);
      if (!truth) continue;
      ++compared;
      const auto shown = display.shown();
      if (shown != truth && ++wrong <= 3) ADD_FAILURE() << "shows " << textOrNone(shown) << " at " << truth->text();
    }
    EXPECT_GT(compared, duration / kTick * 9 / 10);
    EXPECT_EQ(wrong, 0) << "of " << compared;
  }

  mutable SimulatedWorld world;
  SimulatedMidiDestination& out = world.midi().addDestination("Machine", false);
  SimulatedMidiSource& in = world.midi().addSource("Machine");
  SimulatedMidiCable& cable;
  MTCTransport machine{world, out};
  MTCDisplay display{world, in};
};

constexpr TickRatio kCoarse{125, 3};

class EachStartOnEachTick : public testing::TestWithParam<std::tuple<Timecode, TickRatio>> {
 protected:
  Timecode start() const { return std::get<0>(GetParam()); }
  Rig rig{{.seed = 5, .tick = std::get<1>(GetParam())}, {}};
};

TEST_P(EachStartOnEachTick, IsShownFrameForFrame) {
  rig.machine.play(start());
  rig.world.runFor(kTwoFrames);
  ASSERT_TRUE(rig.display.receiver.isReceiving());
  rig.expectTruth(10s);
  EXPECT_EQ(rig.world.logCount("rejecting"), 0U);
}

TEST_P(EachStartOnEachTick, EveryAnchorLiesWhereItsFrameBegan) {
  rig.machine.play(start());
  rig.world.runFor(10s);
  ASSERT_GT(rig.display.anchors.size(), 100U);
  const double exact = exactFrameRate(start().frameRate);
  for (std::size_t i = 0; i < rig.display.anchors.size(); ++i) {
    const auto frames = static_cast<std::int64_t>(2 * i);
    ASSERT_EQ(rig.display.anchors[i].timecode, start().advanced(frames)) << "no sequence is missed";
    const nanoseconds off = rig.instantOf(rig.display.anchors[i].hostTime) - rig.machine.begin() -
                            nanoseconds(std::llround(static_cast<double>(frames) / exact * 1e9));
    ASSERT_LE(std::abs(off.count()), MTCTransport::kSample.count()) << frames;
  }
}

TEST_P(EachStartOnEachTick, AStopLeavesTheFrameOfTheLastQuarterFrame) {
  for (int stop = 0; stop < 40; ++stop) {
    rig.machine.play(start());
    rig.world.runFor(200ms + nanoseconds(rig.world.random()() % 200'000'000));
    ASSERT_TRUE(rig.display.receiver.isReceiving());
    rig.machine.stop();
    rig.world.runFor(100ms);
    ASSERT_FALSE(rig.display.receiver.isReceiving());
    const auto truth = rig.machine.truthAtLastPiece();
    if (truth) {
      EXPECT_EQ(rig.display.receiver.currentAnchor()->timecode, *truth);
    }
  }
  EXPECT_EQ(rig.world.logCount("confirmed quarter-frame input timeout"), 40U);
}

INSTANTIATE_TEST_SUITE_P(Everywhere, EachStartOnEachTick,
                         testing::Combine(testing::Values(Timecode{23, 59, 57, 0, fps24}, Timecode{10, 0, 0, 7, fps25},
                                                          Timecode{10, 0, 55, 0, fps2997},
                                                          Timecode{23, 59, 56, 2, fps2997},
                                                          Timecode{0, 0, 0, 1, fps30}),
                                          testing::Values(TickRatio{}, kCoarse)),
                         [](const auto& each) {
                           const Timecode& start = std::get<0>(each.param);
                           return "Rate" + std::to_string(static_cast<int>(start.frameRate)) + "Hour" +
                                  std::to_string(start.hours) + "Tick" +
                                  std::to_string(std::get<1>(each.param).numerator);
                         });

TEST(ReadingMTC, AWireThatTakesTimeShowsWhatArrives) {
  Rig rig({.seed = 6}, {.latency = 7ms});
  rig.machine.play(kStart);
  rig.world.runFor(kTwoFrames + 7ms);
  rig.expectTruth(5s, 7ms);
}

TEST(ReadingMTC, AWireThatTakesMoreOrLessTimeIsNeverAFrameOff) {
  constexpr auto kJitter = 6ms;
  Rig rig({.seed = 7}, {.jitter = kJitter});
  rig.machine.play(kStart);
  rig.world.runFor(kTwoFrames + kJitter);
  for (auto passed = 0ns; passed < 20s; passed += kTick) {
    rig.world.runFor(kTick);
    const auto newest = rig.machine.truthAt(rig.world.clock().nanos());
    const auto oldest = rig.machine.truthAt(rig.world.clock().nanos() - kJitter);
    if (newest && oldest) {
      ASSERT_THAT(rig.display.shown(), testing::AnyOf(newest, oldest));
    }
  }
  EXPECT_EQ(rig.world.logCount("rejecting"), 0U) << "less than one and a half periods is steady enough";
}

TEST(ReadingMTC, AThreadThatReadsSeldomMovesNothing) {
  Rig rig({.seed = 8}, {.readInterval = 21ms});
  rig.machine.play(kStart);
  rig.world.runFor(kTwoFrames + 21ms);
  rig.expectTruth(5s);
  for (std::size_t i = 0; i < rig.display.anchors.size(); ++i) {
    ASSERT_EQ(rig.instantOf(rig.display.anchors[i].hostTime), rig.machine.begin() + i * 80ms);
  }
}

TEST(ReadingMTC, AWireWithoutStampsShowsTheTimeOfReceipt) {
  Rig rig({.seed = 9}, {.latency = 2ms, .hidesTime = true});
  rig.machine.play(kStart);
  rig.world.runFor(kTwoFrames + 2ms);
  rig.expectTruth(5s, 2ms);
}

TEST(ReadingMTC, LostMessagesCostSequencesAndNeverTheFrame) {
  Rig rig({.seed = 10}, {.loss = 0.01});
  rig.machine.play(kStart);
  ASSERT_TRUE(rig.world.runUntil([&] { return rig.display.receiver.isReceiving(); }, 2s));
  rig.expectTruth(60s);
  // 92 of 100 sequences of eight arrive whole.
  EXPECT_GT(rig.display.anchors.size(), 660U);
  EXPECT_LT(rig.display.anchors.size(), 720U);
}

TEST(ReadingMTC, ACutIsAStopAtItsFrameAndTheReturnRunsOn) {
  Rig rig({.seed = 11}, {});
  rig.machine.play(kStart);
  rig.world.runFor(1s);
  for (const auto away : {100ms, 4000ms, 600000ms}) {
    rig.cable.cut();
    const auto last = rig.machine.truthAtLastPiece();
    rig.world.runFor(away);
    EXPECT_FALSE(rig.display.receiver.isReceiving());
    if (last) {
      EXPECT_EQ(rig.display.receiver.currentAnchor()->timecode, *last);
    }
    rig.cable.restore();
    rig.world.runFor(2 * kTwoFrames);
    rig.expectTruth(2s);
  }
}

TEST(ReadingMTC, ALocateWhileStoppedMovesThePositionAndPlayRunsFromThere) {
  Rig rig({.seed = 12}, {.longestSysExPacket = 3});
  rig.machine.locate({1, 2, 3, 4, fps30});
  rig.world.runFor(1s);
  EXPECT_EQ(rig.display.receiver.currentAnchor()->timecode, (Timecode{1, 2, 3, 4, fps30}));
  EXPECT_FALSE(rig.display.receiver.isReceiving());
  rig.machine.play({1, 2, 3, 4, fps30});
  rig.world.runFor(kTwoFrames);
  rig.expectTruth(2s);
}

TEST(ReadingMTC, AnotherRateIsTakenUpWithItsFirstSequence) {
  Rig rig({.seed = 13}, {});
  for (const MTCFrameRate rate : {fps24, fps30, fps2997, fps25, fps24}) {
    rig.machine.play({5, 6, 7, 8, rate});
    rig.world.runFor(kTwoFrames);
    rig.expectTruth(2s);
    EXPECT_EQ(rig.display.receiver.currentAnchor()->timecode.frameRate, rate);
  }
  EXPECT_EQ(rig.world.logCount("timeout"), 0U) << "the stream never paused";
}

TEST(ReadingMTC, AnHourIsShownFrameForFrame) {
  Rig rig({.seed = 14}, {});
  rig.machine.play({22, 59, 0, 0, fps2997});
  rig.world.runFor(kTwoFrames);
  rig.expectTruth(3600s);
}

}  // namespace
}  // namespace tallyrig
