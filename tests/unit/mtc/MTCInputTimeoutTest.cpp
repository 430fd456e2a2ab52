// When quarter frames stop: the time-outs of MTCInputWorker.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <string>

#include "unit/mtc/Cues.h"
#include "unit/mtc/InputWorkerFixture.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using enum MTCFrameRate;
using std::chrono::nanoseconds;
using testing::ElementsAre;
using testing::IsEmpty;

using MTCInputTimeoutTest = InputWorkerFixture;

TEST_F(MTCInputTimeoutTest, BeforeAnyAnchorAFrameOfThirtyIsWaitedFor) {
  send(quarterFrame(kStart, 3));
  const HostTime receipt = now();
  world.runFor(33'333'332ns);
  EXPECT_THAT(timeouts, IsEmpty());
  world.runFor(1ns);
  EXPECT_THAT(timeouts, ElementsAre(ToldTimeout{receipt, 33.333333}));
}

TEST_F(MTCInputTimeoutTest, AfterAnAnchorAFrameOfItsRateIsWaitedFor) {
  constexpr std::array<nanoseconds, 4> kFrames{41'666'667ns, 40ms, 33'366'667ns, 33'333'333ns};
  for (const MTCFrameRate rate : kMTCRates) {
    timeouts.clear();
    play({1, 2, 3, 4, rate}, true);
    const HostTime receipt = now();
    const nanoseconds frame = kFrames.at(static_cast<std::size_t>(rate));
    world.runFor(frame - 1ns);
    EXPECT_THAT(timeouts, IsEmpty()) << rateText(rate);
    world.runFor(1ns);
    EXPECT_THAT(timeouts, ElementsAre(ToldTimeout{receipt, static_cast<double>(frame.count()) / 1e6}));
    world.runFor(10s);
    EXPECT_EQ(timeouts.size(), 1U);
  }
}

TEST_F(MTCInputTimeoutTest, ARefusedSequenceDoesNotChangeTheWait) {
  play(kStart);
  for (int piece = 0; piece < kQuarterFramePieces; ++piece) send(quarterFrame({1, 2, 3, 4, fps30}, piece));
  ASSERT_TRUE(world.hasLogged("rejecting invalid"));
  world.runFor(40ms - 1ns);
  EXPECT_THAT(timeouts, IsEmpty());
  world.runFor(1ns);
  EXPECT_EQ(timeouts.size(), 1U);
}

TEST_F(MTCInputTimeoutTest, EachQuarterFrameStartsTheWaitAnew) {
  for (int i = 0; i < 100; ++i) {
    send(quarterFrame(kStart, 5));
    world.runFor(33ms);
  }
  EXPECT_THAT(timeouts, IsEmpty());
  world.runFor(1ms);
  EXPECT_EQ(timeouts.size(), 1U);
}

TEST_F(MTCInputTimeoutTest, AStreamThatRunsBackwardsNeverTimesOut) {
  for (int i = 0; i < 400; ++i) {
    send(quarterFrame(kStart, 7 - i % 8));
    world.runFor(10ms);
  }
  EXPECT_THAT(anchors, IsEmpty());
  EXPECT_THAT(timeouts, IsEmpty());
  EXPECT_THAT(world.logLines(), IsEmpty());
}

TEST_F(MTCInputTimeoutTest, TheWaitIsMeasuredFromTheReceiptAndNotFromTheStamp) {
  worker->receive(quarterFrame(kStart, 0), now() + HostDuration{900'000'000});
  world.runPending();
  const HostTime receipt = now();
  world.runFor(34ms);
  EXPECT_THAT(timeouts, ElementsAre(ToldTimeout{receipt, 33.333333}));
}

TEST_F(MTCInputTimeoutTest, NoOtherMidiStartsAWait) {
  send({0xF8});
  send({0x90, 60, 100});
  send({kQuarterFrameStatus});
  send({0xF0, 1, 2, 0xF7});
  send(fullFrame(kCue));
  world.runFor(1s);
  EXPECT_THAT(timeouts, IsEmpty());
}

TEST_F(MTCInputTimeoutTest, ANewerPacketWithoutAQuarterFrameLeavesNoWaitPending) {
  play(kStart);
  world.runFor(5ms);
  send({0xFE});
  world.runFor(10s);
  EXPECT_THAT(timeouts, IsEmpty());
}

TEST_F(MTCInputTimeoutTest, AFullFrameEndsTheWait) {
  play(kStart);
  send(fullFrame(kCue));
  world.runFor(10s);
  EXPECT_THAT(timeouts, IsEmpty());
}

TEST_F(MTCInputTimeoutTest, AFullFrameEndsTheWaitOfAQuarterFrameInItsOwnPacket) {
  MidiBytes packet = quarterFrame(kStart, 0);
  for (const auto byte : fullFrame(kCue)) packet.push_back(byte);
  send(packet);
  world.runFor(10s);
  EXPECT_THAT(timeouts, IsEmpty());
}

TEST_F(MTCInputTimeoutTest, AQuarterFrameBehindAFullFrameStartsAWait) {
  MidiBytes packet = fullFrame(kCue);
  for (const auto byte : quarterFrame(kStart, 0)) packet.push_back(byte);
  send(packet);
  world.runFor(1s);
  EXPECT_EQ(timeouts.size(), 1U);
}

TEST_F(MTCInputTimeoutTest, AFullFrameOutOfRangeInTheQuarterFramesPacketLeavesTheWaitPending) {
  MidiBytes packet = quarterFrame(kStart, 0);
  for (const auto byte : fullFrame({24, 0, 0, 0, fps25})) packet.push_back(byte);
  send(packet);
  world.runFor(1s);
  EXPECT_EQ(timeouts.size(), 1U);
}

TEST_F(MTCInputTimeoutTest, AResetEndsTheWait) {
  play(kStart);
  worker->reset();
  world.runFor(10s);
  EXPECT_THAT(timeouts, IsEmpty());
}

TEST_F(MTCInputTimeoutTest, ATimeoutDropsAHalfBuiltSequence) {
  playPieces(kStart, 0, 3);
  world.runFor(1s);
  ASSERT_EQ(timeouts.size(), 1U);
  playPieces(kStart, 4, 7);
  EXPECT_THAT(anchors, IsEmpty());
  EXPECT_THAT(world.logLines(), IsEmpty());
}

TEST_F(MTCInputTimeoutTest, ATimeoutLeavesAnOpenMessageAlone) {
  send({0xF0, 0x7F, 0x7F, 0x01, 0x01, 1});
  send(quarterFrame(kStart, 0));
  world.runFor(1s);
  ASSERT_EQ(timeouts.size(), 1U);
  send({2, 3, 4, 0xF7});
  EXPECT_EQ(fullFrames.size(), 1U);
}

TEST_F(MTCInputTimeoutTest, AfterAStallTheWaitIsGivenOnceMore) {
  play(kStart, true);
  const HostTime receipt = now();
  world.clock().advance(40ms + 150ms);
  world.runPending();
  EXPECT_THAT(timeouts, IsEmpty());
  ASSERT_EQ(world.logLines().size(), 1U);
  EXPECT_THAT(world.logLines()[0], testing::EndsWith("ms] MTCReceiver: deferred late quarter-frame timeout, "
                                                     "scheduler delay 150.0ms"));
  world.runFor(40ms - 1ns);
  EXPECT_THAT(timeouts, IsEmpty());
  world.runFor(1ns);
  EXPECT_THAT(timeouts, ElementsAre(ToldTimeout{receipt, 230.0}));
}

TEST_F(MTCInputTimeoutTest, AStallIsForgivenOnce) {
  play(kStart, true);
  const HostTime receipt = now();
  for (int i = 0; i < 2; ++i) {
    world.clock().advance(500ms);
    world.runPending();
  }
  EXPECT_THAT(timeouts, ElementsAre(ToldTimeout{receipt, 1000.0}));
  EXPECT_EQ(world.logCount("deferred late quarter-frame timeout"), 1U);
}

TEST_F(MTCInputTimeoutTest, PacketsThatArrivedDuringAStallMakeTheTimeoutNothing) {
  play(kStart, true);
  world.clock().advance(500ms);
  worker->receive(quarterFrame(kStart.advanced(2), 0), now());  // Still waits behind the time-out.
  world.runPending();
  world.runFor(39ms);
  EXPECT_THAT(timeouts, IsEmpty());
  EXPECT_THAT(world.logLines(), IsEmpty());
}

TEST_F(MTCInputTimeoutTest, PacketsThatArriveAfterAStallMakeTheDeferredTimeoutNothing) {
  play(kStart, true);
  world.clock().advance(500ms);
  world.runPending();
  ASSERT_TRUE(world.hasLogged("deferred"));
  play(kStart.advanced(20), true);
  world.runFor(39ms);
  EXPECT_THAT(timeouts, IsEmpty());
  world.runFor(1ms);
  EXPECT_EQ(timeouts.size(), 1U);
}

/// How late a time-out may be judged, in ticks: two frames.
struct Lateness {
  MTCFrameRate rate;
  TickRatio tick;
  std::uint64_t deadlineTicks;
  std::uint64_t longestTicks;
};

class LatenessLimitTest : public InputWorkerFixture, public testing::WithParamInterface<Lateness> {
 protected:
  LatenessLimitTest() : InputWorkerFixture(GetParam().tick) {}

  /// Plays a sequence and comes back to the queue that many ticks after its last quarter frame.
  void stall(std::uint64_t ticks) {
    play({1, 2, 3, 4, GetParam().rate}, true);
    const HostTime end = now() + HostDuration{ticks};
    const auto [numerator, denominator] = GetParam().tick;
    // The first nanosecond of that tick.
    world.clock().set(nanoseconds((end.ticks * numerator + denominator - 1) / denominator));
    ASSERT_EQ(now(), end);
    world.runPending();
  }
};

TEST_P(LatenessLimitTest, TwoFramesLateIsATimeout) {
  stall(GetParam().deadlineTicks + GetParam().longestTicks);
  EXPECT_EQ(timeouts.size(), 1U);
  EXPECT_THAT(world.logLines(), IsEmpty());
}

TEST_P(LatenessLimitTest, OneTickMoreIsAStall) {
  stall(GetParam().deadlineTicks + GetParam().longestTicks + 1);
  EXPECT_THAT(timeouts, IsEmpty());
  EXPECT_EQ(world.logCount("deferred late quarter-frame timeout"), 1U);
}

constexpr TickRatio kNano{1, 1};
constexpr TickRatio kCoarse{125, 3};

INSTANTIATE_TEST_SUITE_P(
    AllRates, LatenessLimitTest,
    testing::Values(Lateness{fps24, kNano, 41'666'667, 83'333'333}, Lateness{fps25, kNano, 40'000'000, 80'000'000},
                    Lateness{fps2997, kNano, 33'366'667, 66'733'333}, Lateness{fps30, kNano, 33'333'333, 66'666'666},
                    Lateness{fps24, kCoarse, 1'000'000, 2'000'000}, Lateness{fps25, kCoarse, 960'000, 1'920'000},
                    Lateness{fps2997, kCoarse, 800'800, 1'601'600}, Lateness{fps30, kCoarse, 799'999, 1'600'000}),
    [](const auto& each) {
      return "Rate" + std::to_string(static_cast<int>(each.param.rate)) + "Tick" +
             std::to_string(each.param.tick.numerator);
    });

}  // namespace
}  // namespace tallyrig
