#include "platform/simulated/SimulatedAudioSystem.h"

#include <cerrno>

#include "platform/simulated/SimulatedWorld.h"

using namespace std::chrono_literals;

namespace tallyrig {
namespace {

using testing::ElementsAre;

std::vector<std::string> names(SimulatedWorld& world) {
  std::vector<std::string> result;
  for (const auto& device : world.audio().devices()) result.push_back(device.name);
  return result;
}

TEST(SimulatedAudioSystem, ListsDevicesInTheOrderChosen) {
  SimulatedWorld world;
  SimulatedDevice& a = world.audio().addDevice({.name = "a", .inputGroups = {1}});
  world.audio().addDevice({.name = "b", .inputGroups = {1}});
  world.audio().addDevice({.name = "c", .inputGroups = {1}}, 0);
  EXPECT_THAT(names(world), ElementsAre("c", "a", "b"));
  world.audio().unplug(a);
  EXPECT_THAT(names(world), ElementsAre("c", "b"));
  world.audio().plugIn(a, 2);
  EXPECT_THAT(names(world), ElementsAre("c", "b", "a"));
}

TEST(SimulatedAudioSystem, GivesAReturningDeviceAnotherIDUnlessOneIsAskedFor) {
  SimulatedWorld world;
  SimulatedDevice& device = world.audio().addDevice({.name = "a", .inputGroups = {1}});
  const AudioDeviceID first = device.id();
  world.audio().unplug(device);
  EXPECT_FALSE(device.isPluggedIn());
  world.audio().plugIn(device);
  EXPECT_NE(device.id(), first);
  world.audio().unplug(device);
  world.audio().plugIn(device, SimulatedAudioSystem::kLast, first);
  EXPECT_EQ(device.id(), first);
  EXPECT_EQ(world.audio().devices().at(0).id, first);
}

TEST(SimulatedAudioSystem, KnowsNothingOfADeviceThatIsNotThere) {
  SimulatedWorld world;
  SimulatedDevice& device = world.audio().addDevice({.inputGroups = {1}});
  const AudioDeviceID id = device.id();
  EXPECT_EQ(world.audio().timing(id).bufferFrames, 512u);
  world.audio().unplug(device);
  double rate = 7;
  std::unique_ptr<AudioIO> io;
  EXPECT_EQ(world.audio().nominalSampleRate(id, rate), -ENODEV);
  EXPECT_EQ(world.audio().createIO(
                id, [](const AudioCycle&) {}, io),
            -ENODEV);
  EXPECT_EQ(world.audio().timing(id).bufferFrames, std::nullopt);
  EXPECT_EQ(rate, 7);
}

TEST(SimulatedAudioSystem, ReportsTheTimingItIsGiven) {
  SimulatedWorld world;
  SimulatedDevice& device = world.audio().addDevice({.inputGroups = {1}, .quantum = 128});
  AudioSystem::Timing reported;
  reported.inputLatency = 12;
  reported.outputSafetyOffset = 3;
  device.setReportedTiming(reported);
  const auto timing = world.audio().timing(device.id());
  EXPECT_EQ(timing.bufferFrames, 128u);
  EXPECT_EQ(timing.inputLatency, 12u);
  EXPECT_EQ(timing.inputSafetyOffset, std::nullopt);
  EXPECT_EQ(timing.outputSafetyOffset, 3u);
}

TEST(SimulatedAudioSystem, TellsItsObserversOnTheMainQueueAfterEachChange) {
  SimulatedWorld world;
  SimulatedDevice& before = world.audio().addDevice({.name = "before", .inputGroups = {1}});
  int notices = 0;
  auto subscription = world.audio().observeDevices([&] {
    EXPECT_TRUE(world.scheduler().mainQueue().isCurrent());
    ++notices;
  });
  world.runPending();
  EXPECT_EQ(notices, 0) << "the change came before the subscription";
  world.audio().unplug(before);
  EXPECT_EQ(notices, 0);
  world.runPending();
  EXPECT_EQ(notices, 1);
  world.audio().plugIn(before);
  world.audio().setNotice("No sound server");
  world.audio().announceChange();
  world.runPending();
  EXPECT_EQ(notices, 4);
  EXPECT_EQ(world.audio().notice(), "No sound server");
  world.audio().unplug(before);
  subscription.reset();
  world.runPending();
  EXPECT_EQ(notices, 4) << "a notice on its way must not reach a cancelled observer";
}

TEST(SimulatedAudioSystem, AnObserverMayCancelAnotherDuringANotice) {
  SimulatedWorld world;
  Subscription second;
  int calls = 0;
  const auto first = world.audio().observeDevices([&] {
    ++calls;
    second.reset();
  });
  second = world.audio().observeDevices([&] { calls += 100; });
  world.audio().announceChange();
  world.runPending();
  EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace tallyrig
