// What a card shows of the code at its input, compared with the truth at every tick of the display.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cmath>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "reader/ReaderSettingsForm.h"
#include "scenario/DisplayTick.h"
#include "scenario/Start.h"
#include "support/Cards.h"
#include "support/LTCInput.h"
#include "support/Wall.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

/// Time from the start of code within which a card need not show it yet: libltc finds the first frame after silence
/// only at the end of the second, and audio arrives a quantum late.
constexpr auto kLockTime = 200ms;

/// Lets `duration` pass in ticks of the display and expects the card to show the truth at each.
void expectTruth(Wall& wall, ReaderInstance& card, LTCInput& input, double actualRate,
                 std::chrono::milliseconds duration) {
  int compared = 0;
  int wrong = 0;
  for (auto passed = 0ns; passed < duration; passed += kTick) {
    wall.world.runFor(kTick);
    const HostTime now = wall.world.clock().now();
    const auto truth = input.truthAt(now, wall.world.clock(), actualRate);
    if (!truth) continue;
    ++compared;
    const auto shown = card.displayedTimecode(now);
    if (shown != truth && ++wrong <= 3) {
      ADD_FAILURE() << "shows " << textOrNone(shown) << " at " << truth->text();
    }
  }
  EXPECT_GT(compared, duration / kTick * 9 / 10);
  EXPECT_EQ(wrong, 0) << "of " << compared << " ticks";
}

struct Signal {
  const char* name;
  Timecode start;
};

struct Input {
  const char* name;
  SimulatedDeviceOptions device;
  std::chrono::nanoseconds jitter{0};
  TickRatio tick{};
};

void PrintTo(const Signal& signal, std::ostream* stream) {
  *stream << signal.name;
}
void PrintTo(const Input& input, std::ostream* stream) {
  *stream << input.name;
}

class EachSignalOnEachInput : public testing::TestWithParam<std::tuple<Signal, Input>> {};

TEST_P(EachSignalOnEachInput, IsShownFrameForFrame) {
  const auto& [signal, input] = GetParam();
  Wall wall({.seed = 11, .tick = input.tick});
  SimulatedDevice& device = wall.world.audio().addDevice(input.device);
  device.setJitter(input.jitter);
  LTCInput code(device, 1, signal.start.frameRate, signal.start, input.device.rate);
  wall.openWith({readerOn(device, 1)});
  wall.world.runFor(kLockTime);
  ASSERT_TRUE(wall.card(0).isReceiving());
  expectTruth(wall, wall.card(0), code, input.device.rate * (1 + input.device.driftPpm * 1e-6), 10s);
  EXPECT_EQ(wall.card(0).currentTimecode()->frameRate, signal.start.frameRate);
  EXPECT_EQ(wall.world.logCount("dropped"), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Everywhere, EachSignalOnEachInput,
    testing::Combine(
        testing::Values(Signal{"Rate24OverMidnight", {23, 59, 57, 0, MTCFrameRate::fps24}},
                        Signal{"Rate25", {10, 0, 0, 0, MTCFrameRate::fps25}},
                        Signal{"Drop2997IntoADroppedMinute", {10, 0, 55, 0, MTCFrameRate::fps2997}},
                        Signal{"Drop2997IntoATenthMinute", {10, 9, 55, 0, MTCFrameRate::fps2997}},
                        Signal{"Drop2997OverMidnight", {23, 59, 56, 2, MTCFrameRate::fps2997}},
                        Signal{"Rate30", {0, 0, 0, 0, MTCFrameRate::fps30}}),
        testing::Values(Input{"Interleaved48k", {.name = "A", .inputGroups = {8}, .quantum = 512}},
                        Input{"Planar48kSmallQuantum",
                              {.name = "B",
                               .inputGroups = {2, 2},
                               .quantum = 64,
                               .arrangement = BufferArrangement::kOneBufferPerChannel}},
                        Input{"At44k1WithDriftAndJitter",
                              {.name = "C", .inputGroups = {2}, .rate = 44100, .quantum = 1024, .driftPpm = 100},
                              4ms},
                        Input{"At96kLargeQuantumOddTicks",
                              {.name = "D", .inputGroups = {2}, .rate = 96000, .quantum = 4096, .driftPpm = -100},
                              0ms,
                              {125, 3}},
                        Input{"At192k", {.name = "E", .inputGroups = {2}, .rate = 192000, .quantum = 2048}})),
    [](const auto& testCase) {
      return std::string(std::get<0>(testCase.param).name) + "_" + std::get<1>(testCase.param).name;
    });

class ReadingLTC : public testing::Test {
 protected:
  Wall wall{{.seed = 21}};
  SimulatedWorld& world = wall.world;
  SimulatedDevice& desk =
      world.audio().addDevice({.name = "Desk", .inputGroups = {8}, .outputGroups = {8}, .quantum = 256});
};

TEST_F(ReadingLTC, ACutFreezesTheLastFrameAndTheReturnRunsOn) {
  LTCInput code(desk, 0, kStart.frameRate, kStart);
  wall.openWith({readerOn(desk, 0)});
  world.runFor(5s);
  ReaderInstance& card = wall.card(0);
  for (const auto away : {1000ms, 4000ms, 600000ms}) {
    code.gain = 0;
    ASSERT_TRUE(world.runUntil([&] { return !card.isReceiving(); }, 500ms));
    const auto frozen = card.displayedTimecode(world.clock().now());
    world.runFor(away);
    EXPECT_EQ(card.displayedTimecode(world.clock().now()), frozen);
    EXPECT_FALSE(card.isReceiving());
    code.gain = 1;
    world.runFor(kLockTime);
    EXPECT_TRUE(card.isReceiving());
    expectTruth(wall, card, code, 48000, 2s);
  }
}

TEST_F(ReadingLTC, AQuietOrInvertedOrNoisySignalIsReadAlike) {
  LTCInput code(desk, 0, kStart.frameRate, kStart);
  wall.openWith({readerOn(desk, 0)});
  world.runFor(1s);
  for (const float gain : {0.035F, -1.0F, 1.0F, 2.5F}) {
    code.gain = gain;
    world.runFor(kLockTime);
    expectTruth(wall, wall.card(0), code, 48000, 3s);
  }
}

TEST_F(ReadingLTC, CodeOverACableToADriftingDeviceIsShownAsItArrives) {
  SimulatedDevice& truck = world.audio().addDevice(
      {.name = "Truck", .inputGroups = {2}, .outputGroups = {2}, .quantum = 512, .driftPpm = 60});
  world.audio().connect(desk, 3, truck, 1);
  wall.openWith({readerOn(truck, 1)});

  LTCSignal played(kStart.frameRate, kStart, 48000);
  std::vector<float> audio(48000 * 8);
  played.fill(0, audio);
  std::size_t position = 0;
  HostTime begin;
  ASSERT_FALSE(wall.hub->attachOutput(desk.id(), "Desk", QUuid::createUuid(),
                                      [&](std::span<AudioBuffer> buffers, const AudioTimeStamp& time) {
                                        if (position == 0) begin = time.hostTime;
                                        const std::uint32_t channels = buffers[0].channelCount;
                                        const auto frames = buffers[0].byteSize / sizeof(float) / channels;
                                        for (std::size_t i = 0; i < frames && position < audio.size(); ++i) {
                                          buffers[0].data[i * channels + 3] = audio[position++];
                                        }
                                      }));
  world.runFor(kLockTime);
  ReaderInstance& card = wall.card(0);
  int compared = 0;
  for (int tick = 0; tick < 400; ++tick) {
    world.runFor(kTick);
    const HostTime now = world.clock().now();
    const auto at = static_cast<std::int64_t>(std::llround(world.clock().seconds(now - begin) * 48000));
    if (played.frameAt(at - 3) != played.frameAt(at + 3)) continue;
    ++compared;
    EXPECT_EQ(textOrNone(card.displayedTimecode(now)), played.frameAt(at).text());
  }
  EXPECT_GT(compared, 380);
}

TEST_F(ReadingLTC, ACardThatLeavesIsNotHeardByItsNeighbour) {
  LTCInput first(desk, 0, kStart.frameRate, kStart);
  LTCInput second(desk, 1, MTCFrameRate::fps30, Timecode{5, 0, 0, 0, MTCFrameRate::fps30});
  wall.openWith({readerOn(desk, 0), readerOn(desk, 1)});
  world.runFor(kLockTime);
  std::vector<Timecode> frames;
  ReaderInstance* stays = &wall.card(1);
  QObject::connect(stays, &ReaderInstance::timecodeChanged, [&] { frames.push_back(*stays->currentTimecode()); });
  expectTruth(wall, *stays, second, 48000, 1s);
  wall.store->removeReader(&wall.card(0));
  expectTruth(wall, *stays, second, 48000, 1s);
  wall.store->addReader();
  expectTruth(wall, *stays, second, 48000, 1s);
  for (std::size_t i = 1; i < frames.size(); ++i) EXPECT_EQ(frames[i], frames[i - 1].advanced(1));
  EXPECT_GT(frames.size(), 85U);
  EXPECT_EQ(desk.counters().starts, 1);
}

TEST_F(ReadingLTC, AReplugWithinASecondIsFollowedUnderTheNewNumber) {
  LTCInput code(desk, 0, kStart.frameRate, kStart);
  wall.openWith({readerOn(desk, 0)});
  world.runFor(2s);
  const AudioDeviceID before = desk.id();
  world.audio().unplug(desk);
  world.runFor(400ms);
  world.audio().plugIn(desk);
  ASSERT_NE(desk.id(), before);
  world.runFor(1s + kLockTime);
  expectTruth(wall, wall.card(0), code, 48000, 3s);
}

TEST_F(ReadingLTC, ADeviceAwayForLongerIsPickedUpWhenTheSettingsAreApplied) {
  LTCInput code(desk, 0, kStart.frameRate, kStart);
  wall.openWith({readerOn(desk, 0)});
  world.runFor(2s);
  world.audio().unplug(desk);
  world.runFor(5s);
  EXPECT_EQ(world.logCount("LTCAudioInputHub: waiting for audio device — Desk"), 1U);
  EXPECT_EQ(world.logCount("LTCReceiver: audio callbacks paused, waiting for selected device to resume"), 1U);
  world.audio().plugIn(desk);
  world.runFor(3s);
  EXPECT_FALSE(desk.isRunning());
  ReaderSettingsForm form(wall.store->readers().front(), *wall.store, wall.services());
  form.apply();
  world.runFor(kLockTime);
  expectTruth(wall, wall.card(0), code, 48000, 3s);
}

TEST_F(ReadingLTC, AStallIsSurvivedWithoutAWrongFrameAfterwards) {
  LTCInput code(desk, 0, kStart.frameRate, kStart);
  wall.openWith({readerOn(desk, 0)});
  world.runFor(2s);
  for (const auto length : {20ms, 300ms, 5000ms}) {
    desk.stall(length);
    world.runFor(length + 1500ms + kLockTime);
    expectTruth(wall, wall.card(0), code, 48000, 2s);
  }
}

TEST_F(ReadingLTC, AChangeOfRateShowsAfterFourFrames) {
  LTCInput code(desk, 0, kStart.frameRate, kStart);
  wall.openWith({readerOn(desk, 0)});
  world.runFor(2s);
  LTCInput other(desk, 0, MTCFrameRate::fps30, Timecode{20, 0, 0, 0, MTCFrameRate::fps30});
  std::vector<Timecode> shown;
  QObject::connect(&wall.card(0), &ReaderInstance::timecodeChanged,
                   [&] { shown.push_back(*wall.card(0).currentTimecode()); });
  world.runFor(kLockTime);
  EXPECT_EQ(wall.card(0).currentTimecode()->frameRate, MTCFrameRate::fps30);
  int underOldRate = 0;
  for (const auto& timecode : shown) {
    if (timecode.hours == 20 && timecode.frameRate == MTCFrameRate::fps25) ++underOldRate;
  }
  EXPECT_LE(underOldRate, 3);
  expectTruth(wall, wall.card(0), other, 48000, 2s);
}

TEST_F(ReadingLTC, AnHourKeepsTheTruthToTheFrame) {
  SimulatedDevice& truck =
      world.audio().addDevice({.name = "Truck", .inputGroups = {1}, .rate = 48000, .quantum = 1024, .driftPpm = 87});
  truck.setJitter(10ms);
  LTCInput code(truck, 0, MTCFrameRate::fps2997, Timecode{23, 30, 0, 0, MTCFrameRate::fps2997});
  wall.openWith({readerOn(truck, 0)});
  world.runFor(kLockTime);
  const double actualRate = 48000 * (1 + 87e-6);
  for (int quarter = 0; quarter < 4; ++quarter) {
    world.runFor(14min);
    expectTruth(wall, wall.card(0), code, actualRate, 60s);
  }
  EXPECT_EQ(world.logCount("input loss"), 0U);
}

TEST(ReadingLTCOnManyCards, SixtyFourCardsOnOneDeviceAllShowTheirOwnTruth) {
  Wall wall({.seed = 31});
  SimulatedDevice& wide = wall.world.audio().addDevice({.name = "Wide", .inputGroups = {64}, .quantum = 256});
  std::vector<std::unique_ptr<LTCInput>> codes;
  std::vector<ReaderSnapshot> cards;
  constexpr std::array kRates{MTCFrameRate::fps24, MTCFrameRate::fps25, MTCFrameRate::fps2997, MTCFrameRate::fps30};
  for (std::size_t i = 0; i < 64; ++i) {
    const MTCFrameRate rate = kRates[i % 4];
    codes.push_back(std::make_unique<LTCInput>(
        wide, i, rate, Timecode{static_cast<std::int64_t>(i % 24), 10, static_cast<std::int64_t>(i % 60), 5, rate}));
    cards.push_back(readerOn(wide, static_cast<std::int64_t>(i)));
  }
  wall.openWith(cards);
  wall.world.runFor(kLockTime);
  for (int tick = 0; tick < 100; ++tick) {
    wall.world.runFor(16ms);
    const HostTime now = wall.world.clock().now();
    for (std::size_t i = 0; i < 64; ++i) {
      const auto truth = codes[i]->truthAt(now, wall.world.clock(), 48000);
      if (!truth) continue;
      EXPECT_EQ(textOrNone(wall.card(i).displayedTimecode(now)), truth->text()) << "card " << i;
    }
  }
  EXPECT_EQ(wide.counters().opens, 1);
}

/// A rig of eight cards on three drifting devices with everything that goes wrong in a long show. Whenever a card's
/// input has been whole for a second, the card shows the truth.
class LongShow : public testing::TestWithParam<std::uint64_t> {};

TEST_P(LongShow, NeverShowsAFrameThatIsNotAtTheInput) {
  const std::uint64_t seed = GetParam();
  SCOPED_TRACE("seed " + std::to_string(seed));
  Wall wall({.seed = seed});
  SimulatedWorld& world = wall.world;
  const std::vector<double> drifts{-100, 3, 100};
  std::vector<SimulatedDevice*> devices;
  for (std::size_t i = 0; i < drifts.size(); ++i) {
    devices.push_back(&world.audio().addDevice(
        {.name = "Device " + std::to_string(i), .inputGroups = {2, 2}, .quantum = 256U << i, .driftPpm = drifts[i]}));
    devices.back()->setJitter(3ms);
  }
  constexpr std::array kRates{MTCFrameRate::fps24, MTCFrameRate::fps25, MTCFrameRate::fps2997, MTCFrameRate::fps30};
  struct Line {
    std::unique_ptr<LTCInput> code;
    std::size_t device;
    HostTime disturbed;
  };
  std::vector<Line> lines;
  std::vector<ReaderSnapshot> cards;
  for (std::size_t i = 0; i < 8; ++i) {
    const std::size_t device = i % devices.size();
    const std::size_t channel = i / devices.size();
    const MTCFrameRate rate = kRates[i % 4];
    lines.push_back({std::make_unique<LTCInput>(*devices[device], channel, rate,
                                                Timecode{static_cast<std::int64_t>(3 * i), 59, 30, 0, rate}),
                     device, world.clock().now()});
    cards.push_back(readerOn(*devices[device], static_cast<std::int64_t>(channel)));
  }
  wall.openWith(cards);

  const auto disturbDevice = [&](std::size_t device) {
    for (Line& line : lines) {
      if (line.device == device) line.disturbed = world.clock().now();
    }
  };
  int compared = 0;
  const auto end = world.clock().now() + world.clock().ticksFromNanos(120'000'000'000ULL);
  while (world.clock().now() < end) {
    world.runFor(std::chrono::milliseconds(50 + world.random()() % 400));
    const HostTime now = world.clock().now();
    switch (world.random()() % 40) {
      case 0: {
        Line& line = lines[world.random()() % lines.size()];
        line.code->gain = line.code->gain == 0 ? 1.0F : 0.0F;
        line.disturbed = now;
        break;
      }
      case 1: {
        const std::size_t device = world.random()() % devices.size();
        devices[device]->stall(std::chrono::milliseconds(world.random()() % 500));
        disturbDevice(device);
        break;
      }
      case 2: {
        const std::size_t device = world.random()() % devices.size();
        world.audio().unplug(*devices[device]);
        world.runFor(std::chrono::milliseconds(world.random()() % 600));
        world.audio().plugIn(*devices[device]);
        // The rebuild closes and opens every device again, a second later.
        for (std::size_t each = 0; each < devices.size(); ++each) disturbDevice(each);
        break;
      }
      default:
        break;
    }
    const HostTime asked = world.clock().now();
    for (std::size_t i = 0; i < lines.size(); ++i) {
      Line& line = lines[i];
      if (world.clock().seconds(asked - line.disturbed) < 3.0) continue;
      ReaderInstance& card = wall.card(i);
      ASSERT_EQ(card.isReceiving(), line.code->gain != 0) << "card " << i;
      if (line.code->gain == 0) continue;
      const auto truth = line.code->truthAt(asked, world.clock(), 48000 * (1 + drifts[line.device] * 1e-6));
      if (!truth) continue;
      ++compared;
      ASSERT_EQ(textOrNone(card.displayedTimecode(asked)), truth->text()) << "card " << i;
    }
  }
  EXPECT_GT(compared, 500);
}

INSTANTIATE_TEST_SUITE_P(Seeds, LongShow, testing::Values(1, 2, 3, 4));

}  // namespace
}  // namespace tallyrig
