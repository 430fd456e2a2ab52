// A reader card that re-emits its input, outside jam sync.

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cmath>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "reader/ReaderSettingsForm.h"
#include "scenario/Start.h"
#include "support/Cards.h"
#include "support/HeardOutput.h"
#include "support/LTCInput.h"
#include "support/Wall.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr auto kLockTime = 200ms;
constexpr double kRate = 48000;

constexpr std::array kRates{MTCFrameRate::fps24, MTCFrameRate::fps25, MTCFrameRate::fps2997, MTCFrameRate::fps30};

class Reemitting : public testing::Test {
 protected:
  Wall wall{{.seed = 41}};
  SimulatedWorld& world = wall.world;
  SimulatedDevice& desk =
      world.audio().addDevice({.name = "Desk", .inputGroups = {8}, .outputGroups = {8}, .quantum = 256});

  bool isSilent(const HeardOutput& output, std::chrono::nanoseconds since) const {
    return desk.timeOf(output.soundEnd()) + world.clock().ticksFromNanos(static_cast<std::uint64_t>(since.count())) <
           world.clock().now();
  }
};

/// Expects frame after frame without a gap, from the `first`th on.
void expectRow(const HeardOutput& output, std::size_t first = 0) {
  for (std::size_t i = first + 1; i < output.frames().size(); ++i) {
    EXPECT_EQ(output.frames()[i].timecode, output.frames()[i - 1].timecode.advanced(1));
    EXPECT_EQ(output.frames()[i].start, output.frames()[i - 1].end);
  }
}

double secondsOfDay(const Timecode& timecode) {
  return static_cast<double>(timecode.totalFrames()) / exactFrameRate(timecode.frameRate);
}

class AtEachRate : public testing::TestWithParam<std::tuple<MTCFrameRate, OutputFrameRate>> {};

TEST_P(AtEachRate, TheOutputIsTheInputInTheRateThatWasAskedFor) {
  const auto [inputRate, setting] = GetParam();
  const MTCFrameRate outputRate =
      setting == OutputFrameRate::followInput ? inputRate : static_cast<MTCFrameRate>(static_cast<int>(setting) - 1);
  Wall wall({.seed = 42});
  SimulatedDevice& desk =
      wall.world.audio().addDevice({.name = "Desk", .inputGroups = {2}, .outputGroups = {2}, .quantum = 256});
  const Timecode start{10, 0, 58, 0, inputRate};
  LTCInput code(desk, 0, inputRate, start);
  LTCSignal truth(inputRate, start, kRate);
  wall.openWith({emittingOn(readerOn(desk, 0), desk, 1, setting)});
  HeardOutput output(desk, 1);
  wall.world.runFor(6s);

  ASSERT_GT(output.frames().size(), 130U);
  EXPECT_EQ(output.brokenCount(), 0);
  expectRow(output);
  EXPECT_EQ(output.frames().front().timecode.frameRate, outputRate);
  EXPECT_EQ(wall.world.logCount("started LTC output"), 1U);
  // The output starts at the frame that the input is in, at the next cycle, and is not nudged later. Each of the two
  // conversions on the way may cost a frame.
  const double most = 1 / exactFrameRate(inputRate) + 256 / kRate + 2 / exactFrameRate(outputRate);
  for (const auto& frame : output.frames()) {
    const double into = static_cast<double>(frame.start - truth.frameStart(frame.start)) / kRate;
    const double lag = secondsOfDay(truth.frameAt(frame.start)) + into - secondsOfDay(frame.timecode);
    EXPECT_GE(lag, -1e-3) << frame.timecode.text();
    EXPECT_LE(lag, most + 1e-3) << frame.timecode.text();
  }
}

INSTANTIATE_TEST_SUITE_P(Reemitting, AtEachRate,
                         testing::Combine(testing::ValuesIn(kRates),
                                          testing::Values(OutputFrameRate::followInput, OutputFrameRate::fps24,
                                                          OutputFrameRate::fps25, OutputFrameRate::fps2997,
                                                          OutputFrameRate::fps30)),
                         [](const auto& testCase) {
                           return "Input" + std::to_string(static_cast<int>(std::get<0>(testCase.param))) + "Output" +
                                  std::to_string(static_cast<int>(std::get<1>(testCase.param)));
                         });

TEST_F(Reemitting, ALostInputEndsTheOutputAfterAWholeFrameWhichStaysOnTheDisplay) {
  LTCInput code(desk, 0, kStart.frameRate, kStart);
  HeardOutput output(desk, 4);
  wall.openWith({emittingOn(readerOn(desk, 0), desk, 4)});
  world.runFor(3s);
  ReaderInstance& card = wall.card(0);
  code.gain = 0;
  ASSERT_TRUE(world.runUntil([&] { return !card.isReceiving(); }, 500ms));
  const std::int64_t lost = desk.nextPosition();
  world.runFor(2s);
  output.finish();
  EXPECT_EQ(output.brokenCount(), 0);
  EXPECT_EQ(output.soundEnd(), output.frames().back().end);
  EXPECT_GT(output.soundEnd(), lost);
  EXPECT_LE(output.soundEnd(), lost + 1920);
  EXPECT_EQ(textOrNone(card.displayedTimecode(world.clock().now())), output.frames().back().timecode.text());
  EXPECT_TRUE(wall.reservations->owners().empty());
  EXPECT_TRUE(wall.hub->outputSubscriptions().empty());
  EXPECT_EQ(world.logCount("LTC output stopped at " + output.frames().back().timecode.text()), 1U);
}

TEST_F(Reemitting, AnInputThatReturnsAfterTheStopStartsTheOutputWhereItIsThen) {
  LTCInput code(desk, 0, kStart.frameRate, kStart);
  LTCSignal truth(kStart.frameRate, kStart, kRate);
  HeardOutput output(desk, 4);
  wall.openWith({emittingOn(readerOn(desk, 0), desk, 4)});
  world.runFor(2s);
  for (int time = 0; time < 3; ++time) {
    code.gain = 0;
    world.runFor(1s);
    EXPECT_TRUE(isSilent(output, 500ms));
    const std::size_t before = output.frames().size();
    code.gain = 1;
    world.runFor(2s);
    ASSERT_GT(output.frames().size(), before + 40);
    expectRow(output, before);
    const auto& first = output.frames()[before];
    const auto lag = first.timecode.signedFrameDistance(truth.frameAt(first.start));
    EXPECT_GE(*lag, 0);
    EXPECT_LE(*lag, 2);
  }
  EXPECT_EQ(output.brokenCount(), 0);
  EXPECT_EQ(world.logCount("started LTC output"), 4U);
}

TEST_F(Reemitting, AnInputThatReturnsBeforeTheStopIsDoneStartsAnewAfterIt) {
  SimulatedDevice& stage =
      world.audio().addDevice({.name = "Stage", .inputGroups = {2}, .outputGroups = {2}, .quantum = 512});
  LTCInput code(desk, 0, kStart.frameRate, kStart);
  LTCSignal truth(kStart.frameRate, kStart, kRate);
  HeardOutput output(stage, 1);
  wall.openWith({emittingOn(readerOn(desk, 0), stage, 1)});
  world.runFor(2s);
  ReaderInstance& card = wall.card(0);
  code.gain = 0;
  stage.stall(1s);
  ASSERT_TRUE(world.runUntil([&] { return !card.isReceiving(); }, 500ms));
  code.gain = 1;
  ASSERT_TRUE(world.runUntil([&] { return card.isReceiving(); }, 500ms));
  world.runFor(100ms);
  EXPECT_EQ(world.logCount("LTC output stopped"), 0U);
  EXPECT_EQ(world.logCount("started LTC output"), 1U);
  const std::size_t before = output.frames().size();
  world.runFor(3s);
  EXPECT_EQ(world.logCount("LTC output stopped"), 1U);
  EXPECT_EQ(world.logCount("started LTC output"), 2U);
  EXPECT_EQ(world.logCount("stale"), 0U);
  // The frame that the stall cut in two is lost, and the new run is whole.
  ASSERT_GT(output.frames().size(), before + 40);
  expectRow(output, before + 1);
  const auto lag = output.frames().back().timecode.signedFrameDistance(truth.frameAt(output.frames().back().start));
  EXPECT_GE(*lag, 0);
  EXPECT_LE(*lag, 2);
  EXPECT_EQ(wall.reservations->owners().size(), 1U);
}

TEST_F(Reemitting, ASharedOutputDeviceThatReturnsWithinASecondIsPlayedOnFromWhereItStopped) {
  SimulatedDevice& stage =
      world.audio().addDevice({.name = "Stage", .inputGroups = {2}, .outputGroups = {2}, .quantum = 480});
  LTCInput code(desk, 0, kStart.frameRate, kStart);
  HeardOutput output(stage, 1);
  wall.openWith({emittingOn(readerOn(desk, 0), stage, 1)});
  world.runFor(2s);
  world.audio().unplug(stage);
  output.finish();
  const std::size_t before = output.frames().size();
  const int brokenBefore = output.brokenCount();
  world.runFor(400ms);
  world.audio().plugIn(stage);
  world.runFor(4s);
  ASSERT_GT(output.frames().size(), before + 60);
  expectRow(output, before);
  // The cut halves one frame at most; nothing else is left out, and nothing is sent twice.
  const auto step =
      output.frames()[before - 1].timecode.signedFrameDistance(output.frames()[before].timecode).value_or(0);
  EXPECT_GE(step, 1);
  EXPECT_LE(step, 2);
  EXPECT_LE(output.brokenCount(), brokenBefore + 1);
  EXPECT_EQ(wall.reservations->owners().size(), 1U);
  EXPECT_TRUE(wall.card(0).isReceiving());
}

/// Takes the output device away for `away` and expects silence until a user has applied the settings.
void expectSilenceUntilApplied(Wall& wall, SimulatedDevice& stage, HeardOutput& output, std::chrono::seconds away) {
  wall.world.runFor(2s);
  wall.world.audio().unplug(stage);
  output.finish();
  wall.world.runFor(away);
  wall.world.audio().plugIn(stage);
  const std::size_t before = output.frames().size();
  wall.world.runFor(3s);
  EXPECT_FALSE(stage.isRunning());
  EXPECT_EQ(output.frames().size(), before);
  EXPECT_TRUE(wall.card(0).isReceiving());
  ReaderSettingsForm form(wall.store->readers().front(), *wall.store, wall.services());
  form.apply();
  wall.world.runFor(2s);
  ASSERT_GT(output.frames().size(), before + 40);
  expectRow(output, before);
  EXPECT_EQ(wall.card(0).settings().selectedOutputDeviceID, stage.id());
  EXPECT_EQ(wall.reservations->owners().size(), 1U);
}

TEST_F(Reemitting, ASharedOutputDeviceAwayForLongerIsSilentUntilTheSettingsAreApplied) {
  SimulatedDevice& stage = world.audio().addDevice({.name = "Stage", .inputGroups = {2}, .outputGroups = {2}});
  LTCInput code(desk, 0, kStart.frameRate, kStart);
  HeardOutput output(stage, 1);
  wall.openWith({emittingOn(readerOn(desk, 0), stage, 1)});
  expectSilenceUntilApplied(wall, stage, output, 5s);
}

TEST_F(Reemitting, AnOutputOnlyDeviceThatReturnsIsSilentUntilTheSettingsAreApplied) {
  SimulatedDevice& wire = world.audio().addDevice({.name = "Wire", .outputGroups = {2}, .quantum = 480});
  LTCInput code(desk, 0, kStart.frameRate, kStart);
  HeardOutput output(wire, 1);
  wall.openWith({emittingOn(readerOn(desk, 0), wire, 1)});
  expectSilenceUntilApplied(wall, wire, output, 1s);
}

TEST_F(Reemitting, ATakenChannelIsTriedAtEachFrameUntilItIsFree) {
  LTCInput code(desk, 0, kStart.frameRate, kStart);
  LTCInput other(desk, 1, MTCFrameRate::fps30, Timecode{5, 0, 0, 0, MTCFrameRate::fps30});
  HeardOutput output(desk, 4);
  wall.openWith({emittingOn(readerOn(desk, 0), desk, 4)});
  world.runFor(1s);
  wall.store->addReader();
  ReaderInstance& second = wall.card(1);
  const ReaderSnapshot settings = emittingOn(readerOn(desk, 1), desk, 4);
  second.set(&ReaderSnapshot::selectedDeviceID, settings.selectedDeviceID);
  second.set(&ReaderSnapshot::selectedDeviceName, settings.selectedDeviceName);
  second.set(&ReaderSnapshot::selectedChannel, settings.selectedChannel);
  second.set(&ReaderSnapshot::outputProtocol, settings.outputProtocol);
  second.set(&ReaderSnapshot::selectedOutputDeviceID, settings.selectedOutputDeviceID);
  second.set(&ReaderSnapshot::selectedOutputChannel, settings.selectedOutputChannel);
  second.startMonitoring();
  world.runFor(2s);
  EXPECT_EQ(second.sourceAvailabilityWarning(), "Desk channel 5 is already in use");
  EXPECT_TRUE(second.isReceiving());
  EXPECT_EQ(output.brokenCount(), 0);
  code.gain = 0;
  ASSERT_TRUE(world.runUntil([&] { return wall.reservations->owners().empty(); }, 1s));
  // At its next frame: a period, the cycle that brings it and the turn of the decoder.
  ASSERT_TRUE(world.runUntil([&] { return !second.sourceAvailabilityWarning(); }, 33'334us + 5'334us + 4ms));
  const std::size_t before = output.frames().size();
  world.runFor(1s);
  ASSERT_GT(output.frames().size(), before + 25);
  expectRow(output, before);
  EXPECT_EQ(output.frames().back().timecode.hours, 5);
  EXPECT_EQ(output.brokenCount(), 0);
}

TEST_F(Reemitting, WithNoDeviceChosenTheCardWarnsAndReadsOn) {
  LTCInput code(desk, 0, kStart.frameRate, kStart);
  ReaderSnapshot settings = readerOn(desk, 0);
  settings.outputProtocol = OutputProtocol::ltc;
  wall.openWith({settings});
  world.runFor(2s);
  ReaderInstance& card = wall.card(0);
  EXPECT_EQ(card.sourceAvailabilityWarning(), "No LTC output device selected");
  int frames = 0;
  QObject::connect(&card, &ReaderInstance::timecodeChanged, [&] { ++frames; });
  world.runFor(2s);
  EXPECT_NEAR(frames, 50, 1);
  EXPECT_TRUE(wall.reservations->owners().empty());
}

TEST_F(Reemitting, AChannelBeyondTheDeviceIsClampedAndSaved) {
  SimulatedDevice& pair = world.audio().addDevice({.name = "Pair", .outputGroups = {2}});
  LTCInput code(desk, 0, kStart.frameRate, kStart);
  HeardOutput output(pair, 1);
  wall.openWith({emittingOn(readerOn(desk, 0), pair, 7)});
  world.runFor(2s);
  EXPECT_GT(output.frames().size(), 40U);
  EXPECT_EQ(wall.card(0).settings().selectedOutputChannel, 1);
  code.gain = 0;
  world.runFor(3s);
  const auto saved = decodeSnapshots(*world.files().contents(*wall.store->persistenceURL()));
  EXPECT_EQ(saved->front().selectedOutputChannel, 1);
}

/// What a generator plays on a channel while its neighbours do what they like.
std::vector<float> playedBeside(bool neighbours) {
  Wall wall({.seed = 43});
  SimulatedWorld& world = wall.world;
  SimulatedDevice& desk =
      world.audio().addDevice({.name = "Desk", .inputGroups = {8}, .outputGroups = {8}, .quantum = 256});
  SimulatedDevice& stage = world.audio().addDevice({.name = "Stage", .inputGroups = {2}, .outputGroups = {2}});
  LTCInput code(desk, 0, MTCFrameRate::fps25, Timecode{10, 0, 0, 0, MTCFrameRate::fps25});
  std::vector<ReaderSnapshot> cards;
  cards.push_back(generatorOn(desk, 2, {1, 0, 0, 0, MTCFrameRate::fps30}));
  if (neighbours) {
    cards.push_back(emittingOn(readerOn(desk, 0), desk, 4));
    cards.push_back(emittingOn(readerOn(desk, 0), stage, 0, OutputFrameRate::fps24));
    cards.push_back(generatorOn(desk, 5, {2, 0, 0, 0, MTCFrameRate::fps24}));
    cards.push_back(generatorOn(desk, 2, {3, 0, 0, 0, MTCFrameRate::fps24}));
  }
  wall.openWith(cards);
  std::vector<float> played;
  std::int64_t next = desk.nextPosition();
  desk.onOutput(2, [&](std::int64_t position, std::span<const float> samples) {
    EXPECT_EQ(position, next);
    next = position + static_cast<std::int64_t>(samples.size());
    played.insert(played.end(), samples.begin(), samples.end());
  });
  const auto readers = wall.store->readers();
  readers[0]->toggleGenerator();
  for (int second = 0; second < 10; ++second) {
    world.runFor(1s);
    if (!neighbours) continue;
    code.gain = second % 2 == 0 ? 0.0F : 1.0F;
    readers[3]->toggleGenerator();
    readers[4]->toggleGenerator();
    EXPECT_EQ(readers[4]->sourceAvailabilityWarning(), "Desk channel 3 is already in use");
    if (second == 4) readers[1]->enableJam();
    if (second == 6) wall.store->removeReader(readers[2].get());
    if (second == 7) readers[1]->disableJam();
  }
  return played;
}

TEST(ReemittingBesideOthers, NoSampleOfAnotherCardIsLost) {
  const std::vector<float> alone = playedBeside(false);
  ASSERT_EQ(alone.size(), 480000U / 256 * 256);
  EXPECT_TRUE(playedBeside(true) == alone);
}

}  // namespace
}  // namespace tallyrig
