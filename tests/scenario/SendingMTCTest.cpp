// A generator card's MTC at its destination, and what a reader card makes of it at the end of a cable.
//
// Sequences are not aligned to frames: the first one begins a quarter frame after the start, and a sequence tells the
// frame that is running at its first piece. So the reader changes its frame a quarter of a frame after the generator,
// shows the running frame or the one before it, and never a later one.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <optional>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "mtc/MTCQuarterFrame.h"
#include "scenario/DisplayTick.h"
#include "support/Cards.h"
#include "support/MTCListener.h"
#include "support/Wall.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using enum MTCFrameRate;
using std::chrono::nanoseconds;

/// At 48 kHz.
constexpr std::uint64_t kSampleNanos = 20'833;

/// A generator card, a cable and a reader card.
class Pair {
 public:
  Pair(const Timecode& start, const SimulatedWorld::Options& options) : start_(start), wall(options) {
    world.midi().connect(out, in);
    wall.openWith({generatorTo(out, start), readerOf(in)});
    world.runFor(100ms);
    QObject::connect(&reader(), &ReaderInstance::timecodeChanged, [this] {
      if (reader().liveAnchor() && reader().isReceiving()) anchors.push_back(*reader().liveAnchor());
    });
  }

  ReaderInstance& generator() { return wall.card(0); }
  ReaderInstance& reader() { return wall.card(1); }
  HostTime now() const { return world.clock().now(); }
  HostDuration period() const { return world.clock().ticksFromNanos(quarterFrameNanos(start_.frameRate)); }
  /// How far a frame's change may be from a quarter frame after the generator's: a sample, and what the rounding of the
  /// period to nanoseconds and ticks has moved the sequences by since the start.
  HostDuration tolerance() const {
    const double each = world.clock().seconds(period()) - 0.25 / exactFrameRate(start_.frameRate);
    const double slide = world.clock().seconds(now() - began) / world.clock().seconds(period()) * std::abs(each);
    return world.clock().ticksFromNanos(kSampleNanos + static_cast<std::uint64_t>(slide * 1e9));
  }

  void start() {
    began = now();
    generator().toggleGenerator();
    ASSERT_TRUE(generator().isGeneratorRunning()) << generator().sourceAvailabilityWarning().value_or("");
    sent = *generator().liveAnchor();
    ASSERT_EQ(sent, (TimecodeAnchor{start_.converted(start_.frameRate), began}));
  }
  /// Until the two frames after a start have passed.
  void runPastStart() { world.runFor(nanoseconds(static_cast<std::int64_t>(quarterFrameNanos(start_.frameRate)) * 9)); }

  Timecode truthAt(HostTime time) const { return sent.extrapolated(time, world.clock()); }

  /// Lets `duration` pass in ticks of the display and compares what the reader shows at each.
  void expectTruth(nanoseconds duration, nanoseconds tick = kTick) {
    std::int64_t wrong = 0;
    std::int64_t behind = 0;
    std::int64_t ticks = 0;
    for (auto passed = 0ns; passed < duration; passed += tick, ++ticks) {
      world.runFor(tick);
      const auto shown = reader().displayedTimecode(now());
      const Timecode truth = truthAt(now());
      const HostTime then = now() - period();
      const bool isRight = reader().isReceiving() && shown &&
                           (shown == truthAt(then - tolerance()) || shown == truthAt(then + tolerance()));
      if (!isRight && ++wrong <= 3) ADD_FAILURE() << "shows " << textOrNone(shown) << " at " << truth.text();
      if (shown != truth) ++behind;
      if (generator().displayedTimecode(now()) != truth) ADD_FAILURE() << "the generator shows something else";
    }
    EXPECT_EQ(wrong, 0) << "of " << ticks;
    EXPECT_NEAR(static_cast<double>(behind), static_cast<double>(ticks) / 4, static_cast<double>(ticks) / 20)
        << "for a quarter of each frame the reader shows the one before";
  }

 private:
  const Timecode start_;

 public:
  mutable Wall wall;
  SimulatedWorld& world = wall.world;
  SimulatedMidiDestination& out = world.midi().addDestination("Loop");
  SimulatedMidiSource& in = world.midi().addSource("Loop");
  MTCListener listener{out};
  std::vector<TimecodeAnchor> anchors;
  HostTime began;
  /// What the generator follows.
  TimecodeAnchor sent;
};

struct Case {
  const char* name;
  Timecode start;
};

void PrintTo(const Case& testCase, std::ostream* stream) {
  *stream << testCase.name;
}

class SendingMTC : public testing::TestWithParam<std::tuple<Case, TickRatio>> {
 protected:
  Timecode start() const { return std::get<0>(GetParam()).start; }
  Pair pair{start(), {.seed = 61, .tick = std::get<1>(GetParam())}};
  SimulatedWorld& world = pair.world;
};

TEST_P(SendingMTC, TheReaderShowsTheTruthAQuarterOfAFrameLater) {
  ASSERT_NO_FATAL_FAILURE(pair.start());
  world.runPending();
  EXPECT_EQ(pair.reader().displayedTimecode(pair.now()), pair.sent.timecode) << "the locate";
  pair.runPastStart();
  pair.expectTruth(20s);
  EXPECT_FALSE(pair.reader().sourceAvailabilityWarning());
}

TEST_P(SendingMTC, TheReadersAnchorsLieWhereTheGeneratorsPutThem) {
  ASSERT_NO_FATAL_FAILURE(pair.start());
  world.runFor(20s);
  ASSERT_GT(pair.anchors.size(), 230U);
  const double frame = 1e9 / exactFrameRate(start().frameRate);
  const auto tolerance = static_cast<double>(world.clock().nanosFromTicks(pair.tolerance()));
  for (std::size_t i = 0; i < pair.anchors.size(); ++i) {
    const TimecodeAnchor& anchor = pair.anchors[i];
    ASSERT_EQ(anchor.timecode, pair.sent.timecode.advanced(static_cast<std::int64_t>(2 * i))) << "none is missed";
    ASSERT_EQ(anchor.timecode, pair.truthAt(anchor.hostTime));
    ASSERT_EQ(anchor.hostTime, pair.began + HostDuration{pair.period().ticks * (8 * i + 1)});
    const auto at = static_cast<double>(world.clock().nanosFromTicks(anchor.hostTime - pair.began));
    ASSERT_NEAR(at, (static_cast<double>(2 * i) + 0.25) * frame, tolerance);
  }
}

TEST_P(SendingMTC, EachMessageLeavesInTimeAndIsToAnotherDecoderOneRowOfSequences) {
  ASSERT_NO_FATAL_FAILURE(pair.start());
  world.runFor(20s);
  pair.listener.listen();
  ASSERT_EQ(pair.listener.locates().size(), 1U);
  EXPECT_EQ(pair.listener.locates().front().timecode, pair.sent.timecode);
  EXPECT_EQ(pair.listener.locates().front().at, pair.began);
  const auto& sequences = pair.listener.sequences();
  ASSERT_GT(sequences.size(), 230U);
  for (std::size_t i = 0; i < sequences.size(); ++i) {
    ASSERT_EQ(sequences[i].timecode, pair.sent.timecode.advanced(static_cast<std::int64_t>(2 * i)));
  }
  EXPECT_EQ(pair.listener.shortestPeriod(), pair.period());
  EXPECT_EQ(pair.listener.longestPeriod(), pair.period());
  EXPECT_EQ(pair.listener.brokenCount(), 0);
  EXPECT_EQ(pair.listener.lateCount(), 0);
  EXPECT_EQ(pair.listener.strangeCount(), 0);
}

TEST_P(SendingMTC, AStopLeavesTheFrameOfTheLastPacket) {
  for (int stop = 0; stop < 20; ++stop) {
    ASSERT_NO_FATAL_FAILURE(pair.start());
    world.runFor(300ms + nanoseconds(world.random()() % 300'000'000));
    const HostTime end = pair.now();
    pair.generator().toggleGenerator();
    EXPECT_EQ(pair.generator().displayedTimecode(end), pair.truthAt(end));
    world.runFor(200ms);
    ASSERT_FALSE(pair.reader().isReceiving());
    const HostTime last = pair.out.received().back().at;
    EXPECT_LE(last, end) << "what was sent ahead is dropped";
    EXPECT_LE(end - last, pair.period());
    // The last packet too was a multiple of quarter frames after the first.
    const HostTime then = last - pair.period();
    EXPECT_THAT(pair.reader().displayedTimecode(pair.now()),
                testing::Optional(
                    testing::AnyOf(pair.truthAt(then - pair.tolerance()), pair.truthAt(then + pair.tolerance()))));
    EXPECT_TRUE(pair.wall.reservations->owners().empty());
  }
  EXPECT_EQ(world.logCount("confirmed quarter-frame input timeout"), 20U);
}

INSTANTIATE_TEST_SUITE_P(EachRateAndTick, SendingMTC,
                         testing::Combine(testing::Values(Case{"Midnight24", {23, 59, 50, 0, fps24}},
                                                          Case{"Midnight25", {23, 59, 50, 7, fps25}},
                                                          Case{"Midnight2997", {23, 59, 50, 0, fps2997}},
                                                          Case{"Minute2997", {10, 0, 50, 3, fps2997}},
                                                          Case{"TenthMinute2997", {10, 9, 50, 0, fps2997}},
                                                          Case{"Midnight30", {23, 59, 50, 1, fps30}}),
                                          testing::Values(TickRatio{}, TickRatio{125, 3})),
                         [](const auto& each) {
                           return std::string(std::get<0>(each.param).name) + "Tick" +
                                  std::to_string(std::get<1>(each.param).numerator);
                         });

class AnHourOfMTC : public testing::TestWithParam<MTCFrameRate> {};

TEST_P(AnHourOfMTC, IsReadFrameForFrame) {
  Pair pair({23, 30, 0, 0, GetParam()}, {.seed = 62});
  ASSERT_NO_FATAL_FAILURE(pair.start());
  pair.runPastStart();
  for (int minute = 0; minute < 60; ++minute) {
    pair.expectTruth(60s, 4 * kTick);
    pair.listener.listen();
    if (HasFailure()) return;
  }
  EXPECT_EQ(pair.listener.brokenCount(), 0);
  EXPECT_EQ(pair.listener.longestPeriod(), pair.period());
  EXPECT_EQ(pair.listener.shortestPeriod(), pair.period());
  // The rounding of the period, a third of a nanosecond each time, moves the sequences and not the values.
  const auto frames = static_cast<std::int64_t>(2 * (pair.anchors.size() - 1));
  EXPECT_EQ(pair.anchors.back().timecode, pair.sent.timecode.advanced(frames));
  const double seconds = static_cast<double>(frames) / exactFrameRate(GetParam());
  const double at = pair.world.clock().seconds(pair.anchors.back().hostTime - pair.began);
  EXPECT_NEAR(at - seconds, 0.25 / exactFrameRate(GetParam()), pair.world.clock().seconds(pair.tolerance()));
  EXPECT_LT(pair.world.clock().seconds(pair.tolerance()), 200e-6);
  EXPECT_GT(seconds, 3598);
}

INSTANTIATE_TEST_SUITE_P(EachRate, AnHourOfMTC, testing::Values(fps24, fps25, fps2997, fps30),
                         [](const auto& each) { return "Rate" + std::to_string(static_cast<int>(each.param)); });

}  // namespace
}  // namespace tallyrig
