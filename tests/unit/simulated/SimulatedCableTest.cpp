#include "platform/simulated/SimulatedCable.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "platform/simulated/SimulatedWorld.h"
#include "unit/simulated/DeviceClientForTests.h"

using namespace std::chrono_literals;

namespace tallyrig {
namespace {

/// A sine of 1 kHz by the true time of each sample of a device, fed into nothing: what a perfect cable would give.
double sineAt(double nanos) {
  return 0.5 * std::sin(2 * std::numbers::pi * std::fmod(nanos, 1e9) * 1e-9 * 1000);
}

/// Plays the sine on output 0 of a device, sample by sample at the instants of its own clock.
class SinePlayer {
 public:
  SinePlayer(SimulatedWorld& world, SimulatedDevice& device, double rate, double ppm)
      : nanosPerSample_(1e9 / (rate * (1 + ppm * 1e-6))) {
    world.audio().createIO(
        device.id(),
        [this, &world](const AudioCycle& cycle) {
          const AudioBuffer& buffer = cycle.output[0];
          const double start = static_cast<double>(world.clock().nanosFromTicks({cycle.outputTime.hostTime.ticks}));
          for (std::uint32_t i = 0; i < buffer.byteSize / 4; ++i) {
            buffer.data[i] = static_cast<float>(sineAt(start + i * nanosPerSample_));
          }
        },
        io_);
    io_->start();
  }

 private:
  double nanosPerSample_;
  std::unique_ptr<AudioIO> io_;
};

/// Compares what input 0 of a device hears with the sine at the instants that the input stamps claim.
class SineListener {
 public:
  SineListener(SimulatedWorld& world, SimulatedDevice& device, double rate, double ppm)
      : nanosPerSample_(1e9 / (rate * (1 + ppm * 1e-6))) {
    world.audio().createIO(
        device.id(),
        [this, &world](const AudioCycle& cycle) {
          const AudioBuffer& buffer = cycle.input[0];
          const double start = static_cast<double>(world.clock().nanosFromTicks({cycle.inputTime.hostTime.ticks}));
          if (!isJudging) return;
          for (std::uint32_t i = 0; i < buffer.byteSize / 4; ++i) {
            worst = std::max(worst, std::abs(buffer.data[i] - sineAt(start + i * nanosPerSample_)));
            ++samples;
          }
        },
        io_);
    io_->start();
  }

  bool isJudging = false;
  double worst = 0;
  std::int64_t samples = 0;

 private:
  double nanosPerSample_;
  std::unique_ptr<AudioIO> io_;
};

double worstSineError(const SimulatedDeviceOptions& from, const SimulatedDeviceOptions& to,
                      std::chrono::nanoseconds jitter = 0ns) {
  SimulatedWorld world({.seed = 11});
  SimulatedDevice& player = world.audio().addDevice(from);
  SimulatedDevice& listener = world.audio().addDevice(to);
  world.audio().connect(player, 0, listener, 0);
  player.setJitter(jitter);
  listener.setJitter(jitter);
  const SinePlayer plays(world, player, from.rate, from.driftPpm);
  SineListener hears(world, listener, to.rate, to.driftPpm);
  world.runFor(200ms);
  hears.isJudging = true;
  world.runFor(20s);
  EXPECT_GT(hears.samples, 19 * static_cast<std::int64_t>(to.rate));
  return hears.worst;
}

TEST(SimulatedCable, LoopsAnImpulseToTheSameSampleOfTheNextCycle) {
  for (const std::uint32_t quantum : {1u, 16u, 100u, 256u, 512u, 4096u, 8193u}) {
    SimulatedWorld world;
    SimulatedDevice& device =
        world.audio().addDevice({.inputGroups = {2}, .outputGroups = {3}, .quantum = quantum, .driftPpm = -80});
    world.audio().connect(device, 2, device, 1);
    DeviceClientForTests client(world.audio(), device.id(), 100);
    client.heard.reserve(std::size_t{5} * quantum);
    client.listenTo = 1;
    client.playOn = 2;
    client.player = [](std::size_t cycle, std::uint32_t index) {
      return static_cast<float>(cycle * 10000 + index + 1);
    };
    client.start();
    world.runUntil([&] { return client.count == 5; }, 10s);
    for (std::size_t cycle = 1; cycle < 5; ++cycle) {
      ASSERT_EQ(client.cycles[cycle].inputTime.hostTime, client.cycles[cycle - 1].outputTime.hostTime);
      for (std::uint32_t i = 0; i < quantum; ++i) {
        ASSERT_EQ(client.heard[cycle * quantum + i], static_cast<float>((cycle - 1) * 10000 + i + 1)) << quantum;
      }
    }
  }
}

TEST(SimulatedCable, AppliesGainAndDelay) {
  SimulatedWorld world;
  SimulatedDevice& device = world.audio().addDevice({.inputGroups = {1}, .outputGroups = {1}, .quantum = 480});
  world.audio().connect(device, 0, device, 0, {.gain = 0.5f, .delay = 1003});
  DeviceClientForTests client(world.audio(), device.id());
  client.player = [](std::size_t cycle, std::uint32_t index) { return cycle == 0 && index == 7 ? 1.0f : 0.0f; };
  client.start();
  world.runFor(100ms);
  const auto impulse = std::find(client.heard.begin(), client.heard.end(), 0.5f);
  EXPECT_EQ(impulse - client.heard.begin(), 480 + 7 + 1003);
  EXPECT_EQ(std::count(client.heard.begin(), client.heard.end(), 0.0f), std::ssize(client.heard) - 1);
}

TEST(SimulatedCable, IsSilentWhileItIsCut) {
  SimulatedWorld world;
  SimulatedDevice& device = world.audio().addDevice({.inputGroups = {1}, .outputGroups = {1}, .quantum = 480});
  SimulatedCable& cable = world.audio().connect(device, 0, device, 0, {.noise = 0.01f});
  DeviceClientForTests client(world.audio(), device.id());
  client.player = [](std::size_t, std::uint32_t) { return 0.5f; };
  client.start();
  world.runFor(100ms);
  cable.cut();
  world.runFor(100ms);
  cable.restore();
  world.runFor(100ms);
  ASSERT_EQ(client.count, 30u);
  constexpr std::size_t kCycle = 480;
  EXPECT_NE(client.heard[9 * kCycle], 0.0f);
  for (std::size_t i = 10 * kCycle; i < 20 * kCycle; ++i) ASSERT_EQ(client.heard[i], 0.0f);
  EXPECT_NEAR(client.heard[20 * kCycle], 0.5f, 0.02f);
}

TEST(SimulatedCable, AddsWhiteNoiseOfTheLevelAsked) {
  const auto noise = [](std::uint64_t seed) {
    SimulatedWorld world({.seed = seed});
    SimulatedDevice& device = world.audio().addDevice({.inputGroups = {1}, .outputGroups = {1}, .quantum = 480});
    world.audio().connect(device, 0, device, 0, {.noise = 0.1f});
    DeviceClientForTests client(world.audio(), device.id());
    client.start();
    world.runFor(5s);
    return client.heard;
  };
  const auto heard = noise(3);
  double sum = 0, squares = 0, neighbours = 0;
  for (std::size_t i = 1; i < heard.size(); ++i) {
    sum += heard[i];
    squares += heard[i] * heard[i];
    neighbours += heard[i] * heard[i - 1];
  }
  const auto count = static_cast<double>(heard.size());
  EXPECT_NEAR(std::sqrt(squares / count), 0.1, 0.002);
  EXPECT_NEAR(sum / count, 0, 0.001);
  EXPECT_NEAR(neighbours / squares, 0, 0.01);
  EXPECT_EQ(heard, noise(3));
  EXPECT_NE(heard, noise(4));
}

TEST(SimulatedCable, PassesBitForBitBetweenDevicesOfOneClock) {
  SimulatedWorld world;
  SimulatedDevice& from = world.audio().addDevice({.outputGroups = {1}, .rate = 44100, .quantum = 441, .driftPpm = 12});
  SimulatedDevice& to = world.audio().addDevice({.inputGroups = {1}, .rate = 44100, .quantum = 128, .driftPpm = 12});
  world.audio().connect(from, 0, to, 0);
  DeviceClientForTests player(world.audio(), from.id());
  DeviceClientForTests listener(world.audio(), to.id());
  player.player = [](std::size_t cycle, std::uint32_t index) { return static_cast<float>(cycle * 441 + index + 1); };
  player.start();
  listener.start();
  world.runFor(500ms);
  const HostTime firstPlayed = player.cycles[0].outputTime.hostTime;
  EXPECT_EQ(firstPlayed, from.timeOf(441));
  // The listener's first sample is its position 0.
  ASSERT_EQ(listener.cycles[0].inputTime.hostTime, to.timeOf(0));
  for (std::size_t i = 0; i < listener.heard.size(); ++i) {
    ASSERT_EQ(listener.heard[i], i < 441 ? 0.0f : static_cast<float>(i - 441 + 1));
  }
  EXPECT_GT(listener.heard.size(), 20000u);
}

// The 24-bit floats of a sine of half full scale and the interpolator's stop band allow about 1e-4; one sample of
// error in time would show as 0.065.
constexpr double kSineTolerance = 3e-4;

TEST(SimulatedCable, IsTrueInTimeBetweenClocksThatDrift) {
  EXPECT_LT(worstSineError({.outputGroups = {1}, .quantum = 512, .driftPpm = 100},
                           {.inputGroups = {1}, .quantum = 512, .driftPpm = -100}),
            kSineTolerance);
  EXPECT_LT(worstSineError({.outputGroups = {1}, .quantum = 64}, {.inputGroups = {1}, .quantum = 480, .driftPpm = 3}),
            kSineTolerance);
}

TEST(SimulatedCable, IsTrueInTimeBetweenClocksOfAnotherPhase) {
  EXPECT_LT(worstSineError({.outputGroups = {1}, .quantum = 256},
                           {.inputGroups = {1}, .quantum = 256, .phase = std::chrono::nanoseconds{7777}}),
            kSineTolerance);
}

TEST(SimulatedCable, IsTrueInTimeBetweenRates) {
  EXPECT_LT(worstSineError({.outputGroups = {1}, .rate = 44100}, {.inputGroups = {1}, .rate = 48000}), kSineTolerance);
  EXPECT_LT(worstSineError({.outputGroups = {1}, .rate = 96000}, {.inputGroups = {1}, .rate = 44100}), kSineTolerance);
}

TEST(SimulatedCable, IsTrueInTimeUnderJitterOfBothDevices) {
  EXPECT_LT(worstSineError({.outputGroups = {1}, .quantum = 512, .driftPpm = 50},
                           {.inputGroups = {1}, .quantum = 128, .driftPpm = -20}, 3ms),
            kSineTolerance);
  EXPECT_LT(worstSineError({.outputGroups = {1}, .quantum = 512}, {.inputGroups = {1}, .quantum = 64}, 3ms),
            kSineTolerance);
}

TEST(SimulatedCable, StaysTrueWhenADriftBeginsWhileItRuns) {
  SimulatedWorld world;
  SimulatedDevice& from = world.audio().addDevice({.outputGroups = {1}});
  SimulatedDevice& to = world.audio().addDevice({.inputGroups = {1}});
  world.audio().connect(from, 0, to, 0);
  const SinePlayer plays(world, from, 48000, 0);
  world.runFor(1s);
  to.setDrift(200);
  SineListener hears(world, to, 48000, 200);
  world.runFor(200ms);
  hears.isJudging = true;
  world.runFor(20s);
  EXPECT_LT(hears.worst, kSineTolerance);
}

/// Cabled both ways, neither device can wait for the other: what is missing at the edge is held, within one sample.
TEST(SimulatedCable, StaysWithinASampleWhereTwoDevicesWaitForEachOther) {
  SimulatedWorld world;
  SimulatedDevice& a = world.audio().addDevice({.inputGroups = {1}, .outputGroups = {1}, .driftPpm = 100});
  SimulatedDevice& b = world.audio().addDevice({.inputGroups = {1}, .outputGroups = {1}, .driftPpm = -100});
  world.audio().connect(a, 0, b, 0);
  world.audio().connect(b, 0, a, 0);
  const SinePlayer playsA(world, a, 48000, 100);
  const SinePlayer playsB(world, b, 48000, -100);
  SineListener hearsA(world, a, 48000, 100);
  SineListener hearsB(world, b, 48000, -100);
  world.runFor(200ms);
  hearsA.isJudging = hearsB.isJudging = true;
  world.runFor(60s);
  constexpr double kOneSample = 0.5 * 2 * std::numbers::pi * 1000 / 48000;
  EXPECT_LT(hearsA.worst, kOneSample);
  EXPECT_LT(hearsB.worst, kOneSample);
}

TEST(SimulatedCable, HearsSilenceFromADeviceThatHasStopped) {
  SimulatedWorld world;
  SimulatedDevice& from = world.audio().addDevice({.outputGroups = {1}, .driftPpm = 5});
  SimulatedDevice& to = world.audio().addDevice({.inputGroups = {1}});
  world.audio().connect(from, 0, to, 0);
  DeviceClientForTests player(world.audio(), from.id());
  DeviceClientForTests listener(world.audio(), to.id());
  player.player = [](std::size_t, std::uint32_t) { return 0.5f; };
  player.start();
  listener.start();
  world.runFor(200ms);
  EXPECT_NEAR(listener.heard.back(), 0.5f, 1e-5f);
  player.io->stop();
  world.runFor(200ms);
  EXPECT_EQ(listener.heard.back(), 0.0f);
}

}  // namespace
}  // namespace tallyrig
