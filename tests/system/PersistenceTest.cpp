#include <nlohmann/json.hpp>

#include "system/SystemTest.h"

namespace tallyrig {
namespace {

using Persistence = SystemTest;
using Json = nlohmann::ordered_json;

Json parse(const std::string& text) {
  return Json::parse(text, nullptr, false);
}

std::vector<std::string> labels(const Json& list) {
  std::vector<std::string> result;
  for (const Json& card : list) result.push_back(card.value("label", ""));
  return result;
}

TEST_F(Persistence, TheFirstStartWritesOneDefaultCard) {
  program().start();
  ASSERT_TRUE(program().says("ReaderInstance: no device selected"));
  const Json list = parse(program().readReaders());
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0]["label"], "Reader 1");
  EXPECT_EQ(list[0]["cardRole"], "Reader");
  EXPECT_EQ(list[0]["sourceType"], "LTC");
  EXPECT_EQ(list[0]["backgroundColorHex"], "#2A3A6E");
  EXPECT_EQ(list[0]["outputLevelDBFS"], -6.0);
  EXPECT_FALSE(list[0].contains("selectedDeviceName"));
  EXPECT_TRUE(program().quit());
}

TEST_F(Persistence, AnOrderlyEndSavesWhatTheCardsHaveLearnt) {
  startRig();
  rig().add({.name = "stage", .description = "Stage Box 8", .channels = 8});
  program().writeReaders(readersFile({{.label = "FOH", .deviceName = "Stage Box 8", .channel = 5}}));
  program().start();
  ASSERT_TRUE(program().says("LTCReceiver: subscribed Stage Box 8, id "));
  ASSERT_TRUE(program().quit());

  const Json list = parse(program().readReaders());
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0]["label"], "FOH");
  EXPECT_EQ(list[0]["selectedChannel"], 5);
  // The file gave the device's name only; its number was found out while running.
  const std::string subscribed = program().lastLine();
  EXPECT_NE(subscribed.find("id " + std::to_string(list[0]["selectedDeviceID"].get<unsigned>()) + ","),
            std::string::npos)
      << subscribed;
  EXPECT_EQ(list[0]["id"].get<std::string>().size(), 36U);
}

TEST_F(Persistence, APowerCutLeavesAWholeFileAndTheNextStartReadsIt) {
  program().writeReaders(readersFile({{.label = "One"}, {.label = "Two", .colour = "#803010"}}));
  program().start();
  ASSERT_TRUE(program().says("ReaderInstance: no device selected"));
  ASSERT_TRUE(program().says("ReaderInstance: no device selected"));
  ASSERT_TRUE(program().cut());
  EXPECT_EQ(labels(parse(program().readReaders())), (std::vector<std::string>{"One", "Two"}));

  program().start();
  ASSERT_TRUE(program().says("ReaderInstance: no device selected"));
  ASSERT_TRUE(program().quit());
  EXPECT_EQ(labels(parse(program().readReaders())), (std::vector<std::string>{"One", "Two"}));
}

TEST_F(Persistence, APowerCutRightAfterACardWasAddedKeepsIt) {
  program().writeReaders(readersFile({{.label = "One"}}));
  program().start();
  ASSERT_TRUE(program().says("ReaderInstance: no device selected"));
  ASSERT_TRUE(
      shows("one-card", [&](const QImage& picture) { return findCard(picture, QColor("#104080")).has_value(); }));
  ASSERT_TRUE(pressAddReader());
  // An added card starts before the list is saved: the file is there a moment after its line.
  ASSERT_TRUE(program().says("ReaderInstance: no device selected"));
  EXPECT_TRUE(shows("two-cards", [&](const QImage&) {
    return labels(parse(program().readReaders())) == std::vector<std::string>{"One", "Reader 2"};
  }));
  ASSERT_TRUE(program().cut());
  EXPECT_EQ(labels(parse(program().readReaders())), (std::vector<std::string>{"One", "Reader 2"}));
}

TEST_F(Persistence, AnUnchangedListIsNotWrittenAgain) {
  program().writeReaders(readersFile({}));
  const auto before = std::filesystem::last_write_time(program().readersPath());
  program().start();
  ASSERT_TRUE(shows("empty-wall", [&](const QImage&) { return screen().window("Tallyrig").has_value(); }));
  ASSERT_TRUE(program().quit());
  EXPECT_EQ(parse(program().readReaders()), Json::array());
  EXPECT_EQ(std::filesystem::last_write_time(program().readersPath()), before);
}

TEST_F(Persistence, ADamagedFileGivesWayToTheDefaultCard) {
  const std::string whole = readersFile({{.label = "One"}, {.label = "Two"}});
  for (const std::string& damaged : {whole.substr(0, whole.size() / 2), std::string("\0\0\0\0", 4), std::string(),
                                     std::string(R"([{"tileSize":"Enormous"}])")}) {
    program().writeReaders(damaged);
    program().start();
    ASSERT_TRUE(program().says("ReaderInstance: no device selected"));
    EXPECT_EQ(labels(parse(program().readReaders())), std::vector<std::string>{"Reader 1"});
    ASSERT_TRUE(program().quit());
  }
}

}  // namespace
}  // namespace tallyrig
