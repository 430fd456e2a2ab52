#include "platform/pipewire/MidiEndpoints.h"

#include "unit/pipewire/GraphBuilder.h"

namespace tallyrig {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct MidiEndpointsTest : testing::Test {
  GraphBuilder build;
  MidiEndpoints endpoints;

  std::vector<std::string> names(PortDirection direction) {
    endpoints.update(build.graph, "77");
    std::vector<std::string> all;
    for (const auto& endpoint : endpoints.list(direction)) all.push_back(endpoint.name);
    return all;
  }
  std::vector<std::string> sources() { return names(PortDirection::kOut); }
  std::vector<std::string> destinations() { return names(PortDirection::kIn); }
};

TEST_F(MidiEndpointsTest, EachPortIsAnEndpoint) {
  const auto bridge = build.node("bridge", "Midi/Bridge");
  build.midiPort(bridge, "out", "Keys");
  build.midiPort(bridge, "in", "Keys");
  build.midiPort(bridge, "out", "Pads");
  EXPECT_THAT(sources(), ElementsAre("Keys", "Pads"));
  EXPECT_THAT(destinations(), ElementsAre("Keys"));
}

TEST_F(MidiEndpointsTest, PortsOfNewerServersCountAndAudioPortsDoNot) {
  const auto node = build.node("node", "Midi/Bridge");
  build.midiPort(node, "out", "New", {{"format.dsp", "32 bit raw UMP"}});
  build.port(node, "out", 1);
  EXPECT_THAT(sources(), ElementsAre("New"));
}

TEST_F(MidiEndpointsTest, APortWithoutAnAliasIsCalledAfterItsNodeAndItself) {
  const auto node = build.node("raw.name", "Midi/Bridge", {{"node.description", "Stage Box"}});
  build.midiPort(node, "out", "", {{"port.name", "capture_0"}});
  build.midiPort(node, "in", "");
  EXPECT_THAT(sources(), ElementsAre("Stage Box: capture_0"));
  EXPECT_THAT(destinations(), ElementsAre("Stage Box"));
}

TEST_F(MidiEndpointsTest, OurOwnPortsAreNotListed) {
  const auto own = build.node("own", "", {{"client.id", "77"}});
  const auto other = build.node("other", "", {{"client.id", "78"}});
  build.midiPort(own, "in", "own");
  build.midiPort(other, "in", "other");
  EXPECT_THAT(destinations(), ElementsAre("other"));
}

TEST_F(MidiEndpointsTest, APortWhoseNodeIsNotKnownIsNotListed) {
  build.midiPort(4711, "in", "lost");
  EXPECT_THAT(destinations(), IsEmpty());
}

TEST_F(MidiEndpointsTest, PortsOfOneNameAreNumberedAndKeepTheirNames) {
  const auto node = build.node("node", "Midi/Bridge");
  const auto first = build.midiPort(node, "out", "Keys");
  build.midiPort(node, "out", "Keys");
  build.midiPort(node, "out", "Keys");
  build.midiPort(node, "in", "Keys");
  EXPECT_THAT(sources(), ElementsAre("Keys", "Keys (2)", "Keys (3)"));
  EXPECT_THAT(destinations(), ElementsAre("Keys"));
  build.graph.remove(first);
  EXPECT_THAT(sources(), ElementsAre("Keys (2)", "Keys (3)"));
  build.midiPort(node, "out", "Keys");
  EXPECT_THAT(sources(), ElementsAre("Keys (2)", "Keys (3)", "Keys"));
}

TEST_F(MidiEndpointsTest, AnEndpointKeepsItsNumberAndNoNumberIsUsedTwice) {
  const auto node = build.node("node", "Midi/Bridge");
  const auto first = build.midiPort(node, "out", "Keys");
  build.midiPort(node, "out", "Pads");
  sources();
  const auto before = endpoints.list(PortDirection::kOut);
  EXPECT_NE(before[0].endpoint, 0U);
  EXPECT_NE(before[0].endpoint, before[1].endpoint);

  build.graph.remove(first);
  build.midiPort(node, "out", "Keys");
  sources();
  const auto after = endpoints.list(PortDirection::kOut);
  EXPECT_EQ(after[0], before[1]);
  EXPECT_NE(after[1].endpoint, before[0].endpoint);
  EXPECT_EQ(endpoints.find(before[0].endpoint, PortDirection::kOut), nullptr);

  endpoints.clear();
  EXPECT_THAT(endpoints.list(PortDirection::kOut), IsEmpty());
  sources();
  for (const auto& endpoint : endpoints.list(PortDirection::kOut)) EXPECT_GT(endpoint.endpoint, after[1].endpoint);
}

TEST_F(MidiEndpointsTest, AnEndpointIsFoundByNumberAndDirection) {
  const auto node = build.node("node", "Midi/Bridge");
  const auto port = build.midiPort(node, "out", "Keys");
  sources();
  const auto number = endpoints.list(PortDirection::kOut)[0].endpoint;
  ASSERT_NE(endpoints.find(number, PortDirection::kOut), nullptr);
  EXPECT_EQ(endpoints.find(number, PortDirection::kOut)->port.id, port);
  EXPECT_EQ(endpoints.find(number, PortDirection::kIn), nullptr);
  EXPECT_EQ(endpoints.find(0, PortDirection::kOut), nullptr);
}

}  // namespace
}  // namespace tallyrig
