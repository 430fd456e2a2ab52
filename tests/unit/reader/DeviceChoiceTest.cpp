#include "reader/DeviceChoice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tallyrig {
namespace {

using testing::Eq;
using testing::Optional;

std::vector<MIDIDestinationDevice> destinations(std::initializer_list<std::pair<MIDIEndpointRef, const char*>> list) {
  std::vector<MIDIDestinationDevice> devices;
  for (const auto& [endpoint, name] : list) devices.push_back({endpoint, name});
  return devices;
}

TEST(DeviceChoice, FindsTheStoredNumberFirst) {
  MIDIDestinationChoice choice(7, "Desk");
  choice.load(destinations({{3, "Desk"}, {7, "Rack"}}));
  EXPECT_EQ(choice.index(), 1);
  EXPECT_THAT(choice.name(), Optional(std::string("Rack")));
}

TEST(DeviceChoice, FindsTheStoredNameUnderANewNumber) {
  MIDIDestinationChoice choice(7, "Desk");
  choice.load(destinations({{3, "Rack"}, {4, "Desk"}}));
  EXPECT_EQ(choice.index(), 1);
  EXPECT_THAT(choice.number(), Optional(4U));
}

TEST(DeviceChoice, ANameAloneIsEnough) {
  MIDIDestinationChoice choice(std::nullopt, "Desk");
  choice.load(destinations({{3, "Rack"}, {4, "Desk"}}));
  EXPECT_EQ(choice.index(), 1);
}

TEST(DeviceChoice, NamesMustMatchInEveryLetter) {
  MIDIDestinationChoice choice(std::nullopt, "desk");
  choice.load(destinations({{4, "Desk"}}));
  EXPECT_EQ(choice.device(), nullptr);
}

TEST(DeviceChoice, NothingStoredChoosesNothing) {
  MIDIDestinationChoice choice(std::nullopt, std::nullopt);
  choice.load(destinations({{4, "Desk"}}));
  EXPECT_EQ(choice.index(), -1);
  EXPECT_EQ(choice.names(), QStringList{"Desk"});
}

TEST(DeviceChoice, WhatIsAwayStandsAtTheEndOfTheListAndStaysChosen) {
  MIDIDestinationChoice choice(9, "Truck");
  choice.load(destinations({{4, "Desk"}, {5, "Rack"}}));
  EXPECT_EQ(choice.names(), (QStringList{"Desk", "Rack", "Truck"}));
  EXPECT_EQ(choice.index(), 2);
  EXPECT_EQ(choice.device(), nullptr);
  EXPECT_THAT(choice.number(), Optional(9U));
  EXPECT_THAT(choice.name(), Optional(std::string("Truck")));
}

TEST(DeviceChoice, WhatIsAwayCanBeLeftAndTakenAgain) {
  MIDIDestinationChoice choice(9, "Truck");
  choice.load(destinations({{4, "Desk"}}));
  choice.choose(0);
  EXPECT_EQ(choice.index(), 0);
  choice.choose(1);
  EXPECT_EQ(choice.index(), 1);
  EXPECT_THAT(choice.name(), Optional(std::string("Truck")));
}

TEST(DeviceChoice, AnEmptyListOffersNothingAndForgetsNothing) {
  MIDIDestinationChoice choice(9, "Truck");
  choice.load({});
  EXPECT_TRUE(choice.names().isEmpty());
  EXPECT_THAT(choice.name(), Optional(std::string("Truck")));
  choice.load(destinations({{12, "Truck"}}));
  EXPECT_EQ(choice.index(), 0);
  EXPECT_THAT(choice.number(), Optional(12U));
}

TEST(DeviceChoice, AnEditedChoiceSurvivesChangesOfTheList) {
  MIDIDestinationChoice choice(4, "Desk");
  choice.load(destinations({{4, "Desk"}, {5, "Rack"}}));
  choice.choose(1);
  choice.load(destinations({{2, "Alpha"}, {4, "Desk"}, {5, "Rack"}}));
  EXPECT_EQ(choice.index(), 2);
  choice.load(destinations({{2, "Alpha"}}));
  EXPECT_EQ(choice.names().at(choice.index()), "Rack");
  choice.load(destinations({{8, "Rack"}, {2, "Alpha"}}));
  EXPECT_EQ(choice.index(), 0);
  EXPECT_EQ(choice.names().size(), 2) << "it is back and no longer listed as away";
}

TEST(DeviceChoice, PlacesThatDoNotExistChooseNone) {
  for (const int place : {-1, -7, 1, 99}) {
    MIDIDestinationChoice choice(4, "Desk");
    choice.load(destinations({{4, "Desk"}}));
    choice.choose(place);
    EXPECT_EQ(choice.index(), -1) << place;
    EXPECT_THAT(choice.number(), Eq(std::nullopt)) << place;
    EXPECT_THAT(choice.name(), Eq(std::nullopt)) << place;
  }
}

TEST(OfferedChannels, AreTheDevicesOwnOrAsManyAsAnAbsentDeviceNeeds) {
  AudioOutputDevice desk;
  desk.id = 4;
  desk.name = "Desk";
  desk.channelCount = 8;
  OutputDeviceChoice choice(std::nullopt, std::nullopt);
  choice.load({desk});
  EXPECT_EQ(offeredChannels(choice, 3), 0);
  choice.choose(0);
  EXPECT_EQ(offeredChannels(choice, 3), 8);
  OutputDeviceChoice away(9, "Truck");
  away.load({desk});
  EXPECT_EQ(offeredChannels(away, 3), 4);
  EXPECT_EQ(offeredChannels(away, -5), 1);
  EXPECT_EQ(offeredChannels(away, 1LL << 40), 1024);
}

}  // namespace
}  // namespace tallyrig
