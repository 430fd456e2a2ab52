// A reader card that re-emits its input as MTC, or MTC as LTC, outside and under jam sync.
//
// A reader takes the frame that is running at its input, converts it to the output's rate and follows that. What an
// output tells may therefore be behind its input: by the part of the input's frame that has passed, by what the
// conversion cuts off, and by the part of the output's own frame. It is never ahead.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>
#include <tuple>
#include <vector>

#include "support/Cards.h"
#include "support/HeardOutput.h"
#include "support/LTCInput.h"
#include "support/MTCListener.h"
#include "support/MTCTransport.h"
#include "support/Wall.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using enum MTCFrameRate;
using std::chrono::nanoseconds;

constexpr double kRate = 48000;
constexpr double kSample = 1 / kRate;
constexpr auto kRates = {fps24, fps25, fps2997, fps30};

double secondsOfDay(const Timecode& timecode) {
  return static_cast<double>(timecode.totalFrames()) / exactFrameRate(timecode.frameRate);
}

OutputFrameRate setting(MTCFrameRate rate) {
  return static_cast<OutputFrameRate>(static_cast<int>(rate) + 1);
}

struct Range {
  void add(double value) {
    least = std::min(least, value);
    most = std::max(most, value);
  }
  double least = 1e9;
  double most = -1e9;
};

/// A desk and a machine that play, one card, and its outputs.
struct Rig {
  Wall wall{{.seed = 71}};
  SimulatedWorld& world = wall.world;
  SimulatedDevice& desk =
      world.audio().addDevice({.name = "Desk", .inputGroups = {2}, .outputGroups = {2}, .quantum = 256});
  SimulatedMidiDestination& player = world.midi().addDestination("Player", false);
  SimulatedMidiSource& in = world.midi().addSource("Machine");
  SimulatedMidiCable& cable = world.midi().connect(player, in);
  SimulatedMidiDestination& out = world.midi().addDestination("Lights");
  MTCTransport machine{world, player};
  MTCListener listener{out};
  HeardOutput heard{desk, 1};
  /// The input's position and when it was there.
  double truth = 0;
  HostTime truthAt;

  ReaderInstance& card() { return wall.card(0); }

  void playMTC(const Timecode& start) {
    truth = secondsOfDay(start);
    truthAt = world.clock().now();
    machine.play(start);
  }
  void playLTC(const Timecode& start) {
    truth = secondsOfDay(start);
    truthAt = desk.timeOf(0);
    code = std::make_unique<LTCInput>(desk, 0, start.frameRate, start);
  }
  std::unique_ptr<LTCInput> code;

  /// Frames of the output by which it is behind the input with `timecode` at `at`.
  double lag(const Timecode& timecode, HostTime at) const {
    const double seconds = truth + world.clock().seconds(at - truthAt) - secondsOfDay(timecode);
    constexpr double kDay = 86400;
    return (seconds - std::round(seconds / kDay) * kDay) * exactFrameRate(timecode.frameRate);
  }
  /// Of all sequences heard since the last call.
  Range heardMTC() {
    listener.listen();
    Range lags;
    for (const auto& [timecode, at] : listener.sequences()) lags.add(lag(timecode, at));
    return lags;
  }
};

/// Every output rate for every input rate, outside and under jam sync.
class EachRate : public testing::TestWithParam<std::tuple<MTCFrameRate, MTCFrameRate, bool>> {
 protected:
  MTCFrameRate input() const { return std::get<0>(GetParam()); }
  MTCFrameRate output() const { return std::get<1>(GetParam()); }
  /// In an hour in which no frame loses two in two conversions. 29.97 leaves out labels on the way.
  Timecode start() const { return {5, 0, 50, 0, input()}; }
  /// A frame of the input, in frames of the output.
  double inputFrame() const { return exactFrameRate(output()) / exactFrameRate(input()); }

  void runJammedOrNot(nanoseconds duration) {
    if (std::get<2>(GetParam())) rig.card().enableJam();
    rig.world.runFor(duration);
    EXPECT_FALSE(rig.card().sourceAvailabilityWarning());
  }

  /// For half a minute. By a locate or two the stream may move from one phase to another; in between it stands.
  void expectSteadyMTC() {
    rig.world.runFor(29s);
    rig.listener.listen();
    const auto& sequences = rig.listener.sequences();
    const auto& locates = rig.listener.locates();
    ASSERT_GT(sequences.size(), 340U);
    EXPECT_EQ(sequences.front().timecode.frameRate, output());
    EXPECT_LE(locates.size(), 3U) << "the start and two";
    EXPECT_EQ(rig.listener.lateCount(), 0);
    if (locates.size() == 1) {
      EXPECT_EQ(rig.listener.brokenCount(), 0);
    }
    const double sample = kSample * exactFrameRate(output());
    for (std::size_t i = 0; i < locates.size(); ++i) {
      const auto isLast = i + 1 == locates.size();
      Range lags;
      for (const auto& [timecode, at] : sequences) {
        // What was sent ahead of a locate drains for 100 ms.
        const HostTime drained = locates[i].at + rig.world.clock().ticksFromNanos(i == 0 ? 0 : 100'000'000);
        if (at >= drained && (isLast || at < locates[i + 1].at)) lags.add(rig.lag(timecode, at));
      }
      // The input's frame, the one that conversion cuts off, and the sequence's own.
      EXPECT_GE(lags.least, -sample);
      EXPECT_LE(lags.most, inputFrame() + 2);
      EXPECT_LE(lags.most - lags.least, sample) << "it does not drift";
    }
  }

  Rig rig;
};

TEST_P(EachRate, LTCComesOutAsMTC) {
  rig.playLTC(start());
  rig.wall.openWith({emittingTo(readerOn(rig.desk, 0), rig.out, setting(output()))});
  runJammedOrNot(1s);
  expectSteadyMTC();
}

TEST_P(EachRate, MTCComesOutAsMTC) {
  rig.wall.openWith({emittingTo(readerOf(rig.in), rig.out, setting(output()))});
  rig.playMTC(start());
  runJammedOrNot(1s);
  expectSteadyMTC();
}

TEST_P(EachRate, MTCComesOutAsLTC) {
  rig.wall.openWith({emittingOn(readerOf(rig.in), rig.desk, 1, setting(output()))});
  rig.playMTC(start());
  runJammedOrNot(30s);
  const auto& frames = rig.heard.frames();
  ASSERT_GT(frames.size(), 690U);
  EXPECT_EQ(rig.heard.brokenCount(), 0);
  Range lags;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    lags.add(rig.lag(frames[i].timecode, rig.desk.timeOf(frames[i].start)));
    if (i == 0) continue;
    ASSERT_EQ(frames[i].timecode, frames[i - 1].timecode.advanced(1));
    ASSERT_EQ(frames[i].start, frames[i - 1].end);
  }
  EXPECT_EQ(frames.front().timecode.frameRate, output());
  // The input's frame, the one that conversion cuts off, and the cycle in which it begins.
  EXPECT_GE(lags.least, 0);
  EXPECT_LE(lags.most, inputFrame() + 1 + 2 * 256 * kSample * exactFrameRate(output()));
  // A frame's first sample is heard to the sample.
  EXPECT_LE(lags.most - lags.least, 2 * kSample * exactFrameRate(output())) << "it does not drift";
  EXPECT_EQ(rig.world.logCount("started LTC output"), 1U);
}

std::string nameOf(const testing::TestParamInfo<EachRate::ParamType>& each) {
  const auto& [input, output, isJammed] = each.param;
  return "From" + std::to_string(static_cast<int>(input)) + "To" + std::to_string(static_cast<int>(output)) +
         (isJammed ? "Jammed" : "");
}

INSTANTIATE_TEST_SUITE_P(Reemitting, EachRate,
                         testing::Combine(testing::ValuesIn(kRates), testing::ValuesIn(kRates), testing::Bool()),
                         nameOf);

class ReemittingMTC : public testing::Test {
 protected:
  Rig rig;
  SimulatedWorld& world = rig.world;
};

TEST_F(ReemittingMTC, AMoveOfTheInputByAFrameDoesNothingAndOneOfTwoLocates) {
  rig.wall.openWith({emittingTo(readerOf(rig.in), rig.out)});
  for (const std::int64_t move : {1, -1, 2, -2, 1000}) {
    Timecode position{10, 0, 0, 0, fps24};
    world.runFor(200ms);
    rig.playMTC(position);
    world.runFor(2s);
    rig.heardMTC();
    rig.listener.clear();
    // To the middle of a frame: half a frame from where rounding could count one more or one less.
    constexpr nanoseconds kHalfFrame{20'833'333};
    world.runFor(nanoseconds(1'000'000'000 / 24 * 48) + kHalfFrame - 2s + 5us);
    position = position.advanced(48);
    rig.playMTC(position.advanced(move));
    world.runFor(1s);
    rig.heardMTC();
    EXPECT_EQ(rig.listener.locates().size(), std::abs(move) < 2 ? 0U : 1U) << move;
    // The sequences under way at the locate, now and at the end of what was sent ahead.
    EXPECT_LE(rig.listener.brokenCount(), std::abs(move) < 2 ? 0 : 14);
    const Timecode last = rig.listener.sequences().back().timecode;
    const double lag = rig.lag(last, rig.listener.sequences().back().at);
    EXPECT_GE(lag, std::abs(move) < 2 ? -1 : 0);
    EXPECT_LE(lag, 3);
    rig.machine.stop();
    world.runFor(200ms);
    rig.listener.listen();
    rig.listener.clear();
  }
}

TEST_F(ReemittingMTC, WhereTwoConversionsLoseTwoFramesTheStreamGoesBackUntilTheNextAnchor) {
  // Outside jam sync an anchor is converted when it arrives and once more when it is handed on, also at equal rates.
  // From ten o'clock on at 25 frames a second each of the two loses a frame now and then.
  for (const bool isMTC : {false, true}) {
    Rig each;
    const Timecode start{10, 0, 0, 0, fps25};
    if (!isMTC) each.playLTC(start);
    each.wall.openWith({emittingTo(isMTC ? readerOf(each.in) : readerOn(each.desk, 0), each.out)});
    if (isMTC) each.playMTC(start);
    each.world.runFor(60s);
    const Range lags = each.heardMTC();
    const auto& locates = each.listener.locates();
    ASSERT_GT(locates.size(), 4U);
    EXPECT_EQ(locates.size() % 2, 1U) << "the start, and pairs";
    for (std::size_t i = 1; i + 1 < locates.size(); i += 2) {
      const Timecode& low = locates[i].timecode;
      const Timecode lost = low.advanced(2);
      EXPECT_EQ(lost.converted(fps25).converted(fps25), low) << lost.text();
      EXPECT_NEAR(each.lag(low, locates[i].at), 2.5, 0.5);
      EXPECT_NEAR(each.lag(locates[i + 1].timecode, locates[i + 1].at), 0.5, 0.5) << "back where it was";
      const double seconds = each.world.clock().seconds(locates[i + 1].at - locates[i].at);
      EXPECT_LE(seconds, isMTC ? 0.0801 : 0.046) << "an anchor and, from LTC, a cycle";
    }
    EXPECT_GE(lags.least, -kSample * 25);
    EXPECT_LE(lags.most, isMTC ? 4 : 2) << "from LTC the anchor is back before a sequence begins";
  }
}

TEST_F(ReemittingMTC, AnHourComesOutWithoutDrift) {
  rig.wall.openWith({emittingTo(readerOf(rig.in), rig.out, OutputFrameRate::fps24)});
  rig.playMTC({14, 0, 0, 0, fps2997});
  Range all;
  std::size_t locates = 0;
  for (int minute = 0; minute < 60; ++minute) {
    world.runFor(1min);
    const Range lags = rig.heardMTC();
    all.add(lags.least);
    all.add(lags.most);
    locates += rig.listener.locates().size();
    EXPECT_EQ(rig.listener.lateCount(), 0);
    rig.listener.clear();
  }
  EXPECT_EQ(locates, 1U);
  EXPECT_GE(all.least, 0);
  EXPECT_LE(all.most, 24 / 29.97 + 2);
  // The period of the quarter frames is rounded to nanoseconds and moves the sequences by a tenth of a millisecond.
  EXPECT_LE(all.most - all.least, 1 + 150e-6 * 24);
}

TEST_F(ReemittingMTC, TheStreamFollowsAnInputWhoseClockRunsFast) {
  rig.desk.setDrift(1000);
  rig.playLTC({14, 0, 0, 0, fps24});
  rig.wall.openWith({emittingTo(readerOn(rig.desk, 0), rig.out)});
  const auto lagNow = [this] {
    rig.listener.listen();
    const auto& [timecode, at] = rig.listener.sequences().back();
    const double frames = world.clock().seconds(at - rig.truthAt) * 1.001 * 24;
    return frames - static_cast<double>(Timecode{14, 0, 0, 0, fps24}.signedFrameDistance(timecode).value());
  };
  Range lags;
  for (int i = 0; i < 240; ++i) {
    world.runFor(1s);
    lags.add(lagNow());
  }
  // The input gains 5.8 frames. The display's frame and the stream's may lie a frame apart, two are corrected.
  EXPECT_GE(lags.least, 0);
  EXPECT_LE(lags.most, 3);
  EXPECT_GE(rig.listener.locates().size(), 3U);
  EXPECT_LE(rig.listener.locates().size(), 8U);
}

}  // namespace
}  // namespace tallyrig
