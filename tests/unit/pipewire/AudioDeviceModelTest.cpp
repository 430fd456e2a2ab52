#include "platform/pipewire/AudioDeviceModel.h"

#include "unit/pipewire/GraphBuilder.h"

namespace tallyrig {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::vector<int> channels(const std::vector<DeviceStream>& streams) {
  std::vector<int> counts;
  for (const auto& stream : streams) counts.push_back(stream.channels);
  return counts;
}

std::vector<std::string> titles(const GraphModel& graph) {
  std::vector<std::string> all;
  for (const auto& device : audioDevices(graph)) all.push_back(device.title);
  return all;
}

TEST(AudioDevices, ADuplexHasOneGroupOnEachSide) {
  GraphBuilder build;
  const auto node = build.node("desk", "Audio/Duplex", {{"node.description", "Desk"}});
  build.ports(node, "in", 8);
  build.ports(node, "out", 6, {{"port.monitor", "true"}});
  const auto devices = audioDevices(build.graph);
  ASSERT_THAT(devices, SizeIs(1));
  EXPECT_EQ(devices[0].title, "Desk");
  EXPECT_EQ(devices[0].serial, 1000U + node);
  EXPECT_THAT(channels(devices[0].inputs), ElementsAre(6));
  EXPECT_THAT(channels(devices[0].outputs), ElementsAre(8));
}

TEST(AudioDevices, TheMonitorPortsOfASinkAreNoInputs) {
  GraphBuilder build;
  const auto node = build.node("speakers", "Audio/Sink");
  build.ports(node, "in", 2);
  build.ports(node, "out", 2, {{"port.monitor", "true"}});
  const auto devices = audioDevices(build.graph);
  ASSERT_THAT(devices, SizeIs(1));
  EXPECT_THAT(devices[0].inputs, IsEmpty());
  EXPECT_THAT(channels(devices[0].outputs), ElementsAre(2));
}

TEST(AudioDevices, TheFeedingPortsOfAVirtualSourceAreNoOutputs) {
  GraphBuilder build;
  const auto node = build.node("line", "Audio/Source/Virtual");
  build.ports(node, "in", 2);
  build.ports(node, "out", 2);
  const auto devices = audioDevices(build.graph);
  ASSERT_THAT(devices, SizeIs(1));
  EXPECT_THAT(channels(devices[0].inputs), ElementsAre(2));
  EXPECT_THAT(devices[0].outputs, IsEmpty());
}

TEST(AudioDevices, StreamsFiltersPlumbingAndVideoAreNoDevices) {
  GraphBuilder build;
  for (const char* mediaClass : {"", "Stream/Output/Audio", "Stream/Input/Audio", "Audio/Filter", "Video/Source",
                                 "Midi/Bridge", "Audio/Sink/Internal", "Audio/Source/Internal", "Audio/SourceLike"}) {
    const auto node = build.node("other", mediaClass);
    build.ports(node, "in", 2);
    build.ports(node, "out", 2);
  }
  EXPECT_THAT(audioDevices(build.graph), IsEmpty());
}

TEST(AudioDevices, ANodeBecomesADeviceWithItsFirstPort) {
  GraphBuilder build;
  const auto node = build.node("late", "Audio/Sink");
  EXPECT_THAT(audioDevices(build.graph), IsEmpty());
  build.port(node, "in", 0);
  EXPECT_THAT(audioDevices(build.graph), SizeIs(1));
}

TEST(AudioDevices, TheNodesOfOneCardAreOneDeviceNamedAfterTheCard) {
  GraphBuilder build;
  const auto card = std::to_string(build.card("Interface 18"));
  const auto sink = build.node("card.out", "Audio/Sink", {{"device.id", card}, {"node.description", "Outputs"}});
  const auto source = build.node("card.in", "Audio/Source", {{"device.id", card}, {"node.description", "Inputs"}});
  build.ports(sink, "in", 4);
  build.ports(source, "out", 18);
  const auto devices = audioDevices(build.graph);
  ASSERT_THAT(devices, SizeIs(1));
  EXPECT_EQ(devices[0].title, "Interface 18");
  EXPECT_EQ(devices[0].serial, 1000U + sink);
  EXPECT_THAT(channels(devices[0].inputs), ElementsAre(18));
  EXPECT_EQ(devices[0].inputs[0].nodeName, "card.in");
  EXPECT_THAT(channels(devices[0].outputs), ElementsAre(4));
  EXPECT_EQ(devices[0].outputs[0].nodeName, "card.out");
}

TEST(AudioDevices, EachNodeOfACardIsAGroupInTheOrderOfTheSerials) {
  GraphBuilder build;
  const auto card = std::to_string(build.card("Interface"));
  const auto later = build.node("b", "Audio/Sink", {{"device.id", card}, {"object.serial", "9002"}});
  const auto first = build.node("a", "Audio/Sink", {{"device.id", card}, {"object.serial", "9001"}});
  const auto both = build.node("c", "Audio/Duplex", {{"device.id", card}, {"object.serial", "9003"}});
  build.ports(later, "in", 8);
  build.ports(first, "in", 2);
  build.ports(both, "in", 6);
  build.ports(both, "out", 5);
  const auto devices = audioDevices(build.graph);
  ASSERT_THAT(devices, SizeIs(1));
  EXPECT_EQ(devices[0].serial, 9001U);
  EXPECT_THAT(channels(devices[0].outputs), ElementsAre(2, 8, 6));
  EXPECT_THAT(channels(devices[0].inputs), ElementsAre(5));
}

TEST(AudioDevices, TheOnlyNodeOfACardKeepsItsOwnName) {
  GraphBuilder build;
  const auto card = std::to_string(build.card("Interface"));
  const auto sink = build.node("out", "Audio/Sink", {{"device.id", card}, {"node.description", "HDMI 1"}});
  build.ports(sink, "in", 2);
  EXPECT_THAT(titles(build.graph), ElementsAre("HDMI 1"));
}

TEST(AudioDevices, ACardKeepsNameAndSerialWhileOneOfItsNodesHasNoPorts) {
  GraphBuilder build;
  const auto card = std::to_string(build.card("Interface"));
  const auto sink = build.node("out", "Audio/Sink", {{"device.id", card}});
  const auto source = build.node("in", "Audio/Source", {{"device.id", card}});
  build.ports(source, "out", 2);
  const auto before = audioDevices(build.graph);
  build.ports(sink, "in", 2);
  const auto after = audioDevices(build.graph);
  ASSERT_THAT(before, SizeIs(1));
  ASSERT_THAT(after, SizeIs(1));
  EXPECT_EQ(before[0].title, "Interface");
  EXPECT_EQ(before[0].serial, after[0].serial);
}

TEST(AudioDevices, ACardThatSaysNothingGetsTheNameOfItsFirstNode) {
  GraphBuilder build;
  const auto sink = build.node("out", "Audio/Sink", {{"device.id", "777"}, {"node.description", "Outputs"}});
  const auto source = build.node("in", "Audio/Source", {{"device.id", "777"}});
  build.ports(sink, "in", 2);
  build.ports(source, "out", 2);
  EXPECT_THAT(titles(build.graph), ElementsAre("Outputs"));
}

TEST(AudioDevices, AnOutputAndAnInputOfNoCardStayTwoDevices) {
  GraphBuilder build;
  build.ports(build.node("out", "Audio/Sink", {{"node.description", "Same"}}), "in", 2);
  build.ports(build.node("in", "Audio/Source", {{"node.description", "Same"}}), "out", 2);
  EXPECT_THAT(audioDevices(build.graph), SizeIs(2));
}

TEST(AudioDevices, TheOrderIsThatOfTheSerials) {
  GraphBuilder build;
  build.ports(build.node("late", "Audio/Sink", {{"object.serial", "300"}}), "in", 1);
  build.ports(build.node("early", "Audio/Sink", {{"object.serial", "20"}}), "in", 1);
  build.ports(build.node("middle", "Audio/Sink", {{"object.serial", "100"}}), "in", 1);
  EXPECT_THAT(titles(build.graph), ElementsAre("early", "middle", "late"));
}

TEST(AudioDevices, NamesPassThroughAsTheServerGivesThem) {
  const std::string broken = "caf\xe9 \xff\xfe";
  const std::string endless(100'000, 'x');
  GraphBuilder build;
  build.ports(build.node("a", "Audio/Sink", {{"node.description", broken}}), "in", 1);
  build.ports(build.node("b", "Audio/Sink", {{"node.description", endless}}), "in", 1);
  build.ports(build.node("", "Audio/Sink"), "in", 1);
  EXPECT_THAT(titles(build.graph), ElementsAre(broken, endless, ""));
}

TEST(PortsOf, AStreamFollowsItsNodeByNameWhenTheNodeReturns) {
  GraphBuilder build;
  const auto first = build.node("desk", "Audio/Duplex");
  build.ports(first, "out", 2);
  const auto stream = audioDevices(build.graph).front().inputs.front();
  EXPECT_THAT(portsOf(stream, build.graph), SizeIs(2));

  build.graph.remove(first);
  EXPECT_THAT(portsOf(stream, build.graph), IsEmpty());

  const auto again = build.node("desk", "Audio/Duplex");
  build.ports(again, "out", 2);
  const auto ports = portsOf(stream, build.graph);
  ASSERT_THAT(ports, SizeIs(2));
  EXPECT_EQ(ports.front().nodeId, again);
}

TEST(PortsOf, OfTwoNodesWithOneNameTheListedOneServesWhileItIsThere) {
  GraphBuilder build;
  build.ports(build.node("twin", "Audio/Source"), "out", 1);
  const auto second = build.node("twin", "Audio/Source");
  build.ports(second, "out", 1);
  const auto stream = audioDevices(build.graph).back().inputs.front();
  EXPECT_EQ(portsOf(stream, build.graph).front().nodeId, second);
}

TEST(PortsOf, ANodeOfTheSameNameOnTheOtherSideDoesNotServe) {
  GraphBuilder build;
  const auto source = build.node("name", "Audio/Source");
  build.ports(source, "out", 1);
  const auto stream = audioDevices(build.graph).front().inputs.front();
  build.graph.remove(source);
  build.ports(build.node("name", "Audio/Sink"), "out", 1);
  EXPECT_THAT(portsOf(stream, build.graph), IsEmpty());
}

TEST(PortsOf, ASerialThatARestartedServerGaveToAnotherNodeDoesNotServe) {
  GraphBuilder build;
  build.ports(build.node("other", "Audio/Source", {{"object.serial", "50"}}), "out", 1);
  const auto mine = build.node("mine", "Audio/Source", {{"object.serial", "60"}});
  build.ports(mine, "out", 1);
  const DeviceStream stream{.nodeSerial = 50, .nodeName = "mine", .direction = PortDirection::kOut, .channels = 1};
  ASSERT_THAT(portsOf(stream, build.graph), SizeIs(1));
  EXPECT_EQ(portsOf(stream, build.graph).front().nodeId, mine);
}

TEST(DeviceNumbers, ADeviceHasTheNumberOfItsSerial) {
  DeviceNumbers numbers;
  EXPECT_EQ(numbers.numberOf(41), 41U);
  EXPECT_EQ(numbers.numberOf(41), 41U);
  EXPECT_EQ(numbers.numberOf(52), 52U);
}

TEST(DeviceNumbers, ARestartedServerGivesNoNumberASecondTime) {
  DeviceNumbers numbers;
  numbers.numberOf(41);
  numbers.numberOf(52);
  numbers.restart();
  EXPECT_EQ(numbers.numberOf(1), 53U);
  EXPECT_EQ(numbers.numberOf(41), 93U);
  numbers.restart();
  EXPECT_EQ(numbers.numberOf(1), 94U);
}

TEST(DeviceNumbers, ARenewedDeviceNeverGetsAnOldNumber) {
  DeviceNumbers numbers;
  EXPECT_EQ(numbers.numberOf(41), 41U);
  numbers.renew(41);
  const auto once = numbers.numberOf(41);
  EXPECT_NE(once, 41U);
  numbers.renew(41);
  EXPECT_NE(numbers.numberOf(41), once);
  numbers.restart();
  EXPECT_EQ(numbers.numberOf(1), 42U);
}

}  // namespace
}  // namespace tallyrig
