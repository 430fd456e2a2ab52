#include "mtc/MIDIOutputPortManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/simulated/SimulatedWorld.h"
#include "support/RecordingMidiSystem.h"

namespace tallyrig {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string timed(const std::string& text) {
  return "[09:00:00.000 +0.000ms] " + text;
}

class MIDIOutputPortManagerTest : public testing::Test {
 protected:
  SimulatedWorld world;
  RecordingMidiSystem midi;
  std::optional<MIDIOutputPortManager> manager{std::in_place, midi, world.log()};
};

TEST_F(MIDIOutputPortManagerTest, MakesNothingUntilItIsAskedTo) {
  EXPECT_EQ(manager->outputPort(), 0u);
  EXPECT_EQ(manager->lastErrorMessage(), std::nullopt);
  manager.reset();
  EXPECT_THAT(midi.calls, IsEmpty());
}

TEST_F(MIDIOutputPortManagerTest, BuildsAClientAndAPort) {
  manager->rebuild();
  EXPECT_THAT(midi.calls, ElementsAre("client Tallyrig.MIDIOutput", "output port of 1 Tallyrig.MIDIOutputPort"));
  EXPECT_EQ(manager->outputPort(), 2u);
  EXPECT_EQ(manager->lastErrorMessage(), std::nullopt);
  EXPECT_THAT(world.logLines(), IsEmpty());
}

TEST_F(MIDIOutputPortManagerTest, RebuildingDisposesOfWhatThereWas) {
  manager->rebuild();
  midi.calls.clear();
  manager->rebuild();
  EXPECT_THAT(midi.calls, ElementsAre("dispose port 2", "dispose client 1", "client Tallyrig.MIDIOutput",
                                      "output port of 3 Tallyrig.MIDIOutputPort"));
  EXPECT_EQ(manager->outputPort(), 4u);
}

TEST_F(MIDIOutputPortManagerTest, AClientThatCannotBeMadeLeavesAMessageAndTheNextTryStartsFromNothing) {
  midi.clientStatus = -12;
  manager->rebuild();
  EXPECT_EQ(manager->outputPort(), 0u);
  EXPECT_EQ(manager->lastErrorMessage(), "CoreMIDI client error -12");
  EXPECT_THAT(world.logLines(), ElementsAre("MIDIOutputPortManager: MIDIClientCreateWithBlock failed with status -12"));
  EXPECT_THAT(midi.calls, ElementsAre("client Tallyrig.MIDIOutput"));
  midi.clientStatus = kPlatformOk;
  midi.calls.clear();
  manager->rebuild();
  EXPECT_THAT(midi.calls, ElementsAre("client Tallyrig.MIDIOutput", "output port of 1 Tallyrig.MIDIOutputPort"));
  EXPECT_EQ(manager->outputPort(), 2u);
  EXPECT_EQ(manager->lastErrorMessage(), std::nullopt);
}

TEST_F(MIDIOutputPortManagerTest, APortThatCannotBeMadeTakesTheClientWithIt) {
  midi.portStatus = -2147483647;
  manager->rebuild();
  EXPECT_EQ(manager->outputPort(), 0u);
  EXPECT_EQ(manager->lastErrorMessage(), "CoreMIDI output error -2147483647");
  EXPECT_THAT(world.logLines(),
              ElementsAre("MIDIOutputPortManager: MIDIOutputPortCreate failed with status -2147483647"));
  EXPECT_THAT(midi.calls, ElementsAre("client Tallyrig.MIDIOutput", "output port of 1 Tallyrig.MIDIOutputPort",
                                      "dispose client 1"));
}

TEST_F(MIDIOutputPortManagerTest, AFailedRebuildLeavesNothingOfTheOldPair) {
  manager->rebuild();
  midi.clientStatus = -5;
  midi.calls.clear();
  manager->rebuild();
  EXPECT_THAT(midi.calls, ElementsAre("dispose port 2", "dispose client 1", "client Tallyrig.MIDIOutput"));
  EXPECT_EQ(manager->outputPort(), 0u);
}

TEST_F(MIDIOutputPortManagerTest, InvalidatingDisposesOfThePairAndSaysWhy) {
  manager->rebuild();
  midi.calls.clear();
  manager->invalidate("MIDI send error -5");
  EXPECT_EQ(manager->outputPort(), 0u);
  EXPECT_THAT(midi.calls, ElementsAre("dispose port 2", "dispose client 1"));
  EXPECT_THAT(world.logLines(),
              ElementsAre(timed("MIDIOutputPortManager: invalidating output port — MIDI send error -5")));
  EXPECT_EQ(manager->lastErrorMessage(), std::nullopt);
}

TEST_F(MIDIOutputPortManagerTest, InvalidatingWithNothingBuiltOnlyWritesTheLine) {
  midi.clientStatus = -12;
  manager->rebuild();
  midi.calls.clear();
  world.clearLog();
  manager->invalidate("test");
  EXPECT_THAT(midi.calls, IsEmpty());
  EXPECT_THAT(world.logLines(), ElementsAre(timed("MIDIOutputPortManager: invalidating output port — test")));
  EXPECT_EQ(manager->lastErrorMessage(), "CoreMIDI client error -12") << "the message stays as it stands";
}

TEST_F(MIDIOutputPortManagerTest, AChangeOfTheEndpointsIsOnlyLogged) {
  manager->rebuild();
  midi.calls.clear();
  midi.setupChanged();
  EXPECT_THAT(world.logLines(), ElementsAre(timed("MIDIOutputPortManager: CoreMIDI setup changed")));
  EXPECT_THAT(midi.calls, IsEmpty());
  EXPECT_EQ(manager->outputPort(), 2u);
}

TEST_F(MIDIOutputPortManagerTest, HearsOfChangesWhileItHasAPort) {
  MIDIOutputPortManager simulated(world.midi(), world.log());
  world.midi().addDestination("Desk");
  simulated.rebuild();
  world.runPending();
  EXPECT_EQ(world.logCount("CoreMIDI setup changed"), 0u) << "the change came before the client";
  world.midi().addDestination("Lights");
  world.runPending();
  EXPECT_EQ(world.logCount("CoreMIDI setup changed"), 1u);
  simulated.invalidate("test");
  world.midi().addDestination("Pyro");
  world.runPending();
  EXPECT_EQ(world.logCount("CoreMIDI setup changed"), 1u);
}

TEST_F(MIDIOutputPortManagerTest, ItsEndDisposesOfThePair) {
  manager->rebuild();
  midi.calls.clear();
  manager.reset();
  EXPECT_THAT(midi.calls, ElementsAre("dispose port 2", "dispose client 1"));
}

}  // namespace
}  // namespace tallyrig
