#include "platform/simulated/SimulatedDevice.h"

#include <algorithm>
#include <cerrno>
#include <cmath>

#include "platform/RealtimeScope.h"
#include "platform/simulated/SimulatedWorld.h"
#include "unit/simulated/DeviceClientForTests.h"

using namespace std::chrono_literals;

namespace tallyrig {
namespace {

using testing::ElementsAre;

/// The input side of one cycle, as a device of these options presents it.
struct Presented {
  std::vector<std::uint32_t> inputChannels, inputBytes, outputChannels, outputBytes;
  std::vector<bool> inputHasData;
};

Presented presented(const SimulatedDeviceOptions& options) {
  SimulatedWorld world;
  SimulatedDevice& device = world.audio().addDevice(options);
  std::vector<AudioBuffer> input(32), output(32);
  std::size_t inputs = 0, outputs = 0;
  std::unique_ptr<AudioIO> io;
  world.audio().createIO(
      device.id(),
      [&](const AudioCycle& cycle) {
        inputs = cycle.input.size();
        outputs = cycle.output.size();
        std::copy(cycle.input.begin(), cycle.input.end(), input.begin());
        std::copy(cycle.output.begin(), cycle.output.end(), output.begin());
      },
      io);
  io->start();
  world.runFor(1s);
  Presented result;
  for (std::size_t i = 0; i < inputs; ++i) {
    result.inputChannels.push_back(input[i].channelCount);
    result.inputBytes.push_back(input[i].byteSize);
    result.inputHasData.push_back(input[i].data != nullptr);
  }
  for (std::size_t i = 0; i < outputs; ++i) {
    result.outputChannels.push_back(output[i].channelCount);
    result.outputBytes.push_back(output[i].byteSize);
  }
  return result;
}

TEST(SimulatedDevice, PresentsOneInterleavedBufferForEachGroup) {
  const auto seen = presented({.inputGroups = {2, 8}, .outputGroups = {4}, .quantum = 64});
  EXPECT_THAT(seen.inputChannels, ElementsAre(2, 8));
  EXPECT_THAT(seen.inputBytes, ElementsAre(64 * 2 * 4, 64 * 8 * 4));
  EXPECT_THAT(seen.outputChannels, ElementsAre(4));
  EXPECT_THAT(seen.outputBytes, ElementsAre(64 * 4 * 4));
}

TEST(SimulatedDevice, PresentsOneBufferForEachChannelIfAsked) {
  const auto seen = presented({.inputGroups = {2, 1},
                               .outputGroups = {3},
                               .quantum = 100,
                               .arrangement = BufferArrangement::kOneBufferPerChannel});
  EXPECT_THAT(seen.inputChannels, ElementsAre(1, 1, 1));
  EXPECT_THAT(seen.inputBytes, ElementsAre(400, 400, 400));
  EXPECT_THAT(seen.outputChannels, ElementsAre(1, 1, 1));
}

TEST(SimulatedDevice, PresentsGroupsOfNoChannelsAndAnEmptyFirstBuffer) {
  const auto seen = presented({.inputGroups = {0, 2}, .outputGroups = {2}, .quantum = 8, .hasEmptyFirstOutput = true});
  EXPECT_THAT(seen.inputChannels, ElementsAre(0, 2));
  EXPECT_THAT(seen.inputBytes, ElementsAre(0, 64));
  EXPECT_THAT(seen.inputHasData, ElementsAre(false, true));
  EXPECT_THAT(seen.outputChannels, ElementsAre(0, 2));
}

TEST(SimulatedDevice, PresentsNoInputBufferWithoutAnInputSide) {
  const auto seen = presented({.outputGroups = {2}, .quantum = 8193});
  EXPECT_TRUE(seen.inputChannels.empty());
  EXPECT_THAT(seen.outputBytes, ElementsAre(8193 * 8));
}

TEST(SimulatedDevice, ListsItsGroupsAsDeclaredWhateverTheBuffers) {
  SimulatedWorld world;
  const std::string name = "bad \xff\xfe name";
  world.audio().addDevice({.name = name,
                           .inputGroups = {2, 0, 8},
                           .outputGroups = {1},
                           .arrangement = BufferArrangement::kOneBufferPerChannel,
                           .hasEmptyFirstInput = true});
  const auto listed = world.audio().devices();
  ASSERT_EQ(listed.size(), 1u);
  EXPECT_EQ(listed[0].name, name);
  EXPECT_THAT(listed[0].inputGroups, ElementsAre(2, 0, 8));
  EXPECT_THAT(listed[0].outputGroups, ElementsAre(1));
}

TEST(SimulatedDevice, FeedsReachTheirChannelAtTheirPosition) {
  SimulatedWorld world;
  SimulatedDevice& device = world.audio().addDevice({.inputGroups = {8}, .quantum = 48});
  device.feed(5, [](std::int64_t position, std::span<float> samples) {
    for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<float>(position + static_cast<int>(i));
  });
  DeviceClientForTests client(world.audio(), device.id());
  client.listenTo = 5;
  client.start();
  const HostTime start = world.clock().now();
  world.runFor(10ms);
  ASSERT_EQ(client.count, 10u);
  for (std::size_t i = 0; i < client.heard.size(); ++i) ASSERT_EQ(client.heard[i], static_cast<float>(i));
  EXPECT_EQ(client.cycles[0].inputTime.hostTime, start);
  EXPECT_EQ(client.cycles[0].outputTime.hostTime, world.clock().now() - HostDuration{9'000'000});
}

TEST(SimulatedDevice, TheInputStampIsThatOfTheCycleBefore) {
  for (const TickRatio tick : {TickRatio{1, 1}, TickRatio{125, 3}}) {
    for (const std::uint32_t quantum : {16u, 64u, 441u, 512u, 1024u}) {
      SimulatedWorld world({.tick = tick});
      SimulatedDevice& device = world.audio().addDevice(
          {.inputGroups = {1}, .outputGroups = {1}, .rate = 44100, .quantum = quantum, .driftPpm = 37});
      DeviceClientForTests client(world.audio(), device.id());
      client.start();
      world.runFor(2s);
      ASSERT_GT(client.count, 80u);
      for (std::size_t i = 1; i < client.cycles.size(); ++i) {
        ASSERT_EQ(client.cycles[i].inputTime.hostTime, client.cycles[i - 1].outputTime.hostTime);
        ASSERT_TRUE(client.cycles[i].inputTime.hostTimeValid);
      }
    }
  }
}

TEST(SimulatedDevice, ComesAtTheInstantOfItsOutputStampAndNeverBefore) {
  for (const TickRatio tick : {TickRatio{1, 1}, TickRatio{125, 3}}) {
    SimulatedWorld world({.tick = tick});
    SimulatedDevice& device = world.audio().addDevice({.inputGroups = {1}, .rate = 44100, .quantum = 100});
    std::uint64_t early = 0, late = 0;
    std::unique_ptr<AudioIO> io;
    world.audio().createIO(
        device.id(),
        [&](const AudioCycle& cycle) {
          early = std::max(early, (cycle.outputTime.hostTime - world.clock().now()).ticks);
          late = std::max(late, (world.clock().now() - cycle.outputTime.hostTime).ticks);
        },
        io);
    io->start();
    world.runFor(2s);
    EXPECT_EQ(early, 0u);
    EXPECT_LE(late, 1u) << "a cycle comes at the next whole nanosecond";
    EXPECT_EQ(device.counters().cycles, 882);
  }
}

TEST(SimulatedDevice, RunsTheCyclesOfAnHourAtItsOwnRate) {
  for (const double ppm : {0.0, 100.0, -250.0}) {
    SimulatedWorld world;
    SimulatedDevice& device =
        world.audio().addDevice({.inputGroups = {1}, .rate = 48000, .quantum = 4800, .driftPpm = ppm});
    DeviceClientForTests client(world.audio(), device.id(), 1);
    client.start();
    world.runFor(1h);
    const double samples = 3600 * 48000 * (1 + ppm * 1e-6);
    // The cycle of position p comes when p has passed; the one at the last instant may or may not be in.
    EXPECT_NEAR(static_cast<double>(device.counters().cycles), samples / 4800, 1) << ppm;
    EXPECT_NEAR(static_cast<double>(device.timeOf(172'800'000).ticks) - 1000e9, 3600e9 / (1 + ppm * 1e-6), 1) << ppm;
  }
}

TEST(SimulatedDevice, JitterDelaysTheCallAndNotTheStamp) {
  SimulatedWorld world({.seed = 5});
  SimulatedDevice& device = world.audio().addDevice({.inputGroups = {1}, .quantum = 480});
  device.setJitter(4ms);
  std::vector<std::int64_t> lateness;
  lateness.reserve(2000);
  std::unique_ptr<AudioIO> io;
  std::vector<HostTime> stamps;
  stamps.reserve(2000);
  world.audio().createIO(
      device.id(),
      [&](const AudioCycle& cycle) {
        stamps.push_back(cycle.outputTime.hostTime);
        lateness.push_back(static_cast<std::int64_t>((world.clock().now() - cycle.outputTime.hostTime).ticks));
      },
      io);
  io->start();
  world.runFor(10s);
  ASSERT_GE(stamps.size(), 999u);
  for (std::size_t i = 1; i < stamps.size(); ++i) ASSERT_EQ((stamps[i] - stamps[i - 1]).ticks, 10'000'000u);
  const auto [least, most] = std::minmax_element(lateness.begin(), lateness.end());
  EXPECT_GE(*least, 0);
  EXPECT_LT(*least, 200'000);
  EXPECT_LE(*most, 4'000'000);
  EXPECT_GT(*most, 3'800'000);
}

TEST(SimulatedDevice, AStallSkipsCyclesAndThePositionsMoveOn) {
  SimulatedWorld world;
  SimulatedDevice& device = world.audio().addDevice({.inputGroups = {1}, .quantum = 480});
  DeviceClientForTests client(world.audio(), device.id());
  client.start();
  world.runFor(105ms);
  EXPECT_EQ(client.count, 10u);
  device.stall(2s);
  world.runFor(2s);
  EXPECT_EQ(client.count, 10u);
  world.runFor(100ms);
  EXPECT_EQ(client.count, 20u);
  EXPECT_EQ((client.cycles[10].outputTime.hostTime - client.cycles[9].outputTime.hostTime).ticks, 2'010'000'000u);
  EXPECT_EQ((client.cycles[10].outputTime.hostTime - client.cycles[10].inputTime.hostTime).ticks, 10'000'000u);
}

TEST(SimulatedDevice, CanLeaveTheHostTimeOut) {
  SimulatedWorld world;
  SimulatedDevice& device = world.audio().addDevice({.inputGroups = {1}});
  DeviceClientForTests client(world.audio(), device.id());
  device.setHostTimeValid(false);
  client.start();
  world.runFor(50ms);
  ASSERT_FALSE(client.cycles.empty());
  EXPECT_FALSE(client.cycles[0].inputTime.hostTimeValid);
  EXPECT_FALSE(client.cycles[0].outputTime.hostTimeValid);
  device.setHostTimeValid(true);
  world.runFor(50ms);
  EXPECT_TRUE(client.cycles.back().inputTime.hostTimeValid);
}

TEST(SimulatedDevice, RunsOnAtANewRate) {
  SimulatedWorld world;
  SimulatedDevice& device = world.audio().addDevice({.inputGroups = {1}, .rate = 48000, .quantum = 480});
  DeviceClientForTests client(world.audio(), device.id());
  client.start();
  world.runFor(1s);
  ASSERT_EQ(client.count, 100u);
  device.setRate(96000);
  double rate = 0;
  EXPECT_EQ(world.audio().nominalSampleRate(device.id(), rate), kPlatformOk);
  EXPECT_EQ(rate, 96000);
  world.runFor(1010ms);
  EXPECT_EQ(client.count, 301u);
  EXPECT_EQ((client.cycles[300].outputTime.hostTime - client.cycles[299].outputTime.hostTime).ticks, 5'000'000u);
  EXPECT_EQ(client.cycles[200].inputTime.hostTime, client.cycles[199].outputTime.hostTime);
}

TEST(SimulatedDevice, RunsOnAtANewQuantum) {
  SimulatedWorld world;
  SimulatedDevice& device = world.audio().addDevice({.inputGroups = {1}, .quantum = 480});
  DeviceClientForTests client(world.audio(), device.id());
  client.start();
  world.runFor(100ms);
  device.setQuantum(96);
  world.runFor(100ms);
  ASSERT_EQ(client.cycles[9].frames, 480u);
  ASSERT_EQ(client.cycles[10].frames, 96u);
  EXPECT_EQ((client.cycles[10].outputTime.hostTime - client.cycles[9].outputTime.hostTime).ticks, 10'000'000u);
  EXPECT_EQ((client.cycles[11].outputTime.hostTime - client.cycles[10].outputTime.hostTime).ticks, 2'000'000u);
  EXPECT_EQ((client.cycles[10].outputTime.hostTime - client.cycles[10].inputTime.hostTime).ticks, 2'000'000u);
  EXPECT_EQ(*world.audio().timing(device.id()).bufferFrames, 96u);
}

TEST(SimulatedDevice, FollowsANewDrift) {
  SimulatedWorld world;
  SimulatedDevice& device = world.audio().addDevice({.inputGroups = {1}, .quantum = 480});
  DeviceClientForTests client(world.audio(), device.id(), 4000);
  client.start();
  world.runFor(10s);
  device.setDrift(1000);
  world.runFor(10s + 11ms);
  EXPECT_EQ(client.count, 1000u + 1002u);
}

TEST(SimulatedDevice, CallsEachOfSeveralClientsAndPlaysTheirSum) {
  SimulatedWorld world;
  SimulatedDevice& device = world.audio().addDevice({.inputGroups = {1}, .outputGroups = {2}, .quantum = 480});
  std::vector<float> played;
  device.onOutput(1, [&](std::int64_t, std::span<const float> samples) { played.push_back(samples[7]); });
  DeviceClientForTests first(world.audio(), device.id());
  DeviceClientForTests second(world.audio(), device.id());
  first.playOn = second.playOn = 1;
  first.player = [](std::size_t, std::uint32_t) { return 0.25f; };
  second.player = [](std::size_t, std::uint32_t) { return 0.5f; };
  first.start();
  world.runFor(50ms);
  second.start();
  world.runFor(50ms);
  first.io->stop();
  world.runFor(50ms);
  EXPECT_EQ(first.count, 10u);
  EXPECT_EQ(second.count, 10u);
  EXPECT_THAT(played, ElementsAre(.25f, .25f, .25f, .25f, .25f, .75f, .75f, .75f, .75f, .75f, .5f, .5f, .5f, .5f, .5f));
  EXPECT_EQ(device.liveIOs(), 2u);
  EXPECT_TRUE(device.isRunning());
  second.io.reset();
  first.io.reset();
  EXPECT_EQ(device.liveIOs(), 0u);
  EXPECT_FALSE(device.isRunning());
  EXPECT_EQ(device.counters().opens, 2);
  EXPECT_EQ(device.counters().starts, 2);
  EXPECT_EQ(device.counters().stops, 2);
  EXPECT_EQ(device.counters().cycles, 15);
  world.runFor(1s);
  EXPECT_EQ(device.counters().cycles, 15);
}

TEST(SimulatedDevice, ShowsWhatAClientLeavesInTheOutput) {
  SimulatedWorld world;
  SimulatedDevice& device = world.audio().addDevice({.outputGroups = {1}, .quantum = 8});
  std::vector<float> played;
  device.setOutputBefore(0.125f);
  device.onOutput(0, [&](std::int64_t, std::span<const float> samples) { played.push_back(samples[0]); });
  DeviceClientForTests client(world.audio(), device.id());
  client.start();
  world.runFor(400us);
  EXPECT_THAT(played, ElementsAre(0.125f, 0.125f));
}

TEST(SimulatedDevice, CanWithholdTheDataOfABuffer) {
  SimulatedWorld world;
  SimulatedDevice& device = world.audio().addDevice({.inputGroups = {2}, .quantum = 480});
  DeviceClientForTests client(world.audio(), device.id());
  device.withholdInputData(0, true);
  client.start();
  world.runFor(50ms);
  EXPECT_EQ(client.count, 5u);
  EXPECT_TRUE(client.heard.empty());
  device.withholdInputData(0, false);
  world.runFor(50ms);
  EXPECT_EQ(client.heard.size(), 5u * 480);
}

TEST(SimulatedDevice, CallsBackInRealTimeScopeAndKnowsIt) {
  SimulatedWorld world;
  SimulatedDevice& device = world.audio().addDevice({.inputGroups = {1}});
  std::unique_ptr<AudioIO> io;
  int inScope = 0;
  world.audio().createIO(
      device.id(), [&](const AudioCycle&) { inScope += RealtimeScope::isActive() && io->isCallbackContext() ? 1 : 0; },
      io);
  io->start();
  EXPECT_FALSE(io->isCallbackContext());
  world.runFor(20ms);
  EXPECT_EQ(inScope, device.counters().cycles);
  EXPECT_GT(inScope, 0);
  bool changed = false;
  io->betweenCycles([&] { changed = RealtimeScope::isActive() && io->isCallbackContext(); });
  EXPECT_TRUE(changed);
  EXPECT_FALSE(RealtimeScope::isActive());
}

TEST(SimulatedDevice, FailsOnDemand) {
  SimulatedWorld world;
  SimulatedDevice& device = world.audio().addDevice({.inputGroups = {1}, .rate = 44100});
  double rate = 1;
  device.failures().nominalRate = -EIO;
  EXPECT_EQ(world.audio().nominalSampleRate(device.id(), rate), -EIO);
  EXPECT_EQ(rate, 1);

  std::unique_ptr<AudioIO> io;
  device.failures().createIO = -EBUSY;
  EXPECT_EQ(world.audio().createIO(
                device.id(), [](const AudioCycle&) {}, io),
            -EBUSY);
  EXPECT_EQ(io, nullptr);
  device.failures() = {.createsNoIO = true};
  EXPECT_EQ(world.audio().createIO(
                device.id(), [](const AudioCycle&) {}, io),
            kPlatformOk);
  EXPECT_EQ(io, nullptr);
  EXPECT_EQ(device.counters().opens, 0);

  device.failures() = {.start = -EPERM};
  EXPECT_EQ(world.audio().createIO(
                device.id(), [](const AudioCycle&) {}, io),
            kPlatformOk);
  EXPECT_EQ(io->start(), -EPERM);
  EXPECT_FALSE(device.isRunning());
  device.failures() = {};
  EXPECT_EQ(io->start(), kPlatformOk);
  EXPECT_EQ(io->start(), kPlatformOk);
  EXPECT_EQ(device.counters().starts, 1);
  EXPECT_EQ(world.audio().nominalSampleRate(device.id(), rate), kPlatformOk);
  EXPECT_EQ(rate, 44100);
}

TEST(SimulatedDevice, UnpluggingEndsItsCallbacksForEver) {
  SimulatedWorld world;
  SimulatedDevice& device = world.audio().addDevice({.inputGroups = {1}, .quantum = 480});
  DeviceClientForTests client(world.audio(), device.id());
  client.start();
  world.runFor(50ms);
  world.audio().unplug(device);
  world.runFor(1s);
  EXPECT_EQ(client.count, 5u);
  EXPECT_EQ(client.start(), -ENODEV);
  world.audio().plugIn(device);
  EXPECT_EQ(client.start(), -ENODEV);
  world.runFor(1s);
  EXPECT_EQ(client.count, 5u);

  DeviceClientForTests after(world.audio(), device.id());
  EXPECT_EQ(after.start(), kPlatformOk);
  world.runFor(55ms);
  EXPECT_EQ(after.count, 5u);
  EXPECT_EQ(device.liveIOs(), 2u);
}

TEST(SimulatedDevice, ASinkMayEndAClientOrUnplugTheDevice) {
  SimulatedWorld world;
  SimulatedDevice& device = world.audio().addDevice({.inputGroups = {1}, .outputGroups = {1}, .quantum = 480});
  DeviceClientForTests first(world.audio(), device.id());
  DeviceClientForTests second(world.audio(), device.id());
  int cycles = 0;
  device.onOutput(0, [&](std::int64_t, std::span<const float>) {
    if (++cycles == 3) first.io.reset();
    if (cycles == 5) device.stall(1s);
    if (cycles == 6) world.audio().unplug(device);
  });
  first.start();
  second.start();
  world.runFor(5s);
  EXPECT_EQ(first.count, 3u);
  EXPECT_EQ(second.count, 6u);
  EXPECT_EQ((second.cycles[5].outputTime.hostTime - second.cycles[4].outputTime.hostTime).ticks, 1'010'000'000u);
}

TEST(SimulatedDevice, RefusesAChannelThatItDoesNotHave) {
  SimulatedWorld world;
  SimulatedDevice& device = world.audio().addDevice({.inputGroups = {2}, .outputGroups = {1}});
  EXPECT_THROW(device.feed(2, nullptr), std::out_of_range);
  EXPECT_THROW(device.onOutput(1, nullptr), std::out_of_range);
}

}  // namespace
}  // namespace tallyrig
