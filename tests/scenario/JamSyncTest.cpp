// Stories of jam sync: what is heard at the output of a jammed card, and what its tile shows.

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/Cards.h"
#include "support/HeardOutput.h"
#include "support/LTCInput.h"
#include "support/LtcWriter.h"
#include "support/Wall.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr double kRate = 48000;
constexpr std::uint32_t kQuantum = 256;
/// From the return of the code to the lock: a loss that lasted is forgotten, the first frame is found at the end of the
/// second or third, and three frames must agree.
constexpr auto kRelock = 350ms;
constexpr auto kTick = 16'123'457ns;

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
    world.runFor(1s);
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
    for (auto passed = 0ns; passed < duration; passed += kTick) {
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

constexpr Timecode kStart{10, 0, 0, 0, MTCFrameRate::fps25};

TEST_F(JamSync, TheOutputStartsAtTheThirdStableFrameAndIsWithinTwoFramesOfTheInput) {
  open();
  card().enableJam();
  EXPECT_EQ(state(), JamSyncState::waiting);
  world.runFor(1s);
  EXPECT_EQ(output.soundEnd(), 0);
  play(kStart);
  ASSERT_TRUE(world.runUntil([&] { return state() == JamSyncState::acquiring; }, 200ms));
  ASSERT_TRUE(world.runUntil([&] { return state() == JamSyncState::locked; }, 90ms));
  world.runFor(100ms);
  expectSteadyOutput(5s);
  EXPECT_GE(lag(), 0);
  EXPECT_LE(lag(), 2);
  EXPECT_EQ(world.logCount("started LTC output"), 1U);
}

TEST_F(JamSync, TheCableIsPulledAndTheOutputRunsOn) {
  open();
  jamTo(kStart);
  for (const auto away : {1s, 4s, 600s}) {
    const std::int64_t before = lag();
    const std::size_t starts = world.logCount("started LTC output");
    const int broken = output.brokenCount();
    gain = 0;
    ASSERT_TRUE(world.runUntil([&] { return state() == JamSyncState::freewheeling; }, 500ms));
    expectSteadyOutput(std::min<std::chrono::nanoseconds>(away, 5s));
    world.runFor(away > 5s ? away - 5s : 0s);
    EXPECT_EQ(state(), JamSyncState::freewheeling);
    EXPECT_EQ(lag(), before);
    EXPECT_EQ(output.brokenCount(), broken);
    EXPECT_EQ(world.logCount("started LTC output"), starts);
    gain = 1;
    std::vector<JamSyncState> states;
    const auto watch = QObject::connect(&card(), &ReaderInstance::jamChanged, [&] { states.push_back(state()); });
    world.runFor(kRelock);
    QObject::disconnect(watch);
    EXPECT_EQ(states, (std::vector{JamSyncState::reacquiring, JamSyncState::locked}));
    EXPECT_EQ(world.logCount("started LTC output"), starts + 1);
    expectSteadyOutput(2s);
    EXPECT_GE(lag(), 0);
    EXPECT_LE(lag(), 2);
  }
}

TEST_F(JamSync, TheInputReturnsTwoFramesOffAndTheOutputFollowsAtTheNewLock) {
  open();
  jamTo(kStart);
  for (const std::int64_t jump : {2, -2, 1000}) {
    gain = 0;
    world.runFor(2s);
    ASSERT_EQ(state(), JamSyncState::freewheeling);
    play(truthAt(desk.nextPosition()).advanced(jump));
    gain = 1;
    world.runFor(kRelock);
    EXPECT_EQ(state(), JamSyncState::locked);
    world.runFor(200ms);
    expectSteadyOutput(1s);
    EXPECT_GE(lag(), 0);
    EXPECT_LE(lag(), 2);
  }
}

TEST_F(JamSync, TheInputReturnsAtAnotherRateAndTheOutputTakesItUp) {
  open();
  jamTo(kStart);
  gain = 0;
  world.runFor(2s);
  play({10, 0, 10, 0, MTCFrameRate::fps30});
  gain = 1;
  world.runFor(kRelock);
  EXPECT_EQ(state(), JamSyncState::locked);
  world.runFor(200ms);
  expectSteadyOutput(2s);
  EXPECT_EQ(output.frames().back().timecode.frameRate, MTCFrameRate::fps30);
  EXPECT_LE(lag(), 2);
}

TEST_F(JamSync, AChangeOfRateWhileLockedLeavesTheOutputAtItsRate) {
  open();
  jamTo(kStart);
  play({12, 0, 0, 0, MTCFrameRate::fps30});
  world.runFor(100ms);
  expectSteadyOutput(3s);
  EXPECT_EQ(state(), JamSyncState::locked);
  EXPECT_EQ(output.frames().back().timecode.frameRate, MTCFrameRate::fps25);
  EXPECT_EQ(output.frames().back().timecode.hours, 10);
  card().disableJam();
  output.finish();
  world.runFor(1s);
  EXPECT_EQ(output.frames().back().timecode.frameRate, MTCFrameRate::fps30);
}

TEST_F(JamSync, TheInputReturnsAtAnotherLevelAndTheOutputKeepsItsOwn) {
  open();
  jamTo(kStart);
  float peak = 0;
  desk.onOutput(4, [&](std::int64_t, std::span<const float> samples) {
    for (const float sample : samples) peak = std::max(peak, std::abs(sample));
  });
  for (const float level : {0.04F, 1.9F, -0.5F}) {
    gain = 0;
    world.runFor(1s);
    gain = level;
    world.runFor(kRelock);
    EXPECT_EQ(state(), JamSyncState::locked);
    peak = 0;
    world.runFor(200ms);
    expectSteadyOutput(1s);
    EXPECT_NEAR(peak, 0.5, 0.01);
  }
}

TEST_F(JamSync, AJumpOfTheInputWhileLockedIsNotTakenUp) {
  open();
  jamTo(kStart);
  const std::size_t starts = world.logCount("started LTC output");
  for (const std::int64_t jump : {2, 25, -40, 100000}) {
    play(truthAt(desk.nextPosition()).advanced(jump));
    expectSteadyOutput(2s);
    EXPECT_EQ(state(), JamSyncState::locked);
  }
  EXPECT_EQ(world.logCount("started LTC output"), starts);
}

TEST_F(JamSync, SingleBadFramesAndNoiseAtFullLevelDoNotReachTheOutput) {
  open();
  jamTo(kStart);
  const std::size_t starts = world.logCount("started LTC output");
  LtcWriter writer;
  for (int i = 0; i < 100; ++i) {
    // Every tenth frame carries a time from elsewhere.
    const Timecode timecode = i % 10 == 4 ? Timecode{3, 3, 3, 3, MTCFrameRate::fps25} : kStart.advanced(i);
    writer.frame(timecode, 1920);
  }
  const std::int64_t from = desk.nextPosition();
  desk.feed(0, [&](std::int64_t position, std::span<float> samples) {
    for (std::size_t i = 0; i < samples.size(); ++i) {
      const auto at = static_cast<std::size_t>(position - from) + i;
      samples[i] = at < writer.samples.size()
                       ? writer.samples[at]
                       : static_cast<float>(static_cast<std::int32_t>(world.random()())) * 0x1p-31F;
    }
  });
  expectSteadyOutput(4s);
  expectSteadyOutput(6s);
  EXPECT_EQ(world.logCount("started LTC output"), starts);
}

TEST_F(JamSync, AcquiringWaitsUntilTheInputStopsJumping) {
  open();
  LtcWriter writer;
  for (int i = 0; i < 50; ++i) writer.frame(kStart.advanced(i * 3), 1920);
  writer.frames({20, 0, 0, 0, MTCFrameRate::fps25}, 100, 1920);
  desk.feed(0, [&](std::int64_t position, std::span<float> samples) {
    for (std::size_t i = 0; i < samples.size(); ++i) {
      const auto at = static_cast<std::size_t>(position) + i;
      samples[i] = at < writer.samples.size() ? writer.samples[at] : 0.0F;
    }
  });
  card().enableJam();
  world.runFor(1900ms);
  EXPECT_EQ(state(), JamSyncState::acquiring);
  EXPECT_EQ(output.soundEnd(), 0);
  world.runFor(400ms);
  EXPECT_EQ(state(), JamSyncState::locked);
  expectSteadyOutput(1s);
  EXPECT_EQ(output.frames().back().timecode.hours, 20);
}

TEST_F(JamSync, MidnightIsCrossedLockedAndFreewheeling) {
  for (const bool isPulled : {false, true}) {
    for (const MTCFrameRate rate : {MTCFrameRate::fps24, MTCFrameRate::fps2997}) {
      open();
      gain = 1;
      jamTo({23, 59, 57, 0, rate});
      if (isPulled) gain = 0;
      world.runFor(200ms);
      expectSteadyOutput(6s);
      EXPECT_EQ(output.frames().back().timecode.hours, 0);
      EXPECT_LE(std::abs(lag()), 3);
      wall.close();
      output.finish();
    }
  }
}

TEST_F(JamSync, TheTenthMinuteInDropFrameIsCrossedAsTheInputDoes) {
  for (const bool isPulled : {false, true}) {
    for (const std::int64_t minute : {8, 9}) {
      open();
      gain = 1;
      jamTo({10, minute, 56, 0, MTCFrameRate::fps2997});
      if (isPulled) gain = 0;
      world.runFor(200ms);
      const std::int64_t before = lag();
      expectSteadyOutput(6s);
      EXPECT_EQ(output.frames().back().timecode.minutes, minute + 1);
      EXPECT_EQ(lag(), before);
      wall.close();
      output.finish();
    }
  }
}

TEST_F(JamSync, TheOutputRunsOnWhenTheInputDeviceIsUnplugged) {
  SimulatedDevice& truck = world.audio().addDevice({.name = "Truck", .inputGroups = {1}, .driftPpm = 40});
  LTCInput code(truck, 0, kStart.frameRate, kStart);
  wall.openWith({emittingOn(readerOn(truck, 0), desk, 4)});
  world.runFor(1s);
  card().enableJam();
  world.runFor(kRelock);
  ASSERT_EQ(state(), JamSyncState::locked);
  for (const auto away : {400ms, 20000ms}) {
    world.audio().unplug(truck);
    // The level stood high when the audio ended, so the card does not know that its input has gone.
    world.runFor(away);
    EXPECT_EQ(state(), JamSyncState::locked);
    world.audio().plugIn(truck);
    world.runFor(2s);
    EXPECT_EQ(output.frames().back().timecode.frameRate, MTCFrameRate::fps25);
  }
}

TEST_F(JamSync, TheOutputDeviceIsUnpluggedWhileFreewheelingAndTheJamIsTakenUpAnew) {
  SimulatedDevice& stage = world.audio().addDevice({.name = "Stage", .inputGroups = {2}, .outputGroups = {2}});
  HeardOutput heard(stage, 0);
  wall.openWith({emittingOn(readerOn(desk, 0), stage, 0)});
  jamTo(kStart);
  gain = 0;
  world.runFor(1s);
  ASSERT_EQ(state(), JamSyncState::freewheeling);
  world.audio().unplug(stage);
  heard.finish();
  world.runFor(300ms);
  world.audio().plugIn(stage);
  const std::size_t before = heard.frames().size();
  world.runFor(3s);
  EXPECT_EQ(state(), JamSyncState::freewheeling);
  ASSERT_GT(heard.frames().size(), before + 20);
  EXPECT_LE(*heard.frames()[before - 1].timecode.signedFrameDistance(heard.frames()[before].timecode), 2);
}

TEST_F(JamSync, SwitchingItOffIsSilentAtOnceAndTheNextFrameStartsTheOutputAgain) {
  open();
  jamTo(kStart);
  gain = 0;
  world.runFor(1s);
  ASSERT_EQ(state(), JamSyncState::freewheeling);
  const std::int64_t now = desk.nextPosition();
  const auto shown = card().currentTimecode();
  card().disableJam();
  output.finish();
  EXPECT_EQ(state(), JamSyncState::off);
  world.runFor(1s);
  EXPECT_EQ(output.soundEnd(), now);
  EXPECT_EQ(card().displayedTimecode(world.clock().now()), shown);
  EXPECT_TRUE(wall.reservations->owners().empty());
  gain = 1;
  world.runFor(1s);
  EXPECT_GT(output.soundEnd(), now);
  EXPECT_LE(lag(), 2);
}

TEST_F(JamSync, WithoutAnOutputTheCardLocksAndItsDisplayStandsAtTheLock) {
  wall.openWith({readerOn(desk, 0)});
  jamTo(kStart);
  const auto shown = card().displayedTimecode(world.clock().now());
  world.runFor(2s);
  EXPECT_EQ(card().displayedTimecode(world.clock().now()), shown);
  card().disableJam();
  EXPECT_NE(card().displayedTimecode(world.clock().now()), shown);
}

TEST(JamSyncOnManyCards, ThirtyTwoCardsLockAndFreewheelEachOnItsOwnCode) {
  Wall wall({.seed = 52});
  SimulatedWorld& world = wall.world;
  SimulatedDevice& desk =
      world.audio().addDevice({.name = "Desk", .inputGroups = {32}, .outputGroups = {32}, .quantum = 512});
  std::vector<std::unique_ptr<LTCInput>> codes;
  std::vector<std::unique_ptr<HeardOutput>> outputs;
  std::vector<ReaderSnapshot> cards;
  for (std::size_t i = 0; i < 32; ++i) {
    const auto rate = static_cast<MTCFrameRate>(i % 4);
    const auto channel = static_cast<std::int64_t>(i);
    codes.push_back(std::make_unique<LTCInput>(desk, i, rate, Timecode{channel % 24, 20, 58, 2, rate}));
    outputs.push_back(std::make_unique<HeardOutput>(desk, i));
    cards.push_back(emittingOn(readerOn(desk, channel), desk, channel));
  }
  wall.openWith(cards);
  for (const auto& card : wall.store->readers()) card->enableJam();
  world.runFor(2s);
  for (const auto& code : codes) code->gain = 0;
  world.runFor(3s);
  for (const auto& code : codes) code->gain = 1;
  world.runFor(2s);
  for (std::size_t i = 0; i < 32; ++i) {
    const auto& frames = outputs[i]->frames();
    EXPECT_EQ(wall.card(i).jamSyncState(), JamSyncState::locked);
    ASSERT_GT(frames.size(), 140U);
    // The new lock breaks the row once, within a frame, and nothing else does.
    int breaks = 0;
    for (std::size_t k = 1; k < frames.size(); ++k) {
      if (frames[k].timecode != frames[k - 1].timecode.advanced(1)) ++breaks;
      EXPECT_EQ(frames[k].timecode.hours % 24, static_cast<std::int64_t>(i) % 24);
    }
    EXPECT_LE(breaks, 1);
    EXPECT_LE(outputs[i]->brokenCount(), 2);
  }
  EXPECT_EQ(desk.counters().opens, 1);
  EXPECT_EQ(wall.reservations->owners().size(), 32U);
}

}  // namespace
}  // namespace tallyrig
