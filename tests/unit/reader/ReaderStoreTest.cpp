#include "reader/ReaderStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAbstractItemModel>
#include <chrono>
#include <string>
#include <vector>

#include "support/Wall.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

class ReaderStoreTest : public testing::Test {
 protected:
  static constexpr const char* kPath = "/home/user/.local/share/Tallyrig/readers.json";

  void openWith(std::string_view file) {
    world.files().put(kPath, file);
    wall.open();
  }

  std::vector<std::string> labels() const {
    std::vector<std::string> result;
    for (const auto& reader : wall.store->readers()) result.push_back(reader->settings().label);
    return result;
  }

  std::vector<std::int64_t> sortOrders() const {
    std::vector<std::int64_t> result;
    for (const auto& reader : wall.store->readers()) result.push_back(reader->settings().sortOrder);
    return result;
  }

  std::string file() { return wall.world.files().contents(kPath).value_or("(no file)"); }

  Wall wall;
  SimulatedWorld& world = wall.world;
};

TEST_F(ReaderStoreTest, AFirstStartMakesOneCardAndWritesIt) {
  wall.open();
  EXPECT_THAT(labels(), ElementsAre("Reader 1"));
  const auto& settings = wall.card(0).settings();
  EXPECT_EQ(settings.backgroundColorHex, "#2A3A6E");
  EXPECT_EQ(settings.tileSize, TileSize::medium);
  EXPECT_EQ(settings.sortOrder, 0);
  EXPECT_THAT(file(), HasSubstr(R"("label":"Reader 1")"));
}

TEST_F(ReaderStoreTest, AnUnreadableFileIsReplacedAtOnceBySilence) {
  openWith(R"([{"label":"Mine","tileSize":"Enormous"}])");
  EXPECT_THAT(labels(), ElementsAre("Reader 1"));
  EXPECT_THAT(file(), HasSubstr("Reader 1"));
  EXPECT_FALSE(world.hasLogged("ReaderStore"));
}

TEST_F(ReaderStoreTest, AnEmptyArrayIsAnEmptyWall) {
  openWith("[]");
  EXPECT_EQ(wall.store->count(), 0);
  EXPECT_EQ(world.files().writeCount(), 0);
}

TEST_F(ReaderStoreTest, AHugeFileIsNotRead) {
  openWith("[" + std::string((16U << 20U) + 1, ' ') + "]");
  EXPECT_THAT(labels(), ElementsAre("Reader 1"));
}

TEST_F(ReaderStoreTest, AReadErrorGivesTheDefaultCard) {
  world.files().put(kPath, "[]");
  world.files().fail(MemoryFileSystem::Operation::kReadFile, EIO);
  wall.open();
  EXPECT_THAT(labels(), ElementsAre("Reader 1"));
}

TEST_F(ReaderStoreTest, WithoutAFolderNothingIsLoadedOrSaved) {
  world.files().setApplicationSupportDirectory(std::nullopt);
  wall.open();
  EXPECT_THAT(labels(), ElementsAre("Reader 1"));
  wall.store->addReader();
  EXPECT_EQ(world.files().writeCount(), 0);
  EXPECT_FALSE(wall.store->persistenceURL());
}

TEST_F(ReaderStoreTest, LoadsInSortOrderKeepingTheNumbers) {
  openWith(R"([{"label":"c","sortOrder":40},{"label":"a","sortOrder":-2},{"label":"b","sortOrder":7},
               {"label":"b2","sortOrder":7}])");
  EXPECT_THAT(labels(), ElementsAre("a", "b", "b2", "c"));
  EXPECT_THAT(sortOrders(), ElementsAre(-2, 7, 7, 40));
  wall.store->removeReader(&wall.card(1));
  EXPECT_THAT(sortOrders(), ElementsAre(0, 1, 2));
}

TEST_F(ReaderStoreTest, AnUnchangedListIsNotRewritten) {
  wall.open();
  EXPECT_EQ(world.files().writeCount(), 1);
  wall.store->saveReaders();
  wall.store->saveReaders();
  EXPECT_EQ(world.files().writeCount(), 1);
  wall.close();
  wall.open();
  wall.store->saveReaders();
  EXPECT_EQ(world.files().writeCount(), 1);
}

TEST_F(ReaderStoreTest, NewCardsContinueNumbersColoursAndOrder) {
  openWith(R"([{"sortOrder":10}])");
  for (int i = 0; i < 8; ++i) EXPECT_TRUE(wall.store->addReader());
  EXPECT_EQ(wall.card(1).settings().label, "Reader 2");
  EXPECT_EQ(wall.card(1).settings().sortOrder, 11);
  EXPECT_EQ(wall.card(1).settings().backgroundColorHex, "#3D1E6E");
  EXPECT_EQ(wall.card(7).settings().backgroundColorHex, "#3A1A2A");
  EXPECT_EQ(wall.card(8).settings().backgroundColorHex, "#2A3A6E") << "the ninth card begins the palette anew";
  EXPECT_EQ(wall.card(8).settings().label, "Reader 9");
}

TEST_F(ReaderStoreTest, TheFirstCardOfAnEmptyWallHasOrderZero) {
  openWith("[]");
  wall.store->addReader();
  EXPECT_THAT(sortOrders(), ElementsAre(0));
}

TEST_F(ReaderStoreTest, LabelsCountCardsNotIdentities) {
  openWith("[]");
  for (int i = 0; i < 3; ++i) wall.store->addReader();
  wall.store->removeReader(&wall.card(1));
  wall.store->addReader();
  EXPECT_THAT(labels(), ElementsAre("Reader 1", "Reader 3", "Reader 3"));
}

TEST_F(ReaderStoreTest, ClearingSurvivesARelaunch) {
  wall.open();
  wall.store->addReader();
  wall.store->clearAllReaders();
  EXPECT_EQ(file(), "[]");
  wall.close();
  wall.open();
  EXPECT_EQ(wall.store->count(), 0);
}

TEST_F(ReaderStoreTest, SavedCardsStartOnceAndNewOnesAtOnce) {
  SimulatedDevice& desk = world.audio().addDevice({.name = "Desk", .inputGroups = {2}});
  openWith(
      R"([{"selectedDeviceID":1,"selectedDeviceName":"Desk"},{"selectedDeviceID":1,"selectedDeviceName":"Desk"}])");
  world.runFor(1s);
  EXPECT_TRUE(wall.hub->sessions().empty()) << "idle until the window appears";
  wall.store->startSavedReaders();
  wall.store->startSavedReaders();
  world.runFor(100ms);
  EXPECT_EQ(wall.hub->subscriptions().size(), 2U);
  EXPECT_EQ(desk.counters().opens, 1);
  EXPECT_EQ(world.logCount("LTCReceiver: subscribed"), 2U);
  wall.store->addReader();
  EXPECT_EQ(world.logCount("ReaderInstance: no device selected"), 1U);
  wall.store->removeReader(&wall.card(2));
  EXPECT_EQ(world.logCount("LTCReceiver: subscribed"), 2U) << "started cards are not started again";
}

TEST_F(ReaderStoreTest, RemovingACardBeforeTheStartStartsNone) {
  openWith(R"([{},{}])");
  wall.store->removeReader(&wall.card(0));
  EXPECT_FALSE(world.hasLogged("ReaderInstance: no device selected"));
}

TEST_F(ReaderStoreTest, RemovingLetsGoOfTheDevice) {
  SimulatedDevice& desk = world.audio().addDevice({.name = "Desk", .inputGroups = {2}});
  openWith(R"([{"selectedDeviceID":1,"selectedDeviceName":"Desk"}])");
  wall.store->startSavedReaders();
  world.runFor(100ms);
  ASSERT_TRUE(desk.isRunning());
  wall.store->removeReader(&wall.card(0));
  EXPECT_FALSE(desk.isRunning());
  EXPECT_EQ(file(), "[]");
}

TEST_F(ReaderStoreTest, TwoCardsOfOneIdentityGoTogether) {
  openWith(R"([{"id":"2F1C9D3E-7A54-4B0E-9C11-0A2B3C4D5E6F","label":"a"},
               {"id":"2F1C9D3E-7A54-4B0E-9C11-0A2B3C4D5E6F","label":"b"},{"label":"c"}])");
  wall.store->removeReader(&wall.card(0));
  EXPECT_THAT(labels(), ElementsAre("c"));
}

TEST_F(ReaderStoreTest, AStrangeCardIsNotRemoved) {
  wall.open();
  ReaderInstance stranger(wall.services(), {});
  wall.store->removeReader(&stranger);
  wall.store->removeReader(nullptr);
  EXPECT_EQ(wall.store->count(), 1);
}

TEST_F(ReaderStoreTest, ASettingIsSavedWhenTheCardHasBeenQuietForHalfASecond) {
  wall.open();
  const int before = world.files().writeCount();
  wall.card(0).set(&ReaderSnapshot::label, "Pit");
  world.runFor(400ms);
  wall.card(0).set(&ReaderSnapshot::label, "Pit 2");
  world.runFor(499ms);
  EXPECT_EQ(world.files().writeCount(), before);
  world.runFor(2ms);
  EXPECT_EQ(world.files().writeCount(), before + 1);
  EXPECT_THAT(file(), HasSubstr("Pit 2"));
}

TEST_F(ReaderStoreTest, ACardThatReceivesDoesNotComeToRestAndIsSavedExplicitly) {
  SimulatedDevice& desk = world.audio().addDevice({.name = "Desk", .inputGroups = {1}});
  LTCSignal signal{MTCFrameRate::fps25, Timecode{1, 0, 0, 0, MTCFrameRate::fps25}, 48000};
  desk.feed(0, [&](std::int64_t position, std::span<float> samples) { signal.fill(position, samples); });
  openWith(R"([{"selectedDeviceID":1,"selectedDeviceName":"Desk"}])");
  wall.store->startSavedReaders();
  world.runFor(1s);
  const int before = world.files().writeCount();
  wall.card(0).set(&ReaderSnapshot::label, "Pit");
  world.runFor(3s);
  EXPECT_EQ(world.files().writeCount(), before);
  wall.store->saveReaders();
  EXPECT_EQ(world.files().writeCount(), before + 1);
}

TEST_F(ReaderStoreTest, ARemovedCardSavesNoMore) {
  wall.open();
  wall.store->addReader();
  wall.card(1).set(&ReaderSnapshot::label, "x");
  wall.store->removeReader(&wall.card(1));
  const int before = world.files().writeCount();
  world.runFor(2s);
  EXPECT_EQ(world.files().writeCount(), before);
}

TEST_F(ReaderStoreTest, AFailedWriteIsALineAndTheListStands) {
  wall.open();
  world.files().fail(MemoryFileSystem::Operation::kWriteFile, ENOSPC);
  wall.store->addReader();
  EXPECT_EQ(world.logCount("ReaderStore: failed to save readers: No space left on device"), 1U);
  EXPECT_EQ(wall.store->count(), 2);
  world.files().fail(MemoryFileSystem::Operation::kWriteFile, 0);
  const int before = world.files().writeCount();
  wall.store->saveReaders();
  EXPECT_EQ(world.files().writeCount(), before) << "not tried again until the contents change";
  wall.store->addReader();
  EXPECT_EQ(world.files().writeCount(), before + 1);
}

TEST_F(ReaderStoreTest, AFolderThatCannotBeMadeIsALine) {
  world.files().fail(MemoryFileSystem::Operation::kCreateDirectories, EACCES);
  wall.open();
  EXPECT_EQ(world.logCount("ReaderStore: failed to save readers: Permission denied"), 1U);
}

TEST_F(ReaderStoreTest, MovesOneCardToAnothersPlace) {
  openWith(R"([{"label":"a"},{"label":"b"},{"label":"c"},{"label":"d"}])");
  wall.store->moveReader(0, 2, false);
  EXPECT_THAT(labels(), ElementsAre("b", "c", "a", "d"));
  EXPECT_EQ(world.files().writeCount(), 0);
  wall.store->moveReader(3, 0, true);
  EXPECT_THAT(labels(), ElementsAre("d", "b", "c", "a"));
  EXPECT_THAT(sortOrders(), ElementsAre(0, 1, 2, 3));
  EXPECT_EQ(world.files().writeCount(), 1);
}

TEST_F(ReaderStoreTest, MovesSeveralCardsWithTheDestinationCountedBefore) {
  openWith(R"([{"label":"a"},{"label":"b"},{"label":"c"},{"label":"d"},{"label":"e"}])");
  wall.store->moveReaders({0, 2}, 4, false);
  EXPECT_THAT(labels(), ElementsAre("b", "d", "a", "c", "e"));
  wall.store->moveReaders({3, 4}, 0, false);
  EXPECT_THAT(labels(), ElementsAre("c", "e", "b", "d", "a"));
  wall.store->moveReaders({0}, 5, false);
  EXPECT_THAT(labels(), ElementsAre("e", "b", "d", "a", "c"));
  wall.store->moveReaders({1}, 1, false);
  wall.store->moveReaders({9}, 0, false);
  EXPECT_THAT(labels(), ElementsAre("e", "b", "d", "a", "c"));
}

TEST_F(ReaderStoreTest, ModelChangesAreAnnouncedRowByRow) {
  openWith(R"([{"label":"a"},{"label":"b"},{"label":"c"}])");
  std::vector<std::string> events;
  QObject::connect(&*wall.store, &QAbstractItemModel::rowsMoved,
                   [&](const QModelIndex&, int from, int, const QModelIndex&, int to) {
                     events.push_back("move " + std::to_string(from) + " " + std::to_string(to));
                   });
  QObject::connect(&*wall.store, &QAbstractItemModel::rowsInserted,
                   [&](const QModelIndex&, int first, int) { events.push_back("insert " + std::to_string(first)); });
  QObject::connect(&*wall.store, &QAbstractItemModel::rowsRemoved,
                   [&](const QModelIndex&, int first, int) { events.push_back("remove " + std::to_string(first)); });
  wall.store->moveReader(2, 0, false);
  wall.store->addReader();
  wall.store->removeReader(&wall.card(1));
  EXPECT_THAT(events, ElementsAre("move 2 0", "insert 3", "remove 1"));
  EXPECT_EQ(wall.store->roleNames().value(Qt::UserRole + 1), "reader");
  const auto shown = wall.store->data(wall.store->index(0), Qt::UserRole + 1).value<ReaderInstance*>();
  EXPECT_EQ(shown, &wall.card(0));
}

TEST_F(ReaderStoreTest, TheDisplayModeGoesRoundAndIsSaved) {
  wall.open();
  wall.store->cycleDisplayMode(&wall.card(0));
  EXPECT_EQ(wall.card(0).settings().displayMode, TileDisplayMode::compact);
  EXPECT_THAT(file(), HasSubstr(R"("displayMode":"compact")"));
  wall.store->cycleDisplayMode(&wall.card(0));
  EXPECT_EQ(wall.card(0).settings().displayMode, TileDisplayMode::minimal);
  wall.store->cycleDisplayMode(&wall.card(0));
  EXPECT_EQ(wall.card(0).settings().displayMode, TileDisplayMode::full);
}

TEST_F(ReaderStoreTest, TheTileSizeReachesAllCardsOneTurnLater) {
  wall.open();
  wall.store->addReader();
  wall.store->setGlobalTileSize(TileSize::small);
  EXPECT_EQ(world.preferences().string("Tallyrig.GlobalTileSize"), "Small");
  EXPECT_EQ(wall.card(0).settings().tileSize, TileSize::medium);
  wall.store->setGlobalTileSize(TileSize::large);
  world.runPending();
  EXPECT_EQ(wall.card(0).settings().tileSize, TileSize::large);
  EXPECT_EQ(wall.card(1).settings().tileSize, TileSize::large);
  EXPECT_THAT(file(), testing::Not(HasSubstr("Small")));
  wall.store->addReader();
  EXPECT_EQ(wall.card(2).settings().tileSize, TileSize::large);
}

TEST_F(ReaderStoreTest, GlobalSettingsAreLoadedAndStrangeValuesIgnored) {
  world.preferences().setString("Tallyrig.GlobalTileSize", "Large");
  world.preferences().setString("Tallyrig.Appearance", "Dark");
  wall.open();
  EXPECT_EQ(wall.store->globalTileSize(), TileSize::large);
  EXPECT_EQ(wall.store->appearanceOverride(), AppearanceMode::dark);
  wall.close();
  world.preferences().setString("Tallyrig.GlobalTileSize", "large");
  world.preferences().setOtherType("Tallyrig.Appearance");
  wall.open();
  EXPECT_EQ(wall.store->globalTileSize(), TileSize::medium);
  EXPECT_EQ(wall.store->appearanceOverride(), AppearanceMode::system);
}

TEST_F(ReaderStoreTest, TheAppearanceIsStoredAtOnce) {
  wall.open();
  wall.store->setAppearanceOverrideText("Light");
  EXPECT_EQ(world.preferences().string("Tallyrig.Appearance"), "Light");
  wall.store->setAppearanceOverrideText("Neon");
  EXPECT_EQ(wall.store->appearanceOverrideText(), "Light");
}

TEST_F(ReaderStoreTest, OutputsInOtherCardsSettingsAreTaken) {
  openWith(R"([{"outputProtocol":"LTC","selectedOutputDeviceID":5,"selectedOutputChannel":1},
               {"outputProtocol":"MTC","selectedMIDIDestinationName":"Port"},
               {"outputProtocol":"Disabled","selectedOutputDeviceID":5,"selectedOutputChannel":2,
                "selectedMIDIDestinationName":"Other"}])");
  const QUuid nobody;
  EXPECT_FALSE(wall.store->isLTCOutputAvailable(5, 1, nobody));
  EXPECT_TRUE(wall.store->isLTCOutputAvailable(5, 1, wall.card(0).settings().id));
  EXPECT_TRUE(wall.store->isLTCOutputAvailable(5, 2, nobody));
  EXPECT_TRUE(wall.store->isLTCOutputAvailable(6, 1, nobody));
  EXPECT_FALSE(wall.store->isMTCDestinationAvailable("Port", nobody));
  EXPECT_TRUE(wall.store->isMTCDestinationAvailable("Port", wall.card(1).settings().id));
  EXPECT_TRUE(wall.store->isMTCDestinationAvailable("port", nobody));
  EXPECT_TRUE(wall.store->isMTCDestinationAvailable("Other", nobody));
}

TEST_F(ReaderStoreTest, LateStepsOfAStoreThatIsGoneDoNothing) {
  wall.open();
  wall.card(0).set(&ReaderSnapshot::label, "x");
  wall.store->setGlobalTileSize(TileSize::small);
  wall.close();
  const int before = world.files().writeCount();
  world.runFor(2s);
  EXPECT_EQ(world.files().writeCount(), before);
}

}  // namespace
}  // namespace tallyrig
