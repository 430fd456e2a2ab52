// MTC out to MTC in: a generator, a cable, and a receiver that must show what the generator follows.
//
// The generator's sequences are not aligned to frames, and a sequence tells the frame that is running at its piece 0.
// So the display runs behind by less than a frame: it shows the running frame or the one before, and never a later one.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <tuple>

#include "mtc/MIDIOutputPortManager.h"
#include "mtc/MTCOutputGenerator.h"
#include "mtc/MTCQuarterFrame.h"
#include "platform/simulated/SimulatedWorld.h"
#include "scenario/DisplayTick.h"
#include "scenario/MTCDisplay.h"
#include "scenario/Start.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using enum MTCFrameRate;
using std::chrono::nanoseconds;

/// The locate, a quarter frame, and the eight of the first sequence.
constexpr auto kStartTime = 95ms;

struct Loop {
  explicit Loop(SimulatedWorld::Options options, const SimulatedMidiCableOptions& wire = {}) : world(options) {
    world.midi().connect(out, in, wire);
  }

  HostTime now() const { return world.clock().now(); }
  void start(const Timecode& timecode) { generator.start("Loop", {timecode, now()}); }
  /// What the generator follows, at an instant.
  Timecode truthAt(HostTime time) const { return generator.currentAnchor()->extrapolated(time, world.clock()); }

  /// Lets `duration` pass in ticks of the display. At each the frame shown was running at some time between `longest`
  /// before and now, or is the one before that.
  void expectTruth(std::chrono::milliseconds duration, nanoseconds longest = 0ns) {
    int wrong = 0;
    const HostDuration lag = world.clock().ticksFromNanos(static_cast<std::uint64_t>(longest.count()));
    for (auto passed = 0ns; passed < duration; passed += kTick) {
      world.runFor(kTick);
      const Timecode newest = truthAt(now());
      const Timecode oldest = truthAt(now() - lag).advanced(-1);
      const auto seen = display.shown();
      const bool isRight = seen && seen->frameRate == newest.frameRate && *oldest.signedFrameDistance(*seen) >= 0 &&
                           *seen->signedFrameDistance(newest) >= 0;
      if (!isRight && ++wrong <= 3) ADD_FAILURE() << "shows " << textOrNone(seen) << " at " << newest.text();
    }
    EXPECT_EQ(wrong, 0);
  }

  mutable SimulatedWorld world;
  SimulatedMidiDestination& out = world.midi().addDestination("Loop");
  SimulatedMidiSource& in = world.midi().addSource("Loop");
  MIDIOutputPortManager ports{world.midi(), world.log()};
  MTCOutputGenerator generator{world.clock(), world.scheduler(), world.log(), world.midi(), ports};
  MTCDisplay display{world, in};
};

class MTCCable : public testing::TestWithParam<std::tuple<Timecode, TickRatio>> {
 protected:
  Timecode start() const { return std::get<0>(GetParam()); }
  Loop loop{{.seed = 31, .tick = std::get<1>(GetParam())}};
};

TEST_P(MTCCable, TheLocateComesFirstAndTheStreamTakesOver) {
  const HostTime begin = loop.now();
  loop.start(start());
  loop.world.runPending();
  ASSERT_EQ(loop.display.anchors.size(), 1U);
  EXPECT_EQ(loop.display.anchors[0], (TimecodeAnchor{start(), begin}));
  EXPECT_FALSE(loop.display.receiver.isReceiving());
  loop.world.runFor(kStartTime);
  EXPECT_TRUE(loop.display.receiver.isReceiving());
}

TEST_P(MTCCable, EveryAnchorIsWhatTheGeneratorFollowedAtThatInstant) {
  loop.start(start());
  loop.world.runFor(20s);
  ASSERT_GT(loop.display.anchors.size(), 200U);
  for (const TimecodeAnchor& anchor : loop.display.anchors) ASSERT_EQ(anchor.timecode, loop.truthAt(anchor.hostTime));
  for (std::size_t i = 2; i < loop.display.anchors.size(); ++i) {
    const auto gap =
        loop.world.clock().nanosFromTicks(loop.display.anchors[i].hostTime - loop.display.anchors[i - 1].hostTime);
    const auto eight = 8 * quarterFrameNanos(start().frameRate);
    // Eight roundings to a tick, and far less than a sample.
    ASSERT_LE(gap > eight ? gap - eight : eight - gap, 8 * 42U);
  }
}

TEST_P(MTCCable, ShowsTheRunningFrameOrTheOneBefore) {
  loop.start(start());
  loop.world.runFor(kStartTime);
  loop.expectTruth(20s);
  EXPECT_EQ(loop.world.logCount("rejecting"), 0U);
  EXPECT_EQ(loop.world.logCount("timeout"), 0U);
}

TEST_P(MTCCable, AStopLeavesTheFrameOfTheLastPacket) {
  for (int stop = 0; stop < 20; ++stop) {
    loop.start(start());
    loop.world.runFor(300ms + nanoseconds(loop.world.random()() % 300'000'000));
    const TimecodeAnchor followed = *loop.generator.currentAnchor();
    loop.generator.stop();
    const HostTime end = loop.now();
    loop.world.runFor(200ms);
    ASSERT_FALSE(loop.display.receiver.isReceiving());
    const TimecodeAnchor stopped = *loop.display.receiver.currentAnchor();
    EXPECT_LE(loop.out.received().back().at, end) << "what was sent ahead is dropped";
    EXPECT_EQ(stopped.hostTime, loop.out.received().back().at);
    const Timecode truth = followed.extrapolated(stopped.hostTime, loop.world.clock());
    EXPECT_THAT(stopped.timecode, testing::AnyOf(truth, truth.advanced(-1)));
  }
}

TEST_P(MTCCable, ACorrectionOfAFrameDoesNothingAndOneOfTwoLocates) {
  loop.start(start());
  loop.world.runFor(1s);
  const auto fullFrames = [this] { return loop.world.logCount("full-frame location message"); };
  ASSERT_EQ(fullFrames(), 1U);
  const TimecodeAnchor before = *loop.generator.currentAnchor();
  loop.generator.update({loop.truthAt(loop.now()).advanced(1), loop.now()});
  loop.world.runFor(500ms);
  EXPECT_EQ(fullFrames(), 1U);
  EXPECT_TRUE(loop.display.receiver.isReceiving());
  EXPECT_EQ(loop.display.anchors.back().timecode,
            before.extrapolated(loop.display.anchors.back().hostTime, loop.world.clock()));

  const Timecode aim = before.extrapolated(loop.now(), loop.world.clock()).advanced(2);
  loop.generator.update({aim, loop.now()});
  loop.world.runFor(1us);  // An instant between two ticks leaves with the next.
  EXPECT_EQ(fullFrames(), 2U);
  EXPECT_EQ(loop.display.receiver.currentAnchor()->timecode, aim);
  EXPECT_FALSE(loop.display.receiver.isReceiving());
  // What was sent ahead drains for 100 ms; then the stream is there.
  loop.world.runFor(100ms + kStartTime);
  loop.expectTruth(2s);
  EXPECT_EQ(fullFrames(), 2U);
}

INSTANTIATE_TEST_SUITE_P(EachRateAndTick, MTCCable,
                         testing::Combine(testing::Values(Timecode{23, 59, 50, 0, fps24}, Timecode{10, 0, 0, 7, fps25},
                                                          Timecode{10, 0, 50, 0, fps2997}, Timecode{0, 0, 0, 1, fps30}),
                                          testing::Values(TickRatio{}, TickRatio{125, 3})),
                         [](const auto& each) {
                           return "Rate" + std::to_string(static_cast<int>(std::get<0>(each.param).frameRate)) +
                                  "Tick" + std::to_string(std::get<1>(each.param).numerator);
                         });

TEST(MTCCableWithFaults, ALongAndUnevenCableShowsWhatIsOnItsWay) {
  constexpr auto kLongest = 7ms + 5ms;
  Loop loop({.seed = 32}, {.latency = 7ms, .jitter = 5ms});
  loop.start(kStart);
  loop.world.runFor(kStartTime + kLongest);
  loop.expectTruth(20s, kLongest);
  EXPECT_EQ(loop.world.logCount("rejecting"), 0U);
}

TEST(MTCCableWithFaults, ALossyCableNeverShowsAWrongFrame) {
  Loop loop({.seed = 33}, {.loss = 0.01});
  loop.start(kStart);
  ASSERT_TRUE(loop.world.runUntil([&] { return loop.display.receiver.isReceiving(); }, 2s));
  loop.expectTruth(30s);
}

}  // namespace
}  // namespace tallyrig
