#include "platform/simulated/SimulatedWorld.h"

#include <chrono>
#include <iostream>

using namespace std::chrono_literals;

namespace tallyrig {
namespace {

TEST(SimulatedWorld, RunForRunsWhatFallsDueAndLeavesTheClockAtTheEnd) {
  SimulatedWorld world({.start = 5s});
  int runs = 0;
  SerialQueue& main = world.scheduler().mainQueue();
  main.postAfter(10ms, [&] { ++runs; });
  main.postAfter(10ms + 1ns, [&] { ++runs; });
  world.runFor(10ms);
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(world.clock().nanos(), 5s + 10ms);
}

TEST(SimulatedWorld, RunUntilStopsAtTheEventThatFulfilsTheCondition) {
  SimulatedWorld world({.start = 0s});
  int count = 0;
  const auto timer = world.scheduler().mainQueue().repeat({.interval = 1ms, .first = 1ms}, [&] { ++count; });
  EXPECT_TRUE(world.runUntil([&] { return count == 4; }, 1s));
  EXPECT_EQ(world.clock().nanos(), 4ms);
  EXPECT_FALSE(world.runUntil([&] { return count < 0; }, 10ms));
  EXPECT_EQ(world.clock().nanos(), 14ms);
  EXPECT_EQ(count, 14);
}

TEST(SimulatedWorld, RunPendingLeavesTheClockWhereItIs) {
  SimulatedWorld world;
  int runs = 0;
  SerialQueue& main = world.scheduler().mainQueue();
  main.post([&] { main.post([&] { ++runs; }); });
  main.postAfter(1ns, [&] { ++runs; });
  const HostTime before = world.clock().now();
  world.runPending();
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(world.clock().now(), before);
}

TEST(SimulatedWorld, CollectsTheLinesOfItsLog) {
  SimulatedWorld world;
  world.log().line("Hub: opened one");
  world.runFor(250ms);
  world.log().timed("Hub: opened two");
  world.runFor(250ms);
  world.log().timed("Hub: closed");
  EXPECT_THAT(world.logLines(), testing::ElementsAre("Hub: opened one", "[09:00:00.250 +0.000ms] Hub: opened two",
                                                     "[09:00:00.500 +250.000ms] Hub: closed"));
  EXPECT_EQ(world.logCount("opened"), 2u);
  EXPECT_FALSE(world.hasLogged("waiting"));
}

TEST(SimulatedWorld, KeepsPreferencesAndCountsWrites) {
  SimulatedWorld world;
  EXPECT_EQ(world.preferences().string("size"), std::nullopt);
  world.preferences().setString("size", "Large");
  EXPECT_EQ(world.preferences().string("size"), "Large");
  world.preferences().setOtherType("size");
  EXPECT_EQ(world.preferences().string("size"), std::nullopt);
  EXPECT_EQ(world.preferences().writeCount(), 1);
}

/// All that happens in a second of two jittery devices with a noisy cable and two timers, by name and instant.
std::string history(std::uint64_t seed) {
  SimulatedWorld world({.seed = seed});
  std::string result;
  const auto note = [&](const char* what) {
    result += what;
    result += std::to_string(world.clock().now().ticks);
  };
  SimulatedDevice& from = world.audio().addDevice({.outputGroups = {1}, .quantum = 960});
  SimulatedDevice& to = world.audio().addDevice({.inputGroups = {1}, .outputGroups = {1}, .quantum = 480});
  world.audio().connect(from, 0, to, 0, {.noise = 0.5f});
  float heard = 0;
  std::unique_ptr<AudioIO> plays, hears;
  world.audio().createIO(
      from.id(), [](const AudioCycle&) {}, plays);
  world.audio().createIO(
      to.id(), [&](const AudioCycle& cycle) { heard = cycle.input[0].data[0]; }, hears);
  to.onOutput(0, [&](std::int64_t, std::span<const float>) { note(std::to_string(heard).append("@").c_str()); });
  from.setJitter(1ms);
  to.setJitter(1ms);
  plays->start();
  hears->start();
  const auto queue = world.scheduler().makeQueue("q", QueuePriority::kUserInitiated);
  const auto exact = queue->repeat({.interval = 10ms}, [&] { note(" exact "); });
  const auto loose = world.scheduler().mainQueue().repeat({.interval = 10ms, .leeway = 2ms}, [&] { note(" loose "); });
  world.runFor(1s);
  return result;
}

TEST(SimulatedWorld, RepeatsARunFromItsSeed) {
  const std::string first = history(77);
  EXPECT_GT(first.size(), 5000u);
  EXPECT_EQ(first, history(77));
  EXPECT_NE(first, history(78));
}

TEST(SimulatedWorld, LivesThroughAnHourOfTimersInWellUnderAnHour) {
  SimulatedWorld world;
  const auto queue = world.scheduler().makeQueue("q", QueuePriority::kUserInitiated);
  int fired = 0;
  std::vector<std::unique_ptr<RepeatingTimer>> timers;
  timers.reserve(4);
  for (int i = 0; i < 4; ++i) {
    timers.push_back(queue->repeat({.interval = 10ms, .leeway = 1ms}, [&] { ++fired; }));
  }
  const auto began = std::chrono::steady_clock::now();
  world.runFor(1h);
  const double spent = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
  std::cout << "simulated seconds per second, 400 timer events each: " << 3600 / spent << "\n";
  EXPECT_NEAR(fired, 4 * 360000, 4);
  EXPECT_GT(3600 / spent, 100);
}

}  // namespace
}  // namespace tallyrig
