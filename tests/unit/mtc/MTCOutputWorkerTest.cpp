#include "mtc/MTCOutputWorker.h"

#include "OutputWorkerFixture.h"
#include "support/FrameRates.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

class MTCOutputWorkerTest : public testing::Test, public OutputWorkerFixture {};

struct Period {
  MTCFrameRate rate;
  std::uint64_t nanos;
};

class MTCOutputWorkerAtEachRate : public MTCOutputWorkerTest, public testing::WithParamInterface<Period> {};
INSTANTIATE_TEST_SUITE_P(Rates, MTCOutputWorkerAtEachRate,
                         testing::Values(Period{k24, 10416667}, Period{k25, 10000000}, Period{k2997, 8341667},
                                         Period{k30, 8333333}),
                         [](const auto& test) { return "code" + std::to_string(static_cast<int>(test.param.rate)); });

TEST_P(MTCOutputWorkerAtEachRate, StartsWithOneLocateAndFillsAWindowOf100Milliseconds) {
  const HostDuration period = ticks(GetParam().nanos);
  const HostTime begin = now();
  start(anchorNow(13, 47, 22, 21, GetParam().rate));
  EXPECT_THAT(quarterFrames(), IsEmpty()) << "the timer's first event comes after the start";
  ASSERT_EQ(sent().size(), 1u);
  EXPECT_EQ(sent()[0].requested, begin);
  const auto code = static_cast<std::uint8_t>(static_cast<int>(GetParam().rate) << 5);
  EXPECT_EQ(sent()[0].bytes,
            (Bytes{0xF0, 0x7F, 0x7F, 0x01, 0x01, static_cast<std::uint8_t>(13 | code), 47, 22, 21, 0xF7}));
  EXPECT_THAT(world.logLines(), ElementsAre("[09:00:00.000 +0.000ms] MTCOutput: sent full-frame locate 13:47:22:21"));

  HostTime filledAt;
  ASSERT_TRUE(world.runUntil([&] { return !quarterFrames().empty(); }, 1ms));
  filledAt = now();
  const auto frames = quarterFrames();
  for (std::size_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(frames[i].requested, begin + HostDuration{period.ticks * (i + 1)});
    EXPECT_EQ(pieceOf(frames[i]), static_cast<int>(i % 8));
  }
  const HostTime horizon = filledAt + ticks(100'000'000);
  EXPECT_LE(frames.back().requested, horizon);
  EXPECT_GT(frames.back().requested + period, horizon);
  EXPECT_EQ(locateCount(), 1u);
}

TEST_P(MTCOutputWorkerAtEachRate, PutsEveryQuarterFrameOnTheWireAtItsInstant) {
  const HostDuration period = ticks(GetParam().nanos);
  const HostTime begin = now();
  start(anchorNow(1, 2, 3, 4, GetParam().rate));
  world.runFor(5s);
  ASSERT_GT(desk.received().size(), 470u);
  for (std::size_t i = 1; i < desk.received().size(); ++i) {
    ASSERT_EQ(desk.received()[i].at, begin + HostDuration{period.ticks * i});
  }
  EXPECT_EQ(world.logLines().size(), 1u) << "nothing but the locate is logged";
  EXPECT_THAT(errors, IsEmpty());
}

TEST_P(MTCOutputWorkerAtEachRate, EachSequenceCarriesWhatIsTrueAtItsPieceZero) {
  const TimecodeAnchor anchor = anchorNow(23, 59, 58, 7, GetParam().rate);
  start(anchor);
  world.runFor(4s);
  const auto frames = quarterFrames();
  for (std::size_t first = 0; first + 8 <= frames.size(); first += 8) {
    const std::uint64_t nanos = world.clock().nanosFromTicks(frames[first].requested - anchor.hostTime);
    const std::uint64_t passed = GetParam().rate == k2997 ? nanos * 30 / 1'001'000'000
                                                          : nanos * nominalFrameRate(GetParam().rate) / 1'000'000'000;
    ASSERT_EQ(assembled(frames, first), anchor.timecode.advanced(static_cast<std::int64_t>(passed)));
  }
}

TEST_F(MTCOutputWorkerTest, StopDropsWhatWaitsAndGivesTheLastTimecode) {
  start(anchorNow(10, 0, 0, 0, k25));
  world.runFor(kAWhile);
  const auto frames = quarterFrames();
  const std::size_t sequences = (frames.size() + 7) / 8;
  const std::size_t left = desk.received().size();
  const auto latest = worker->stop();
  // A sequence of 80 ms is two frames; the first starts a quarter of a frame after the anchor.
  EXPECT_EQ(latest, (Timecode{10, 0, 0, 0, k25}.advanced(static_cast<std::int64_t>(sequences - 1) * 2)));
  EXPECT_THAT(desk.waiting(), IsEmpty());
  world.runFor(10s);
  EXPECT_EQ(desk.received().size(), left);
  EXPECT_EQ(worker->stop(), std::nullopt) << "nothing has been scheduled since";
}

TEST_F(MTCOutputWorkerTest, StoppingBeforeTheFirstQuarterFrameGivesNothing) {
  start(anchorNow(10, 0, 0, 0, k25));
  EXPECT_EQ(worker->stop(), std::nullopt);
  world.runFor(kAWhile);
  EXPECT_THAT(quarterFrames(), IsEmpty());
}

TEST_F(MTCOutputWorkerTest, StartDropsWhatStillWaitsForTheDestination) {
  world.midi().send(port, desk.endpoint(), Bytes{0x90, 1, 2}, now() + ticks(50'000'000));
  start(anchorNow(10, 0, 0, 0, k25));
  world.runFor(kAWhile);
  for (const auto& message : desk.received()) EXPECT_NE(message.bytes[0], 0x90);
}

TEST_F(MTCOutputWorkerTest, StartingAgainLocatesAnewAndLeavesNothingOfTheFirstRun) {
  start(anchorNow(10, 0, 0, 0, k25));
  world.runFor(kAWhile);
  worker->stop();
  desk.clearReceived();
  start(anchorNow(20, 0, 0, 0, k30));
  world.runFor(kAWhile);
  ASSERT_FALSE(desk.received().empty());
  EXPECT_TRUE(isLocate(desk.received()[0]));
  EXPECT_EQ(assembled(quarterFrames(), 0), (Timecode{20, 0, 0, 0, k30}));
  EXPECT_EQ(locateCount(), 1u);
}

TEST_F(MTCOutputWorkerTest, AStallOf150MillisecondsRestartsAtPieceZeroFromTheAnchor) {
  const TimecodeAnchor anchor = anchorNow(10, 0, 0, 0, k25);
  start(anchor);
  world.runFor(kAWhile);
  const std::size_t before = quarterFrames().size();
  const HostTime next = quarterFrames().back().requested + ticks(10'000'000);
  world.clearLog();
  world.clock().advance(150ms);
  const HostTime late = now();
  world.runPending();

  const double exhausted = world.clock().milliseconds(late - next);
  EXPECT_GE(exhausted, 40);
  EXPECT_LE(exhausted, 61) << "150 ms less the window, which was filled at most 11 ms ago";
  ASSERT_EQ(world.logCount("MTCOutput: "), 1u);
  EXPECT_TRUE(world.hasLogged(formatted("MTCOutput: CoreMIDI schedule-ahead window exhausted by %.1fms", exhausted)));
  const auto frames = quarterFrames();
  EXPECT_EQ(frames.at(before).requested, late);
  EXPECT_EQ(assembled(frames, before), anchor.extrapolated(late, world.clock()));
  EXPECT_EQ(locateCount(), 1u) << "no locate: the stream is where it ought to be";
  EXPECT_EQ(frames.at(before + 1).requested, late + ticks(10'000'000));
}

TEST_F(MTCOutputWorkerTest, AStallWithinTheWindowCostsNothing) {
  start(anchorNow(10, 0, 0, 0, k25));
  world.runFor(kAWhile);
  world.clock().advance(88ms);
  world.runFor(kAWhile);
  const auto frames = quarterFrames();
  for (std::size_t i = 1; i < frames.size(); ++i) {
    EXPECT_EQ(frames[i].requested, frames[i - 1].requested + ticks(10'000'000));
    EXPECT_EQ(pieceOf(frames[i]), (pieceOf(frames[i - 1]) + 1) % 8);
  }
  EXPECT_FALSE(world.hasLogged("exhausted"));
}

TEST_F(MTCOutputWorkerTest, AFirstRefillThatComesLateIsNotLogged) {
  const TimecodeAnchor anchor = anchorNow(10, 0, 0, 0, k25);
  start(anchor);
  world.clock().advance(50ms);
  const HostTime late = now();
  world.runPending();
  EXPECT_FALSE(world.hasLogged("exhausted"));
  ASSERT_FALSE(quarterFrames().empty());
  EXPECT_EQ(quarterFrames()[0].requested, late);
  EXPECT_EQ(assembled(quarterFrames(), 0), anchor.extrapolated(late, world.clock()));
}

TEST_F(MTCOutputWorkerTest, RollsOverAtMidnight) {
  start(anchorNow(23, 59, 59, 29, k30));
  world.runFor(kAWhile);
  EXPECT_EQ(assembled(quarterFrames(), 0), (Timecode{23, 59, 59, 29, k30}));
  EXPECT_EQ(assembled(quarterFrames(), 8), (Timecode{0, 0, 0, 1, k30}));
}

TEST_F(MTCOutputWorkerTest, PieceSevenCarriesTheRateCode) {
  start(anchorNow(23, 0, 0, 0, k2997));
  runFirstRefill();
  EXPECT_THAT(quarterFrames().at(7).bytes, ElementsAre(0xF1, 0x70 | 0x04 | 0x01));
}

TEST_F(MTCOutputWorkerTest, AnAnchorInTheFutureStandsUntilItsInstant) {
  TimecodeAnchor anchor = anchorNow(10, 0, 0, 0, k25);
  anchor.hostTime = anchor.hostTime + ticks(1'000'000'000);
  start(anchor);
  world.runFor(1200ms);
  const auto frames = quarterFrames();
  for (std::size_t first = 0; first + 8 <= frames.size(); first += 8) {
    if (frames[first].requested <= anchor.hostTime) {
      EXPECT_EQ(assembled(frames, first), anchor.timecode);
    }
  }
  EXPECT_EQ(assembled(frames, 104), (Timecode{10, 0, 0, 1, k25})) << "1050 ms after the start";
}

TEST_F(MTCOutputWorkerTest, TheWorkersEndEndsTheStream) {
  start(anchorNow(10, 0, 0, 0, k25));
  world.runFor(100ms);
  worker->relocate(anchorNow(20, 0, 0, 0, k25));
  worker.reset();
  const std::size_t count = sent().size();
  world.runFor(kAWhile);
  EXPECT_EQ(sent().size(), count);
}

/// The number of the send that fails, from 1: the locate is the first.
class MTCOutputWorkerWhenASendFails : public MTCOutputWorkerTest, public testing::WithParamInterface<std::size_t> {};
INSTANTIATE_TEST_SUITE_P(Sends, MTCOutputWorkerWhenASendFails, testing::Values(1, 2, 3, 9, 10, 11, 12, 40, 200));

TEST_P(MTCOutputWorkerWhenASendFails, ItEndsTheStreamAndTellsOnce) {
  desk.failSends(-5, GetParam() - 1);
  start(anchorNow(10, 0, 0, 0, k25));
  world.runFor(5s);
  EXPECT_THAT(errors, ElementsAre(-5));
  EXPECT_EQ(sent().size(), GetParam() - 1);
  desk.failSends(kPlatformOk);
  world.runFor(5s);
  EXPECT_EQ(sent().size(), GetParam() - 1) << "nothing is tried again";
  EXPECT_EQ(world.logCount("sent full-frame locate"), GetParam() > 1 ? 1u : 0u);

  const auto latest = worker->stop();
  EXPECT_EQ(latest.has_value(), GetParam() > 1) << "of the last quarter frame tried";
  desk.clearReceived();
  start(anchorNow(10, 0, 0, 0, k25));
  world.runFor(kAWhile);
  EXPECT_GT(sent().size(), 90u);
  EXPECT_EQ(errors.size(), 1u);
}

TEST_F(MTCOutputWorkerTest, ADestinationThatGoesEndsTheStream) {
  start(anchorNow(10, 0, 0, 0, k25));
  world.runFor(kAWhile);
  world.midi().unplug(desk);
  const std::size_t left = desk.received().size();
  world.runFor(kAWhile);
  EXPECT_THAT(errors, ElementsAre(testing::Lt(0)));
  EXPECT_EQ(desk.received().size(), left);
  worker->stop();
}

}  // namespace
}  // namespace tallyrig
