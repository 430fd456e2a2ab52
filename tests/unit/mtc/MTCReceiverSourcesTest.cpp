// The MIDI side of MTCReceiver: client, port, sources, selection and connection.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <vector>

#include "mtc/MTCReceiver.h"
#include "platform/simulated/SimulatedWorld.h"
#include "support/RecordingMidiSystem.h"

namespace tallyrig {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MTCReceiverSourcesTest : public testing::Test {
 protected:
  /// A receiver, with its client and port made and the calls for them forgotten.
  void make() {
    receiver = std::make_unique<MTCReceiver>(world.clock(), world.scheduler(), world.log(), midi);
    midi.calls.clear();
    world.clearLog();
  }
  void select(const MIDISourceDevice& source) {
    receiver->setSelectedSource(source);
    receiver->reconnect();
  }

  SimulatedWorld world;
  RecordingMidiSystem midi;
  std::unique_ptr<MTCReceiver> receiver;
};

TEST_F(MTCReceiverSourcesTest, ItMakesAClientAndAPortOfItsOwnAndDisposesOfThem) {
  MTCReceiver one(world.clock(), world.scheduler(), world.log(), midi);
  EXPECT_THAT(midi.calls, ElementsAre("client Tallyrig.MTCReceiver", "input port of 1 Tallyrig.MTCInput"));
  midi.calls.clear();
  {
    const MTCReceiver other(world.clock(), world.scheduler(), world.log(), midi);
    EXPECT_THAT(midi.calls, ElementsAre("client Tallyrig.MTCReceiver", "input port of 3 Tallyrig.MTCInput"));
    midi.calls.clear();
  }
  EXPECT_THAT(midi.calls, ElementsAre("dispose port 4", "dispose client 3"));
}

TEST_F(MTCReceiverSourcesTest, ItBeginsWithTheSourcesThereAreAndNothingElse) {
  midi.listedSources = {{7, "Desk"}, {9, "Playback"}};
  receiver = std::make_unique<MTCReceiver>(world.clock(), world.scheduler(), world.log(), midi);
  EXPECT_THAT(receiver->availableSources(), ElementsAre(MIDISourceDevice{7, "Desk"}, MIDISourceDevice{9, "Playback"}));
  EXPECT_THAT(world.logLines(), ElementsAre("MTCReceiver: CoreMIDI reports 2 source(s): Desk, Playback"));
  EXPECT_FALSE(receiver->selectedSource());
  EXPECT_FALSE(receiver->currentAnchor());
  EXPECT_FALSE(receiver->isReceiving());
  EXPECT_EQ(midi.calls.size(), 2U);
}

TEST_F(MTCReceiverSourcesTest, WithoutSourcesTheLineHasNoNames) {
  receiver = std::make_unique<MTCReceiver>(world.clock(), world.scheduler(), world.log(), midi);
  EXPECT_THAT(receiver->availableSources(), IsEmpty());
  EXPECT_THAT(world.logLines(), ElementsAre("MTCReceiver: CoreMIDI reports 0 source(s): "));
}

TEST_F(MTCReceiverSourcesTest, ASourceWithoutANameIsUnknown) {
  midi.listedSources = {{7, ""}};
  receiver = std::make_unique<MTCReceiver>(world.clock(), world.scheduler(), world.log(), midi);
  EXPECT_THAT(receiver->availableSources(), ElementsAre(MIDISourceDevice{7, "Unknown"}));
  EXPECT_THAT(world.logLines(), ElementsAre("MTCReceiver: CoreMIDI reports 1 source(s): Unknown"));
}

TEST_F(MTCReceiverSourcesTest, WithoutAClientItListsNothingAndDoesNotTryAgain) {
  midi.listedSources = {{7, "Desk"}};
  midi.clientStatus = -ECONNREFUSED;
  receiver = std::make_unique<MTCReceiver>(world.clock(), world.scheduler(), world.log(), midi);
  EXPECT_THAT(world.logLines(), ElementsAre("MTCReceiver: MIDIClientCreateWithBlock failed with status -111"));
  EXPECT_THAT(receiver->availableSources(), IsEmpty());
  receiver.reset();
  EXPECT_THAT(midi.calls, ElementsAre("client Tallyrig.MTCReceiver"));
}

TEST_F(MTCReceiverSourcesTest, WithoutAPortItGivesTheClientBackAndListsNothing) {
  midi.listedSources = {{7, "Desk"}};
  midi.portStatus = -EIO;
  receiver = std::make_unique<MTCReceiver>(world.clock(), world.scheduler(), world.log(), midi);
  EXPECT_THAT(world.logLines(), ElementsAre("MTCReceiver: MIDIInputPortCreateWithProtocol failed with status -5"));
  EXPECT_THAT(receiver->availableSources(), IsEmpty());
  EXPECT_FALSE(midi.setupChanged);
  receiver.reset();
  EXPECT_THAT(midi.calls,
              ElementsAre("client Tallyrig.MTCReceiver", "input port of 1 Tallyrig.MTCInput", "dispose client 1"));
}

TEST_F(MTCReceiverSourcesTest, ASelectionIsConnectedByReconnect) {
  midi.listedSources = {{7, "Desk"}, {9, "Playback"}};
  make();
  receiver->setSelectedSource(MIDISourceDevice{7, "Desk"});
  EXPECT_THAT(midi.calls, IsEmpty());
  receiver->reconnect();
  EXPECT_THAT(midi.calls, ElementsAre("connect 2 to 7"));
}

TEST_F(MTCReceiverSourcesTest, OneSourceAtATimeIsConnected) {
  midi.listedSources = {{7, "Desk"}, {9, "Playback"}};
  make();
  select({7, "Desk"});
  midi.calls.clear();
  select({9, "Playback"});
  EXPECT_THAT(midi.calls, ElementsAre("disconnect 2 from 7", "connect 2 to 9"));
  midi.calls.clear();
  receiver->setSelectedSource(std::nullopt);
  receiver->reconnect();
  EXPECT_THAT(midi.calls, ElementsAre("disconnect 2 from 9"));
}

TEST_F(MTCReceiverSourcesTest, AFailedConnectionIsPassedOver) {
  midi.listedSources = {{7, "Desk"}};
  make();
  midi.connectStatus = -ENOENT;
  select({7, "Desk"});
  EXPECT_EQ(receiver->selectedSource(), (MIDISourceDevice{7, "Desk"}));
  EXPECT_THAT(world.logLines(), IsEmpty());
}

TEST_F(MTCReceiverSourcesTest, AChangeOfTheSourcesIsFollowedAndTold) {
  make();
  int changes = 0;
  QObject::connect(receiver.get(), &MTCReceiver::availableSourcesChanged, [&] { ++changes; });
  midi.listedSources = {{7, "Desk"}};
  midi.setupChanged();
  EXPECT_THAT(receiver->availableSources(), ElementsAre(MIDISourceDevice{7, "Desk"}));
  EXPECT_EQ(changes, 1);
  EXPECT_THAT(world.logLines(), ElementsAre("MTCReceiver: CoreMIDI reports 1 source(s): Desk"));
}

TEST_F(MTCReceiverSourcesTest, AReturnUnderAnotherNumberIsFollowedByName) {
  midi.listedSources = {{7, "Desk"}};
  make();
  select({7, "Desk"});
  midi.calls.clear();
  midi.listedSources = {{12, "Desk"}};
  midi.setupChanged();
  EXPECT_EQ(receiver->selectedSource(), (MIDISourceDevice{12, "Desk"}));
  EXPECT_THAT(midi.calls, ElementsAre("disconnect 2 from 7", "connect 2 to 12"));
}

TEST_F(MTCReceiverSourcesTest, TheNumberCountsMoreThanTheNameAndBringsTheNewName) {
  midi.listedSources = {{7, "Desk"}};
  make();
  select({7, "Desk"});
  midi.listedSources = {{12, "Desk"}, {7, "Desk, renamed"}};
  midi.setupChanged();
  EXPECT_EQ(receiver->selectedSource(), (MIDISourceDevice{7, "Desk, renamed"}));
  EXPECT_EQ(midi.calls.back(), "connect 2 to 7");
}

TEST_F(MTCReceiverSourcesTest, OfTwoSourcesWithTheNameTheFirstIsTaken) {
  midi.listedSources = {{7, "Desk"}};
  make();
  select({7, "Desk"});
  midi.listedSources = {{13, "desk"}, {12, "Desk"}, {11, "Desk"}};
  midi.setupChanged();
  EXPECT_EQ(receiver->selectedSource(), (MIDISourceDevice{12, "Desk"}));
}

TEST_F(MTCReceiverSourcesTest, UnpluggingTheSelectedSourceClearsTheSelection) {
  midi.listedSources = {{7, "Desk"}, {9, "Playback"}};
  make();
  select({7, "Desk"});
  midi.calls.clear();
  int changes = 0;
  QObject::connect(receiver.get(), &MTCReceiver::selectedSourceChanged, [&] { ++changes; });
  midi.listedSources = {{9, "Playback"}};
  midi.setupChanged();
  EXPECT_FALSE(receiver->selectedSource());
  EXPECT_THAT(midi.calls, ElementsAre("disconnect 2 from 7"));
  EXPECT_EQ(changes, 1);

  midi.listedSources = {{9, "Playback"}, {10, "Desk"}};
  midi.setupChanged();
  EXPECT_FALSE(receiver->selectedSource()) << "a selection once cleared is the card's to make anew";
}

TEST_F(MTCReceiverSourcesTest, AChangeWithoutASelectionLeavesTheConnectionAsItIs) {
  midi.listedSources = {{7, "Desk"}};
  make();
  select({7, "Desk"});
  receiver->setSelectedSource(std::nullopt);
  midi.calls.clear();
  midi.setupChanged();
  EXPECT_THAT(midi.calls, IsEmpty());
}

TEST_F(MTCReceiverSourcesTest, ASelectionIsToldWhenItChanges) {
  midi.listedSources = {{7, "Desk"}};
  make();
  int changes = 0;
  QObject::connect(receiver.get(), &MTCReceiver::selectedSourceChanged, [&] { ++changes; });
  select({7, "Desk"});
  select({7, "Desk"});
  midi.setupChanged();
  EXPECT_EQ(changes, 1);
}

}  // namespace
}  // namespace tallyrig
