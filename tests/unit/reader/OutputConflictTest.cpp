#include "reader/OutputConflict.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Wall.h"

namespace tallyrig {
namespace {

using testing::Eq;
using testing::Optional;

const std::string kCards = R"([
  {"label":"Silent","outputProtocol":"Disabled","selectedOutputDeviceID":4,"selectedOutputChannel":1,
   "selectedMIDIDestinationName":"Bridge"},
  {"label":"Stage","outputProtocol":"LTC","selectedOutputDeviceID":4,"selectedOutputChannel":1,
   "selectedMIDIDestinationName":"Bridge"},
  {"label":"Pit","outputProtocol":"LTC","selectedOutputDeviceID":4,"selectedOutputChannel":1},
  {"label":"","outputProtocol":"LTC","selectedOutputDeviceID":4,"selectedOutputChannel":6},
  {"label":"Truck","outputProtocol":"MTC","selectedMIDIDestinationName":"Gate","selectedOutputDeviceID":4,
   "selectedOutputChannel":2}])";

class OutputConflict : public testing::Test {
 protected:
  OutputConflict() {
    wall.world.files().put("/home/user/.local/share/Tallyrig/readers.json", kCards);
    wall.open();
  }

  std::optional<std::string> conflictOf(const ReaderSnapshot& edited) { return outputConflict(*wall.store, edited); }

  static ReaderSnapshot intoLTC(AudioDeviceID device, std::int64_t channel) {
    ReaderSnapshot edited;
    edited.outputProtocol = OutputProtocol::ltc;
    edited.selectedOutputDeviceID = device;
    edited.selectedOutputChannel = channel;
    return edited;
  }
  static ReaderSnapshot intoMTC(const std::string& destination) {
    ReaderSnapshot edited;
    edited.outputProtocol = OutputProtocol::mtc;
    edited.selectedMIDIDestinationName = destination;
    return edited;
  }

  Wall wall;
};

TEST_F(OutputConflict, NamesTheFirstOtherCardOnTheChannel) {
  EXPECT_THAT(conflictOf(intoLTC(4, 1)), Optional(std::string("This output channel is already in use by:\nStage")));
}

TEST_F(OutputConflict, NamesTheOtherCardAtTheDestination) {
  EXPECT_THAT(conflictOf(intoMTC("Gate")), Optional(std::string("This MIDI destination is already in use by:\nTruck")));
}

TEST_F(OutputConflict, ACardWithoutANameIsAnotherCard) {
  EXPECT_THAT(conflictOf(intoLTC(4, 6)),
              Optional(std::string("This output channel is already in use by:\nanother card")));
}

TEST_F(OutputConflict, ACardsOwnOutputIsNone) {
  ReaderSnapshot own = wall.card(4).settings();
  EXPECT_THAT(conflictOf(own), Eq(std::nullopt));
  own = wall.card(1).settings();
  EXPECT_THAT(conflictOf(own), Optional(std::string("This output channel is already in use by:\nPit")));
}

TEST_F(OutputConflict, OtherChannelsDevicesAndDestinationsAreFree) {
  EXPECT_THAT(conflictOf(intoLTC(4, 0)), Eq(std::nullopt));
  EXPECT_THAT(conflictOf(intoLTC(5, 1)), Eq(std::nullopt));
  EXPECT_THAT(conflictOf(intoLTC(4, 2)), Eq(std::nullopt)) << "its holder emits MTC";
  EXPECT_THAT(conflictOf(intoMTC("gate")), Eq(std::nullopt));
  EXPECT_THAT(conflictOf(intoMTC("Bridge")), Eq(std::nullopt)) << "its holders emit none or LTC";
}

TEST_F(OutputConflict, NothingChosenIsNone) {
  ReaderSnapshot edited = intoLTC(4, 1);
  edited.selectedOutputDeviceID.reset();
  EXPECT_THAT(conflictOf(edited), Eq(std::nullopt));
  edited = intoLTC(4, 1);
  edited.outputProtocol = OutputProtocol::disabled;
  EXPECT_THAT(conflictOf(edited), Eq(std::nullopt));
  edited = intoMTC("Gate");
  edited.selectedMIDIDestinationName.reset();
  EXPECT_THAT(conflictOf(edited), Eq(std::nullopt));
}

}  // namespace
}  // namespace tallyrig
