#include <array>

#include "support/FrameRates.h"

#include "OutputWorkerFixture.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

/// A worker that has run for a second from 10:00:00:00.
class MTCOutputRelocationTest : public testing::TestWithParam<MTCFrameRate>, public OutputWorkerFixture {
 protected:
  void run(MTCFrameRate rate) {
    anchor = anchorNow(10, 0, 0, 0, rate);
    start(anchor);
    world.runFor(kAWhile);
    world.clearLog();
    before = sent();
  }

  /// The anchor so many frames from where the stream is now.
  TimecodeAnchor shifted(std::int64_t frames) {
    return {anchor.extrapolated(now(), world.clock()).advanced(frames), now()};
  }

  void relocate(const TimecodeAnchor& to) {
    worker->relocate(to);
    // Of what is due at this instant, the refill may run before it and the timer after it: neither has time to send.
    world.runPending();
  }

  TimecodeAnchor anchor;
  std::vector<SentMessage> before;
};

INSTANTIATE_TEST_SUITE_P(Rates, MTCOutputRelocationTest,
                         testing::Values(MTCFrameRate::fps24, k25, MTCFrameRate::fps2997, k30),
                         [](const auto& test) { return "code" + std::to_string(static_cast<int>(test.param)); });

TEST_P(MTCOutputRelocationTest, ADifferenceOfOneFrameChangesNothing) {
  run(GetParam());
  for (const std::int64_t frames : {0, 1, -1}) {
    relocate(shifted(frames));
    EXPECT_EQ(locateCount(), 1u) << frames;
  }
  EXPECT_THAT(world.logLines(), IsEmpty());
  world.runFor(kAWhile);
  const auto all = quarterFrames();
  for (std::size_t first = 0; first + 8 <= all.size(); first += 8) {
    ASSERT_EQ(assembled(all, first), anchor.extrapolated(all[first].requested, world.clock())) << "the old anchor";
  }
}

TEST_P(MTCOutputRelocationTest, ADifferenceOfTwoFramesLocatesAnew) {
  for (const std::int64_t frames : {2, -2, 1000, -1000}) {
    run(GetParam());
    const HostTime at = now();
    const TimecodeAnchor target = shifted(frames);
    const HostTime next = before.back().requested + (before.back().requested - before[before.size() - 2].requested);
    relocate(target);
    const auto after = sent();
    ASSERT_EQ(after.size(), before.size() + 1) << "the locate, and no quarter frame within the full window";
    EXPECT_EQ(locateCount(), 2u);
    const auto message = fullFrameMessage(target.timecode);
    const auto& locate = desk.received().back();
    EXPECT_EQ(locate.bytes, (std::vector<std::uint8_t>(message.begin(), message.end())));
    EXPECT_EQ(locate.at, at);
    const std::string text = target.timecode.text();
    ASSERT_EQ(world.logLines().size(), 2u);
    EXPECT_THAT(world.logLines()[0], testing::EndsWith("ms] MTCOutput: sent full-frame locate " + text));
    EXPECT_THAT(world.logLines()[1], testing::EndsWith("ms] MTCOutput: relocated stream to " + text));

    world.runFor(300ms);
    const auto all = quarterFrames();
    const std::size_t resumed = before.size() - 1;
    EXPECT_EQ(all.at(resumed).requested, next) << "what had been sent ahead drains first";
    EXPECT_EQ(assembled(all, resumed), target.extrapolated(next, world.clock()));
    worker->stop();
    desk.clearReceived();
  }
}

TEST_F(MTCOutputRelocationTest, ACorrectionIsJudgedAtTheInstantOfTheNewAnchor) {
  run(k25);
  // An old anchor that says the same about now as the one in use.
  TimecodeAnchor same = anchor;
  same.timecode = same.timecode.advanced(-250);
  same.hostTime = same.hostTime - ticks(10'000'000'000);
  // Before the anchor in use, that one stands still: so the two are ten seconds apart.
  relocate(same);
  EXPECT_EQ(locateCount(), 2u);
  run(k25);
  same = {anchor.timecode.advanced(10), anchor.hostTime + ticks(400'000'000)};
  desk.clearReceived();
  relocate(same);
  EXPECT_EQ(locateCount(), 0u);
}

TEST_F(MTCOutputRelocationTest, TheDifferenceIsTakenTheShorterWayRoundMidnight) {
  start({{23, 59, 59, 24, k25}, now()});
  worker->relocate({{0, 0, 0, 0, k25}, now()});
  world.runPending();
  EXPECT_EQ(locateCount(), 1u);
  worker->relocate({{0, 0, 0, 1, k25}, now()});
  world.runPending();
  EXPECT_EQ(locateCount(), 2u);
}

TEST_F(MTCOutputRelocationTest, AnotherRateLocatesAndKeepsThePeriod) {
  run(k25);
  TimecodeAnchor target = shifted(0);
  target.timecode.frameRate = k30;
  relocate(target);
  EXPECT_EQ(locateCount(), 2u);
  EXPECT_EQ(desk.received().back().bytes[5] >> 5, 3);
  world.runFor(2s);
  const auto all = quarterFrames();
  const std::size_t resumed = before.size() - 1;
  for (std::size_t i = 1; i < all.size(); ++i) {
    ASSERT_EQ(all[i].requested, all[i - 1].requested + ticks(10'000'000)) << "the period of the start";
  }
  for (std::size_t first = resumed; first + 8 <= all.size(); first += 8) {
    ASSERT_EQ(assembled(all, first), target.extrapolated(all[first].requested, world.clock()));
    ASSERT_EQ(assembled(all, first).frameRate, k30);
  }
}

TEST_F(MTCOutputRelocationTest, WhereTheWindowHasRunDryTheStreamResumesAPeriodAfterTheLocate) {
  run(k25);
  const TimecodeAnchor target = shifted(90000);
  worker->relocate(target);
  world.clock().advance(150ms);
  world.runPending();
  EXPECT_EQ(locateCount(), 2u);
  EXPECT_FALSE(world.hasLogged("exhausted")) << "the stream has been set anew before the timer came";
  const auto all = quarterFrames();
  const std::size_t resumed = before.size() - 1;
  EXPECT_EQ(all.at(resumed).requested, now() + ticks(10'000'000));
  EXPECT_EQ(assembled(all, resumed), target.extrapolated(all[resumed].requested, world.clock()));
}

TEST_F(MTCOutputRelocationTest, AStoppedWorkerLocatesNothing) {
  worker->relocate(anchorNow(12, 0, 0, 0, k25));
  world.runFor(kAWhile);
  EXPECT_THAT(sent(), IsEmpty());
  EXPECT_THAT(world.logLines(), IsEmpty());
  start(anchorNow(13, 0, 0, 0, k25));
  world.runFor(kAWhile);
  EXPECT_EQ(locateCount(), 1u);
  EXPECT_EQ(assembled(quarterFrames(), 0), (Timecode{13, 0, 0, 0, k25}));
}

TEST_F(MTCOutputRelocationTest, ALocateThatFailsEndsTheStream) {
  run(k25);
  desk.failSends(-32);
  relocate(shifted(50));
  desk.failSends(kPlatformOk);
  const std::size_t count = sent().size();
  world.runFor(kAWhile);
  EXPECT_THAT(errors, ElementsAre(-32));
  EXPECT_EQ(sent().size(), count);
}

TEST_F(MTCOutputRelocationTest, AStormOfRelocationsEndsAtTheLast) {
  run(k25);
  TimecodeAnchor target;
  for (int i = 1; i <= 400; ++i) {
    target = {Timecode{0, 0, 0, 0, k25}.advanced(i * 7919), now()};
    worker->relocate(target);
    world.runFor(3ms);
  }
  EXPECT_EQ(locateCount(), 401u);
  world.runFor(200ms);
  const auto all = quarterFrames();
  for (std::size_t i = 1; i < all.size(); ++i) {
    ASSERT_EQ(all[i].requested, all[i - 1].requested + ticks(10'000'000)) << "at no time more than one stream";
  }
  world.runFor(kAWhile);
  const auto last = quarterFrames();
  std::size_t first = last.size() - 8;
  while (pieceOf(last[first]) != 0) --first;
  EXPECT_EQ(assembled(last, first), target.extrapolated(last[first].requested, world.clock()));
}

}  // namespace
}  // namespace tallyrig
