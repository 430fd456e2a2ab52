// MIDI destinations that are taken, that go and return, or were never there, and what their neighbours notice of it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "scenario/Start.h"
#include "support/Cards.h"
#include "support/MTCListener.h"
#include "support/MTCTransport.h"
#include "support/Wall.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using enum MTCFrameRate;

/// Three cards that send; the first two to `Lights` and `Sound`, the third wherever the test says.
class MIDIEnds : public testing::Test {
 protected:
  using Sent = std::vector<std::tuple<std::uint64_t, MidiBytes>>;

  /// What the neighbours send in 10 s while `trouble` happens to the third card, once a second.
  struct Stage {
    Wall wall{{.seed = 92}};
    SimulatedWorld& world = wall.world;
    SimulatedMidiDestination& lights = world.midi().addDestination("Lights");
    SimulatedMidiDestination& sound = world.midi().addDestination("Sound");
    SimulatedMidiDestination& truck = world.midi().addDestination("Truck");
    SimulatedMidiDestination& player = world.midi().addDestination("Player", false);
    SimulatedMidiSource& in = world.midi().addSource("Machine");
    MTCTransport machine{world, player};

    ReaderInstance& third() { return wall.card(2); }
  };
  static Sent run(const std::function<ReaderSnapshot(Stage&)>& third, const std::function<void(Stage&, int)>& trouble) {
    Stage stage;
    stage.world.midi().connect(stage.player, stage.in);
    std::vector<ReaderSnapshot> cards{generatorTo(stage.lights, kStart),
                                      emittingTo(readerOf(stage.in), stage.sound, OutputFrameRate::fps24)};
    if (third) cards.push_back(third(stage));
    stage.wall.openWith(cards);
    stage.machine.play({5, 0, 0, 0, fps25});
    stage.wall.card(0).toggleGenerator();
    for (int second = 0; second < 10; ++second) {
      stage.world.runFor(1s);
      if (trouble) trouble(stage, second);
    }
    Sent sent;
    for (const auto* destination : {&stage.lights, &stage.sound}) {
      for (const auto& message : destination->received()) sent.emplace_back(message.at.ticks, message.bytes);
    }
    return sent;
  }
  static Sent undisturbed() { return run(nullptr, nullptr); }
};

TEST_F(MIDIEnds, ADestinationThatVanishesEndsItsGeneratorWhichRunsAgainWhenItIsBack) {
  Stage stage;
  stage.wall.openWith({generatorTo(stage.truck, {3, 0, 0, 0, fps30})});
  ReaderInstance& card = stage.wall.card(0);
  card.toggleGenerator();
  stage.world.runFor(2s);
  stage.world.midi().unplug(stage.truck);
  stage.world.runFor(1s);
  EXPECT_EQ(card.sourceAvailabilityWarning(), "MIDI send error -19");
  EXPECT_FALSE(card.isGeneratorRunning());
  EXPECT_TRUE(stage.wall.reservations->owners().empty());
  stage.wall.registry->refresh("test");
  card.toggleGenerator();
  EXPECT_EQ(card.sourceAvailabilityWarning(), "MTC destination unavailable: Truck");
  stage.world.midi().plugIn(stage.truck);
  stage.wall.registry->refresh("test");
  stage.truck.clearReceived();
  card.toggleGenerator();
  EXPECT_FALSE(card.sourceAvailabilityWarning());
  stage.world.runFor(1s);
  EXPECT_GT(stage.truck.received().size(), 115U);
}

TEST_F(MIDIEnds, AFailedSendTakesThePortThatAllCardsShareWithIt) {
  // Readers are back with an anchor of theirs; a generator tells it and waits for the next Start.
  Stage stage;
  stage.world.midi().connect(stage.player, stage.in);
  stage.wall.openWith({generatorTo(stage.lights, kStart), emittingTo(readerOf(stage.in), stage.sound),
                       generatorTo(stage.truck, {3, 0, 0, 0, fps30})});
  stage.machine.play({5, 0, 0, 0, fps24});
  stage.wall.card(0).toggleGenerator();
  stage.third().toggleGenerator();
  stage.world.runFor(2s);
  stage.world.midi().unplug(stage.truck);
  stage.world.runFor(50ms);
  EXPECT_EQ(stage.wall.card(0).sourceAvailabilityWarning(), "MIDI send error -9");
  EXPECT_FALSE(stage.wall.card(0).isGeneratorRunning());
  EXPECT_EQ(stage.wall.card(1).sourceAvailabilityWarning(), "MIDI send error -9");
  ASSERT_TRUE(stage.world.runUntil([&] { return !stage.wall.card(1).sourceAvailabilityWarning(); }, 168ms));
  stage.wall.card(0).toggleGenerator();
  stage.lights.clearReceived();
  stage.sound.clearReceived();
  stage.world.runFor(1s);
  EXPECT_GT(stage.lights.received().size(), 95U);
  EXPECT_GT(stage.sound.received().size(), 90U);
  EXPECT_EQ(stage.wall.reservations->owners().size(), 2U);
}

TEST_F(MIDIEnds, ATakenDestinationIsToldAndTakenWhenItIsFree) {
  const auto sent = run(
      [](Stage& stage) {
        return generatorTo(stage.lights, {3, 0, 0, 0, fps30});
      },
      [](Stage& stage, int) {
        stage.third().toggleGenerator();
        EXPECT_EQ(stage.third().sourceAvailabilityWarning(), "Lights is already in use");
        EXPECT_FALSE(stage.third().isGeneratorRunning());
      });
  EXPECT_TRUE(sent == undisturbed());

  Stage stage;
  stage.world.midi().connect(stage.player, stage.in);
  stage.wall.openWith({generatorTo(stage.lights, kStart), emittingTo(readerOf(stage.in), stage.lights)});
  ReaderInstance& owner = stage.wall.card(0);
  ReaderInstance& reader = stage.wall.card(1);
  owner.toggleGenerator();
  stage.machine.play({5, 0, 0, 0, fps24});
  stage.world.runFor(2s);
  EXPECT_EQ(reader.sourceAvailabilityWarning(), "Lights is already in use");
  EXPECT_TRUE(reader.isReceiving());
  owner.toggleGenerator();
  // With its next anchor.
  ASSERT_TRUE(stage.world.runUntil([&] { return !reader.sourceAvailabilityWarning(); }, 85ms));
  stage.lights.clearReceived();
  MTCListener listener(stage.lights);
  stage.world.runFor(1s);
  listener.listen();
  ASSERT_GT(listener.sequences().size(), 8U);
  EXPECT_EQ(listener.sequences().back().timecode.hours, 5);
  EXPECT_EQ(listener.brokenCount(), 0);
}

TEST_F(MIDIEnds, NoDestinationOrOneThatWasRenamedIsTold) {
  for (const auto& name : {std::optional<std::string>(), std::optional<std::string>("truck"),
                           std::optional<std::string>(" Truck "), std::optional<std::string>("Van")}) {
    const std::string warning =
        name ? "MTC destination unavailable: " + *name : std::string("No MTC destination selected");
    const auto sent = run(
        [&](Stage& stage) {
          ReaderSnapshot settings = generatorTo(stage.truck, {3, 0, 0, 0, fps30});
          settings.selectedMIDIDestinationName = name;
          return settings;
        },
        [&](Stage& stage, int) {
          stage.third().toggleGenerator();
          EXPECT_EQ(stage.third().sourceAvailabilityWarning(), warning);
          EXPECT_FALSE(stage.third().isGeneratorRunning());
          EXPECT_TRUE(stage.truck.received().empty());
        });
    EXPECT_TRUE(sent == undisturbed());
  }
}

TEST_F(MIDIEnds, ANameThatDiffersInCaseOnlyIsFoundWhereTheListIsOlderThanTheName) {
  Stage stage;
  stage.wall.openWith({generatorTo(stage.truck, {3, 0, 0, 0, fps30})});
  stage.world.midi().rename(stage.truck, "TRUCK ");
  stage.world.runFor(10ms);
  stage.wall.card(0).toggleGenerator();
  EXPECT_TRUE(stage.wall.card(0).isGeneratorRunning());
  stage.world.runFor(1s);
  EXPECT_TRUE(stage.world.hasLogged("MTCOutput: started 30 fps to TRUCK "));
  EXPECT_GT(stage.truck.received().size(), 100U);
}

TEST_F(MIDIEnds, AReaderWhoseDestinationVanishesTriesWithEachAnchorAndReadsOn) {
  Stage stage;
  stage.world.midi().connect(stage.player, stage.in);
  stage.wall.openWith({emittingTo(readerOf(stage.in), stage.truck)});
  ReaderInstance& card = stage.wall.card(0);
  stage.machine.play({5, 0, 0, 0, fps24});
  stage.world.runFor(1s);
  EXPECT_GT(stage.truck.received().size(), 80U);
  stage.world.midi().unplug(stage.truck);
  stage.wall.registry->refresh("test");
  stage.world.runFor(1013ms);
  EXPECT_EQ(card.sourceAvailabilityWarning(), "MTC destination unavailable: Truck");
  EXPECT_EQ(card.displayedTimecode(stage.world.clock().now()), stage.machine.truthAt(stage.world.clock().nanos()));
  EXPECT_TRUE(stage.wall.reservations->owners().empty());
  stage.world.midi().plugIn(stage.truck);
  stage.wall.registry->refresh("test");
  ASSERT_TRUE(stage.world.runUntil([&] { return !card.sourceAvailabilityWarning(); }, 168ms))
      << "the change of the list costs the sequence under way";
  stage.truck.clearReceived();
  stage.world.runFor(1s);
  EXPECT_GT(stage.truck.received().size(), 90U);
}

}  // namespace
}  // namespace tallyrig
