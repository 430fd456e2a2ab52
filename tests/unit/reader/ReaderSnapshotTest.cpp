#include "reader/ReaderSnapshot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace tallyrig {
namespace {

using testing::Eq;
using testing::Optional;

ReaderSnapshot everyFieldSet() {
  ReaderSnapshot snapshot;
  snapshot.id = QUuid::fromString(QStringLiteral("2F1C9D3E-7A54-4B0E-9C11-0A2B3C4D5E6F"));
  snapshot.cardRole = CardRole::generator;
  snapshot.label = "Stage \"left\" / Bühne";
  snapshot.backgroundColorHex = "#005C6E";
  snapshot.sourceType = SourceType::mtc;
  snapshot.tileSize = TileSize::large;
  snapshot.displayMode = TileDisplayMode::minimal;
  snapshot.sortOrder = -3;
  snapshot.selectedDeviceID = 4294967295U;
  snapshot.selectedDeviceName = "Desk";
  snapshot.selectedChannel = 63;
  snapshot.ltcFrameOffset = -2;
  snapshot.outputProtocol = OutputProtocol::ltc;
  snapshot.outputFrameRate = OutputFrameRate::fps2997;
  snapshot.selectedOutputDeviceID = 0;
  snapshot.selectedOutputDeviceName = "Out";
  snapshot.selectedOutputChannel = 5;
  snapshot.outputLevelDBFS = -17.5;
  snapshot.generatorFrameRate = MTCFrameRate::fps2997;
  snapshot.selectedMIDIDestinationName = "Port 1";
  snapshot.generatorStartMode = GeneratorStartMode::utc;
  snapshot.generatorStartHours = 23;
  snapshot.generatorStartMinutes = 59;
  snapshot.generatorStartSeconds = 58;
  snapshot.generatorStartFrames = 29;
  snapshot.selectedMIDISourceName = "Port 2";
  return snapshot;
}

TEST(ReaderSnapshot, EveryFieldSurvivesTheFile) {
  const std::vector<ReaderSnapshot> snapshots{everyFieldSet(), ReaderSnapshot{}};
  const auto text = encodeSnapshots(snapshots);
  ASSERT_TRUE(text);
  EXPECT_THAT(decodeSnapshots(*text), Optional(snapshots));
}

TEST(ReaderSnapshot, WritesEachKeyInOrder) {
  EXPECT_THAT(encodeSnapshots({everyFieldSet()}),
              Optional(std::string(
                  R"([{"id":"2F1C9D3E-7A54-4B0E-9C11-0A2B3C4D5E6F","cardRole":"Generator",)"
                  R"("label":"Stage \"left\" / Bühne","backgroundColorHex":"#005C6E","sourceType":"MTC",)"
                  R"("tileSize":"Large","displayMode":"minimal","sortOrder":-3,"selectedDeviceID":4294967295,)"
                  R"("selectedDeviceName":"Desk","selectedChannel":63,"ltcFrameOffset":-2,"outputProtocol":"LTC",)"
                  R"("outputFrameRate":"29.97 DF","selectedOutputDeviceID":0,"selectedOutputDeviceName":"Out",)"
                  R"("selectedOutputChannel":5,"outputLevelDBFS":-17.5,"generatorFrameRate":2,)"
                  R"("selectedMIDIDestinationName":"Port 1","generatorStartMode":"UTC","generatorStartHours":23,)"
                  R"("generatorStartMinutes":59,"generatorStartSeconds":58,"generatorStartFrames":29,)"
                  R"("selectedMIDISourceName":"Port 2"}])")));
}

TEST(ReaderSnapshot, LeavesAbsentOptionalKeysOut) {
  ReaderSnapshot snapshot = everyFieldSet();
  snapshot.selectedDeviceID.reset();
  snapshot.selectedDeviceName.reset();
  snapshot.selectedOutputDeviceID.reset();
  snapshot.selectedOutputDeviceName.reset();
  snapshot.selectedMIDIDestinationName.reset();
  snapshot.selectedMIDISourceName.reset();
  const auto text = encodeSnapshots({snapshot});
  ASSERT_TRUE(text);
  for (const char* key : {"selectedDeviceID", "selectedDeviceName", "selectedOutputDeviceID",
                          "selectedOutputDeviceName", "selectedMIDIDestinationName", "selectedMIDISourceName"}) {
    EXPECT_EQ(text->find(key), std::string::npos) << key;
  }
}

TEST(ReaderSnapshot, AnEmptyObjectTakesEveryDefault) {
  const auto decoded = decodeSnapshots("[{}]");
  ASSERT_TRUE(decoded);
  ASSERT_EQ(decoded->size(), 1U);
  ReaderSnapshot expected;
  EXPECT_FALSE(decoded->front().id.isNull());
  EXPECT_NE(decoded->front().id, expected.id);
  expected.id = decoded->front().id;
  EXPECT_EQ(decoded->front(), expected);

  EXPECT_EQ(expected.label, "Reader");
  EXPECT_EQ(expected.backgroundColorHex, "#2A3A6E");
  EXPECT_EQ(expected.cardRole, CardRole::reader);
  EXPECT_EQ(expected.sourceType, SourceType::ltc);
  EXPECT_EQ(expected.tileSize, TileSize::medium);
  EXPECT_EQ(expected.displayMode, TileDisplayMode::full);
  EXPECT_EQ(expected.outputLevelDBFS, -6.0);
  EXPECT_EQ(expected.generatorStartHours, 1);
  EXPECT_EQ(expected.generatorFrameRate, MTCFrameRate::fps30);
}

TEST(ReaderSnapshot, TwoEmptyObjectsGetDifferentIdentities) {
  const auto decoded = decodeSnapshots("[{},{}]");
  ASSERT_TRUE(decoded);
  EXPECT_NE(decoded->at(0).id, decoded->at(1).id);
}

TEST(ReaderSnapshot, AnOldGeneratorIsUnderstood) {
  const auto decoded = decodeSnapshots(R"([{"sourceType":"Generator"}])");
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->front().cardRole, CardRole::generator);
  EXPECT_EQ(decoded->front().sourceType, SourceType::ltc);
}

TEST(ReaderSnapshot, APresentRoleWinsOverAnOldSourceType) {
  const auto decoded = decodeSnapshots(R"([{"sourceType":"Generator","cardRole":"Reader"},{"sourceType":"other"},
                                           {"sourceType":"MTC"}])");
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->at(0).cardRole, CardRole::reader);
  EXPECT_EQ(decoded->at(1).cardRole, CardRole::reader);
  EXPECT_EQ(decoded->at(1).sourceType, SourceType::ltc);
  EXPECT_EQ(decoded->at(2).sourceType, SourceType::mtc);
}

TEST(ReaderSnapshot, NullCountsAsAbsentAndUnknownKeysAreIgnored) {
  const auto decoded = decodeSnapshots(R"([{"label":null,"selectedDeviceID":null,"tileSize":null,"later":[1,2]}])");
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->front().label, "Reader");
  EXPECT_FALSE(decoded->front().selectedDeviceID);
}

TEST(ReaderSnapshot, WholeNumbersMayCarryADecimalPoint) {
  const auto decoded = decodeSnapshots(R"([{"selectedChannel":3.0,"outputLevelDBFS":-6,"generatorFrameRate":1.0}])");
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->front().selectedChannel, 3);
  EXPECT_EQ(decoded->front().outputLevelDBFS, -6.0);
  EXPECT_EQ(decoded->front().generatorFrameRate, MTCFrameRate::fps25);
}

TEST(ReaderSnapshot, AnEmptyArrayIsAnEmptyList) {
  EXPECT_THAT(decodeSnapshots("[]"), Optional(Eq(std::vector<ReaderSnapshot>{})));
}

class UndecodableText : public testing::TestWithParam<const char*> {};

TEST_P(UndecodableText, FailsAsAWhole) {
  EXPECT_FALSE(decodeSnapshots(GetParam())) << GetParam();
}

INSTANTIATE_TEST_SUITE_P(
    Texts, UndecodableText,
    testing::Values("", " ", "null", "{}", "\"readers\"", "[", "[{}", "[{\"label\":\"cut", "[{}]x", "[1]", "[[]]",
                    "[null]", R"([{},{"tileSize":"Huge"}])", R"([{"tileSize":"medium"}])",
                    R"([{"displayMode":"Full"}])", R"([{"cardRole":"Robot"}])", R"([{"cardRole":1}])",
                    R"([{"outputProtocol":"ltc"}])", R"([{"outputFrameRate":"23.976"}])",
                    R"([{"generatorStartMode":"Never"}])", R"([{"generatorFrameRate":4}])",
                    R"([{"generatorFrameRate":-1}])", R"([{"generatorFrameRate":"30"}])", R"([{"sourceType":5}])",
                    R"([{"label":5}])", R"([{"id":"not-a-uuid"}])", R"([{"id":7}])", R"([{"id":""}])",
                    R"([{"sortOrder":"1"}])", R"([{"sortOrder":1.5}])", R"([{"sortOrder":99999999999999999999}])",
                    R"([{"selectedDeviceID":-1}])", R"([{"selectedDeviceID":4294967296}])",
                    R"([{"selectedDeviceName":{}}])", R"([{"selectedChannel":true}])",
                    R"([{"outputLevelDBFS":"loud"}])", R"([{"outputLevelDBFS":1e999}])", "[{\"label\":\"\xff\xfe\"}]"));

TEST(ReaderSnapshot, DeepNestingIsRefusedWithoutHarm) {
  EXPECT_FALSE(decodeSnapshots(std::string(200000, '[')));
  EXPECT_FALSE(decodeSnapshots(std::string(100000, '[') + std::string(100000, ']')));
}

TEST(ReaderSnapshot, WhatJsonCannotHoldIsNotWritten) {
  ReaderSnapshot badText;
  badText.label = "\xff";
  EXPECT_FALSE(encodeSnapshots({badText}));
  ReaderSnapshot badNumber;
  badNumber.outputLevelDBFS = std::numeric_limits<double>::infinity();
  EXPECT_FALSE(encodeSnapshots({badNumber}));
}

TEST(ReaderTypes, RawValuesLeadThereAndBack) {
  for (const auto value : {TileSize::small, TileSize::medium, TileSize::large}) {
    EXPECT_THAT(fromRawValue<TileSize>(rawValue(value)), Optional(value));
  }
  for (const auto value : {OutputFrameRate::followInput, OutputFrameRate::fps24, OutputFrameRate::fps25,
                           OutputFrameRate::fps2997, OutputFrameRate::fps30}) {
    EXPECT_THAT(fromRawValue<OutputFrameRate>(rawValue(value)), Optional(value));
  }
  EXPECT_EQ(rawValue(OutputFrameRate::followInput), "Follow Input");
  EXPECT_EQ(rawValue(GeneratorStartMode::localTime), "Local Time");
  EXPECT_EQ(rawValue(AppearanceMode::dark), "Dark");
  EXPECT_FALSE(fromRawValue<TileDisplayMode>("Full"));
}

}  // namespace
}  // namespace tallyrig
