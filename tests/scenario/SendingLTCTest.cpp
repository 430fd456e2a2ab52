// A generator card's LTC, sample for sample at its output, and what a reader card makes of it at the end of a cable.

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "scenario/Start.h"
#include "support/Cards.h"
#include "support/ExactOutput.h"
#include "support/HeardOutput.h"
#include "support/LoopedLine.h"
#include "support/Wall.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

struct Line {
  std::string name;
  Timecode start;
  SimulatedDeviceOptions sender;
  /// Absent: the cable returns to the device that plays.
  std::optional<SimulatedDeviceOptions> receiver = std::nullopt;
};

void PrintTo(const Line& line, std::ostream* stream) {
  *stream << line.name;
}

/// The instants that a card's anchors give to the frames.
using Instants = std::map<std::int64_t, HostTime>;

/// How far the instant that a reader gives to the end of a frame may lie from the truth, in samples. It is that of the
/// frame's last sample. Where half a bit is no whole number of samples, libltc places it by the mean length of one.
double readerTolerance(const Line& line) {
  const double halfBit = line.sender.rate / exactFrameRate(line.start.frameRate) / 160;
  const bool isInterpolated = line.receiver && line.receiver->driftPpm != line.sender.driftPpm;
  return halfBit == std::floor(halfBit) && !isInterpolated ? 1 : 3;
}

/// Nanoseconds.
double distance(HostTime a, HostTime b) {
  return static_cast<double>((a > b ? a - b : b - a).ticks);
}

class EachLine : public testing::TestWithParam<Line> {};

TEST_P(EachLine, CarriesTheCodeToTheSample) {
  const Line& line = GetParam();
  const Timecode& start = line.start;
  const double sampleRate = line.sender.rate;
  const double samplesPerFrame = sampleRate / exactFrameRate(start.frameRate);
  Wall wall({.seed = 5});
  SimulatedWorld& world = wall.world;
  SimulatedDevice& sender = world.audio().addDevice(line.sender);
  SimulatedDevice& receiver = line.receiver ? world.audio().addDevice(*line.receiver) : sender;
  world.audio().connect(sender, 1, receiver, 0);
  wall.openWith({generatorOn(sender, 1, start), readerOn(receiver, 0)});
  ReaderInstance& generator = wall.card(0);
  ReaderInstance& reader = wall.card(1);
  world.runFor(300ms);
  ExactOutput exact(sender, 1, start, sampleRate);
  HeardOutput heard(sender, 1, sampleRate);

  const HostTime began = world.clock().now();
  const std::int64_t firstCycle = sender.nextPosition();
  generator.toggleGenerator();
  ASSERT_TRUE(generator.isGeneratorRunning()) << generator.sourceAvailabilityWarning().value_or("");
  EXPECT_EQ(wall.hub->outputSubscriptions().size(), line.sender.inputGroups.empty() ? 0U : 1U);
  Instants sent;
  Instants received;
  const auto collect = [&start](ReaderInstance& card, Instants& instants) {
    QObject::connect(&card, &ReaderInstance::timecodeChanged, [&card, &instants, &start] {
      if (!card.liveAnchor()) return;
      instants[*start.signedFrameDistance(card.liveAnchor()->timecode)] = card.liveAnchor()->hostTime;
    });
  };
  collect(generator, sent);
  collect(reader, received);
  world.runFor(4s);

  ASSERT_TRUE(exact.origin());
  EXPECT_EQ(*exact.origin(), firstCycle);
  EXPECT_FALSE(exact.end());
  EXPECT_EQ(exact.strayCount(), 0);
  EXPECT_EQ(heard.brokenCount(), 0);
  ASSERT_GT(heard.frames().size(), 90U);
  for (std::size_t i = 0; i < heard.frames().size(); ++i) {
    EXPECT_EQ(heard.frames()[i].timecode, start.advanced(static_cast<std::int64_t>(i)));
    EXPECT_EQ(heard.frames()[i].start, i == 0 ? heard.frames()[i].start : heard.frames()[i - 1].end);
  }

  // Before the device's first cycle the output knows no better instant than that of its first tick.
  ASSERT_TRUE(sent.contains(0));
  EXPECT_LE(distance(sent.at(0), began), 1e6);
  const double sampleNanos = 1e9 / sampleRate;
  double worstSent = 0;
  double worstBetween = 0;
  int common = 0;
  for (const auto& [index, instant] : sent) {
    if (index == 0) continue;
    worstSent = std::max(worstSent, distance(instant, sender.timeOf(exact.frameStart(index, samplesPerFrame))));
    const auto found = received.find(index);
    if (found == received.end()) continue;
    ++common;
    worstBetween = std::max(worstBetween, distance(instant, found->second));
  }
  EXPECT_GT(common, 3.5 / std::max(line.sender.quantum, static_cast<std::uint32_t>(samplesPerFrame)) * sampleRate / 2);
  // What the instants lose by counting samples of the nominal rate from the start of a cycle.
  const double fromDrift = line.sender.quantum * std::abs(line.sender.driftPpm) * 1e-6;
  constexpr double kRounding = 2;
  EXPECT_LE(worstSent, fromDrift * sampleNanos + kRounding);
  EXPECT_LE(worstBetween, (readerTolerance(line) + 2 * fromDrift) * sampleNanos + kRounding);

  const std::int64_t rendered = sender.nextPosition();
  generator.toggleGenerator();
  EXPECT_TRUE(generator.isGeneratorRunning());
  ASSERT_TRUE(world.runUntil([&] { return !generator.isGeneratorRunning(); }, 1s));
  world.runFor(2s);
  exact.finish();
  heard.finish();
  const std::int64_t last = *start.signedFrameDistance(*generator.currentTimecode());
  const std::int64_t boundary = exact.frameStart(last + 1, samplesPerFrame);
  EXPECT_EQ(exact.end(), boundary);
  EXPECT_EQ(heard.soundEnd(), boundary);
  EXPECT_EQ(exact.strayCount(), 0);
  EXPECT_EQ(heard.brokenCount(), 0);
  EXPECT_EQ(heard.frames().back().timecode, *generator.currentTimecode());
  EXPECT_EQ(heard.frames().back().end, boundary);
  EXPECT_GT(boundary, rendered);
  EXPECT_LE(exact.frameStart(last, samplesPerFrame), rendered);
  EXPECT_FALSE(reader.isReceiving());
  // The end of a frame is heard at the beginning of the next, so the last one is not heard out.
  EXPECT_EQ(textOrNone(reader.currentTimecode()), textOrNone(generator.currentTimecode()));
  EXPECT_TRUE(wall.reservations->owners().empty());
}

std::vector<Line> atEachQuantum() {
  std::vector<Line> lines;
  for (const std::uint32_t quantum : {32U, 64U, 128U, 256U, 480U, 512U, 1024U, 2048U, 4096U, 8192U}) {
    const SimulatedDeviceOptions desk{
        .name = "Desk", .inputGroups = {2}, .outputGroups = {2}, .quantum = quantum, .driftPpm = 50};
    SimulatedDeviceOptions truck = desk;
    truck.name = "Truck";
    truck.driftPpm = -50;
    truck.phase = 3217us;
    lines.push_back({"OneDeviceAt" + std::to_string(quantum), kStart, desk});
    lines.push_back({"TwoDevicesAt" + std::to_string(quantum), kStart, desk, truck});
  }
  return lines;
}

std::vector<Line> atEachRate() {
  std::vector<Line> lines;
  for (const double rate : {44100.0, 48000.0, 88200.0, 96000.0, 176400.0, 192000.0}) {
    for (const MTCFrameRate frameRate :
         {MTCFrameRate::fps24, MTCFrameRate::fps25, MTCFrameRate::fps2997, MTCFrameRate::fps30}) {
      // Over a minute that drops two labels, and over midnight.
      const Timecode start =
          frameRate == MTCFrameRate::fps25 ? Timecode{23, 59, 58, 0, frameRate} : Timecode{10, 0, 58, 0, frameRate};
      lines.push_back({std::to_string(static_cast<int>(rate)) + "Hz" + std::to_string(static_cast<int>(frameRate)),
                       start,
                       {.name = "Desk", .inputGroups = {2}, .outputGroups = {2}, .rate = rate}});
    }
  }
  return lines;
}

std::vector<Line> withOutputOnlyDevices() {
  std::vector<Line> lines;
  for (const std::uint32_t quantum : {64U, 512U, 4096U}) {
    lines.push_back({"Planar" + std::to_string(quantum),
                     kStart,
                     {.name = "Wire",
                      .outputGroups = {1, 1},
                      .quantum = quantum,
                      .arrangement = BufferArrangement::kOneBufferPerChannel},
                     SimulatedDeviceOptions{.name = "Desk", .inputGroups = {2}, .quantum = 512}});
  }
  return lines;
}

struct Instant {
  const char* name;
  /// Some seconds before it.
  Timecode from;
};

void PrintTo(const Instant& instant, std::ostream* stream) {
  *stream << instant.name;
}

class EachInstant : public testing::TestWithParam<std::tuple<Instant, MTCFrameRate>> {};

TEST_P(EachInstant, IsPassedWithoutAGapOrADoubledFrame) {
  const auto& [instant, rate] = GetParam();
  Timecode start = instant.from;
  start.frameRate = rate;
  LoopedLine line(start, 1);
  line.run(8s);
  EXPECT_EQ(line.complaints(), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(
    AtEachRate, EachInstant,
    testing::Combine(testing::Values(Instant{"Midnight", {23, 59, 56, 0}}, Instant{"Hour", {9, 59, 56, 3}},
                                     Instant{"Minute", {10, 0, 56, 5}}, Instant{"TenthMinute", {10, 9, 56, 7}},
                                     Instant{"MinuteAfterTenth", {10, 10, 56, 0}}),
                     testing::Values(MTCFrameRate::fps24, MTCFrameRate::fps25, MTCFrameRate::fps2997,
                                     MTCFrameRate::fps30)),
    [](const auto& testCase) {
      return std::string(std::get<0>(testCase.param).name) + "Code" +
             std::to_string(static_cast<int>(std::get<1>(testCase.param)));
    });

const auto kNameOfLine = [](const auto& testCase) { return testCase.param.name; };
INSTANTIATE_TEST_SUITE_P(Quanta, EachLine, testing::ValuesIn(atEachQuantum()), kNameOfLine);
INSTANTIATE_TEST_SUITE_P(Rates, EachLine, testing::ValuesIn(atEachRate()), kNameOfLine);
INSTANTIATE_TEST_SUITE_P(OutputOnly, EachLine, testing::ValuesIn(withOutputOnlyDevices()), kNameOfLine);

}  // namespace
}  // namespace tallyrig
