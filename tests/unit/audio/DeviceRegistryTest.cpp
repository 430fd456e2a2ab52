#include "audio/DeviceRegistry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/simulated/SimulatedWorld.h"
#include "support/ListedAudioSystem.h"

namespace tallyrig {
namespace {

using testing::ElementsAre;

/// A timed line of the world, whose clocks stand still.
std::string timed(const std::string& text) {
  return "[09:00:00.000 +0.000ms] " + text;
}

class DeviceRegistryTest : public testing::Test {
 protected:
  SimulatedWorld world;
  ListedAudioSystem audio;
};

TEST_F(DeviceRegistryTest, EnumeratesOnceWhenItIsMade) {
  audio.listed = {{1, "Duplex", {2}, {2}}, {2, "Output", {}, {2}}, {3, "iPhone", {1}, {}}};
  const DeviceRegistry registry(audio, world.midi(), world.log());
  EXPECT_THAT(
      world.logLines(),
      ElementsAre(timed("DeviceRegistry: refresh begin reason=startup"),
                  timed("DeviceRegistry: refresh complete inputs=1, outputs=2, midiSources=0, midiDestinations=0")));
  EXPECT_EQ(registry.audioInputs(), listInputDevices(audio));
  EXPECT_EQ(registry.audioOutputs(), listOutputDevices(audio));
}

TEST_F(DeviceRegistryTest, KeepsWhatItHasUntilItIsRefreshed) {
  DeviceRegistry registry(audio, world.midi(), world.log());
  audio.listed = {{1, "New", {2}, {2}}};
  EXPECT_TRUE(registry.audioInputs().empty());
  world.clearLog();
  registry.refresh("settings Camera A");
  EXPECT_EQ(registry.audioInputs().size(), 1U);
  EXPECT_EQ(registry.audioOutputs().size(), 1U);
  EXPECT_THAT(
      world.logLines(),
      ElementsAre(timed("DeviceRegistry: refresh begin reason=settings Camera A"),
                  timed("DeviceRegistry: refresh complete inputs=1, outputs=1, midiSources=0, midiDestinations=0")));
}

TEST_F(DeviceRegistryTest, ListsMIDIEndpointsAsOfTheLastRefresh) {
  const SimulatedMidiSource& keys = world.midi().addSource("Keys");
  const SimulatedMidiSource& nameless = world.midi().addSource("");
  SimulatedMidiDestination& desk = world.midi().addDestination("Desk");
  DeviceRegistry registry(audio, world.midi(), world.log());
  EXPECT_TRUE(
      world.hasLogged("DeviceRegistry: refresh complete inputs=0, outputs=0, midiSources=2, midiDestinations=1"));
  const MIDIDestinationDevice before{desk.endpoint(), "Desk"};
  EXPECT_THAT(registry.midiSources(),
              ElementsAre(MIDISourceDevice{keys.endpoint(), "Keys"}, MIDISourceDevice{nameless.endpoint(), "Unknown"}));
  EXPECT_THAT(registry.midiDestinations(), ElementsAre(before));
  world.midi().unplug(desk);
  world.midi().addDestination("Lights");
  world.midi().plugIn(desk);
  world.runPending();
  EXPECT_THAT(registry.midiDestinations(), ElementsAre(before)) << "it takes no notice of changes by itself";
  registry.refresh("settings Camera A");
  ASSERT_EQ(registry.midiDestinations().size(), 2U);
  EXPECT_EQ(registry.midiDestinations()[0].name, "Lights");
  EXPECT_EQ(registry.midiDestinations()[1], (MIDIDestinationDevice{desk.endpoint(), "Desk"}));
  EXPECT_NE(desk.endpoint(), before.endpoint);
}

TEST_F(DeviceRegistryTest, TellsThatItIsRefreshedWhenTheListsStand) {
  DeviceRegistry registry(audio, world.midi(), world.log());
  std::vector<std::size_t> inputsWhenTold;
  QObject::connect(&registry, &DeviceRegistry::refreshed, &registry,
                   [&] { inputsWhenTold.push_back(registry.audioInputs().size()); });
  audio.listed = {{1, "New", {2}, {2}}};
  registry.refresh("ltc-receiver-resolve-device");
  audio.listed.clear();
  registry.refresh("ltc-receiver-resolve-device");
  EXPECT_THAT(inputsWhenTold, ElementsAre(1, 0));
}

}  // namespace
}  // namespace tallyrig
