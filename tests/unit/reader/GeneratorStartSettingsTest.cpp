#include "reader/GeneratorStartSettings.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <string>
#include <tuple>

#include "support/Wall.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using namespace std::chrono;

std::string startOf(const ReaderSnapshot& draft) {
  return Timecode{draft.generatorStartHours, draft.generatorStartMinutes, draft.generatorStartSeconds,
                  draft.generatorStartFrames, draft.generatorFrameRate}
      .text();
}

class GeneratorStartSettingsTest : public testing::Test {
 protected:
  GeneratorStartSettingsTest() {
    wall.open();
    world.wallClock().set(sys_days(2026y / March / 5) + 14h + 30min + 15s + 500ms);
    world.wallClock().setUtcOffset(2h);
  }

  Wall wall;
  SimulatedWorld& world = wall.world;
  ReaderSnapshot draft;
};

TEST_F(GeneratorStartSettingsTest, OpensWithTheStoredStart) {
  draft.generatorStartHours = 9;
  draft.generatorStartFrames = 7;
  GeneratorStartSettings start(draft, wall.services());
  EXPECT_EQ(start.mode(), "Manual");
  EXPECT_EQ(start.text(), "09:00:00:07");
}

TEST_F(GeneratorStartSettingsTest, StoredUTCIsEditedAsLocalTime) {
  draft.generatorStartMode = GeneratorStartMode::utc;
  GeneratorStartSettings start(draft, wall.services());
  EXPECT_EQ(start.mode(), "Local Time");
  EXPECT_EQ(start.text(), "16:30:15:15");
}

TEST_F(GeneratorStartSettingsTest, StoredLocalTimeTakesTheTimeOfDayOnOpening) {
  draft.generatorStartMode = GeneratorStartMode::localTime;
  draft.generatorFrameRate = MTCFrameRate::fps24;
  GeneratorStartSettings start(draft, wall.services());
  EXPECT_EQ(start.text(), "16:30:15:12");
  EXPECT_EQ(startOf(draft), "16:30:15:12");
}

TEST_F(GeneratorStartSettingsTest, ChoosingLocalTimeTakesTheTimeOfDayEachTime) {
  GeneratorStartSettings start(draft, wall.services());
  EXPECT_EQ(startOf(draft), "01:00:00:00");
  start.setMode("Local Time");
  EXPECT_EQ(start.text(), "16:30:15:15");
  world.runFor(2s);
  EXPECT_EQ(start.text(), "16:30:15:15");
  start.setMode("Local Time");
  EXPECT_EQ(start.text(), "16:30:17:15");
  EXPECT_EQ(startOf(draft), "16:30:17:15");
  start.setMode("Manual");
  EXPECT_EQ(start.text(), "16:30:17:15") << "what was captured stays to be edited";
}

TEST_F(GeneratorStartSettingsTest, RunningTimeOfDayMovesTenTimesASecondAndChangesNoField) {
  GeneratorStartSettings start(draft, wall.services());
  int moves = 0;
  QObject::connect(&start, &GeneratorStartSettings::timeOfDayMoved, [&] { ++moves; });
  world.runFor(1s);
  EXPECT_EQ(moves, 0) << "nothing runs while the start is set by hand";
  start.setMode("Local Time");
  const ReaderSnapshot captured = draft;
  world.runFor(3050ms);
  EXPECT_EQ(moves, 30);
  EXPECT_EQ(start.timeOfDayText(), "16:30:19:16");
  draft.generatorFrameRate = MTCFrameRate::fps24;
  EXPECT_EQ(start.timeOfDayText(), "16:30:19:13");
  draft.generatorFrameRate = captured.generatorFrameRate;
  EXPECT_EQ(draft, captured);
  EXPECT_EQ(start.text(), "16:30:16:15");
  start.setMode("Manual");
  world.runFor(1s);
  EXPECT_EQ(moves, 30);
}

TEST_F(GeneratorStartSettingsTest, StrangeModesChangeNothing) {
  GeneratorStartSettings start(draft, wall.services());
  const ReaderSnapshot before = draft;
  start.setMode("UTC");
  start.setMode("Sundial");
  EXPECT_EQ(start.mode(), "Manual");
  EXPECT_EQ(draft, before);
  EXPECT_EQ(start.text(), "01:00:00:00");
}

TEST_F(GeneratorStartSettingsTest, AHugeStoredNumberIsShownAsItIs) {
  draft.generatorStartHours = std::numeric_limits<std::int64_t>::max();
  GeneratorStartSettings start(draft, wall.services());
  EXPECT_EQ(start.text(), "9223372036854775807:00:00:00");
  start.settleText();
  EXPECT_EQ(start.text(), "23:00:00:00");
}

struct TypedStart {
  const char* typed;
  MTCFrameRate rate;
  const char* settled;
};

class TypedStartTime : public testing::TestWithParam<TypedStart> {};

TEST_P(TypedStartTime, IsBroughtIntoItsRange) {
  Wall wall;
  wall.open();
  ReaderSnapshot draft;
  draft.generatorFrameRate = GetParam().rate;
  draft.generatorStartHours = 2;
  draft.generatorStartMinutes = 3;
  draft.generatorStartSeconds = 4;
  draft.generatorStartFrames = 5;
  GeneratorStartSettings start(draft, wall.services());
  start.setText(QString::fromUtf8(GetParam().typed));
  EXPECT_EQ(startOf(draft), "02:03:04:05") << "nothing is taken before the text is settled";
  start.settleText();
  EXPECT_EQ(start.text().toStdString(), GetParam().settled);
  EXPECT_EQ(startOf(draft), GetParam().settled);
}

INSTANTIATE_TEST_SUITE_P(Texts, TypedStartTime,
                         testing::Values(TypedStart{"25:99:99:99", MTCFrameRate::fps25, "23:59:59:24"},
                                         TypedStart{"25:99:99:99", MTCFrameRate::fps24, "23:59:59:23"},
                                         TypedStart{"25:99:99:99", MTCFrameRate::fps30, "23:59:59:29"},
                                         TypedStart{"10:01:00:29", MTCFrameRate::fps2997, "10:01:00:29"},
                                         TypedStart{"10:01:00:00", MTCFrameRate::fps2997, "10:01:00:00"},
                                         TypedStart{"10:20:30", MTCFrameRate::fps25, "02:03:04:05"},
                                         TypedStart{"10:20:30:12:1", MTCFrameRate::fps25, "02:03:04:05"},
                                         TypedStart{"", MTCFrameRate::fps25, "02:03:04:05"},
                                         TypedStart{":::", MTCFrameRate::fps25, "00:00:00:00"},
                                         TypedStart{"10:abc:30:12", MTCFrameRate::fps25, "10:00:30:12"},
                                         TypedStart{"10:2O:30:12", MTCFrameRate::fps25, "10:00:30:12"},
                                         TypedStart{"-1:-2:-3:-4", MTCFrameRate::fps25, "00:00:00:00"},
                                         TypedStart{"+9:+8:7:6", MTCFrameRate::fps25, "09:08:07:06"},
                                         TypedStart{"+-9:--8:7:6", MTCFrameRate::fps25, "00:00:07:06"},
                                         TypedStart{" 9: 8:7:6 ", MTCFrameRate::fps25, "00:00:07:00"},
                                         TypedStart{"9.5:8,5:0x7:6", MTCFrameRate::fps25, "00:00:00:06"},
                                         TypedStart{"0009:008:7:6", MTCFrameRate::fps25, "09:08:07:06"},
                                         TypedStart{"99999999999999999999:1:1:1", MTCFrameRate::fps25, "00:01:01:01"},
                                         TypedStart{"9223372036854775807:1:1:1", MTCFrameRate::fps25, "23:01:01:01"},
                                         TypedStart{"10;20;30;12", MTCFrameRate::fps2997, "02:03:04:05"},
                                         TypedStart{"١:2:3:4", MTCFrameRate::fps25, "00:02:03:04"}));

}  // namespace
}  // namespace tallyrig
