#include "platform/pipewire/GraphModel.h"

#include "unit/pipewire/GraphBuilder.h"

namespace tallyrig {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::uint32_t> idsOf(const std::vector<GraphPort>& ports) {
  std::vector<std::uint32_t> ids;
  for (const auto& port : ports) ids.push_back(port.id);
  return ids;
}

TEST(GraphModel, PortsStandInTheOrderOfTheirNumbersAndNotOfTheirArrivalOrText) {
  GraphBuilder build;
  const auto node = build.node("sink", "Audio/Sink");
  const auto ten = build.port(node, "in", 10);
  const auto two = build.port(node, "in", 2);
  const auto zero = build.port(node, "in", 0);
  EXPECT_THAT(idsOf(build.graph.ports(node, PortDirection::kIn)), ElementsAre(zero, two, ten));
}

TEST(GraphModel, DirectionsAndNodesKeepTheirPortsApart) {
  GraphBuilder build;
  const auto one = build.node("one", "Audio/Duplex");
  const auto other = build.node("other", "Audio/Duplex");
  const auto in = build.port(one, "in", 0);
  const auto out = build.port(one, "out", 0);
  build.port(other, "in", 0);
  EXPECT_THAT(idsOf(build.graph.ports(one, PortDirection::kIn)), ElementsAre(in));
  EXPECT_THAT(idsOf(build.graph.ports(one, PortDirection::kOut)), ElementsAre(out));
}

TEST(GraphModel, PortsThatCarryNoMonoAudioAreLeftOut) {
  GraphBuilder build;
  const auto node = build.node("duplex", "Audio/Duplex");
  build.port(node, "in", 0, {{"format.dsp", "8 bit raw midi"}});
  build.port(node, "in", 1, {{"format.dsp", ""}});
  EXPECT_THAT(build.graph.ports(node, PortDirection::kIn), IsEmpty());
}

TEST(GraphModel, AReusedIdReplacesWhatStoodThere) {
  GraphBuilder build;
  const auto node = build.node("first", "Audio/Sink");
  build.graph.addNode(node, {{"node.name", "second"}, {"object.serial", "5000"}});
  EXPECT_EQ(build.graph.nodeOfSerial(1000 + node), nullptr);
  ASSERT_NE(build.graph.nodeOfSerial(5000), nullptr);
  EXPECT_EQ(build.graph.nodeOfSerial(5000)->name, "second");

  const auto port = build.port(node, "in", 0);
  build.graph.addPort(port, {{"format.dsp", "8 bit raw midi"}, {"node.id", std::to_string(node)}});
  EXPECT_THAT(build.graph.ports(node, PortDirection::kIn), IsEmpty());
}

TEST(GraphModel, RemovingTellsWhetherAnythingStoodThere) {
  GraphBuilder build;
  const auto node = build.node("node", "Audio/Sink");
  const auto port = build.port(node, "in", 0);
  EXPECT_TRUE(build.graph.remove(port));
  EXPECT_TRUE(build.graph.remove(node));
  EXPECT_FALSE(build.graph.remove(node));
  EXPECT_FALSE(build.graph.remove(12345));
}

TEST(GraphModel, AnEmptiedGraphHoldsNothing) {
  GraphBuilder build;
  const auto card = build.card("Card");
  const auto node = build.node("node", "Audio/Sink");
  build.ports(node, "in", 2);
  build.graph.clear();
  EXPECT_THAT(build.graph.nodes(), IsEmpty());
  EXPECT_THAT(build.graph.ports(node, PortDirection::kIn), IsEmpty());
  EXPECT_EQ(build.graph.cardTitle(std::to_string(card)), "");
}

TEST(GraphModel, ATitleIsTheDescriptionOrElseTheNickOrElseTheName) {
  GraphBuilder build;
  build.node("a", "Audio/Sink", {{"node.description", "Desk"}, {"node.nick", "D"}});
  build.node("b", "Audio/Sink", {{"node.nick", "Stage box"}});
  build.node("c", "Audio/Sink", {{"node.description", ""}, {"node.nick", ""}});
  std::vector<std::string> titles;
  for (const auto* node : build.graph.nodes()) titles.push_back(node->title);
  EXPECT_THAT(titles, ElementsAre("Desk", "Stage box", "c"));
}

TEST(GraphModel, AnUnknownCardOrOneThatIsNoNumberHasNoTitle) {
  GraphBuilder build;
  const auto card = build.card("Interface 18");
  EXPECT_EQ(build.graph.cardTitle(std::to_string(card)), "Interface 18");
  EXPECT_EQ(build.graph.cardTitle("999"), "");
  EXPECT_EQ(build.graph.cardTitle("front"), "");
  EXPECT_EQ(build.graph.cardTitle(""), "");
}

TEST(GraphModel, PropertiesThatAreNoNumbersCountAsZero) {
  GraphModel graph;
  graph.addNode(7, {{"object.serial", "later"}});
  ASSERT_EQ(graph.nodes().size(), 1U);
  EXPECT_EQ(graph.nodes().front()->serial, 0U);
}

}  // namespace
}  // namespace tallyrig
