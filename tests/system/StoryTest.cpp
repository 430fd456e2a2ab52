// A wall that is built from nothing in the real window, as somebody does it before a show.

#include <nlohmann/json.hpp>

#include "rig/ReferenceSignal.h"
#include "system/SystemTest.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using Json = nlohmann::ordered_json;

const std::string kFirstColour = "#2A3A6E";
const std::string kSecondColour = "#3D1E6E";
const std::string kTeal = "#005C6E";
constexpr const char* kQuitQuestion = "Quit Tallyrig[?]";
constexpr const char* kClearQuestion = "Clear all readers[?]";
/// A place on the title of the second menu.
constexpr QPoint kFileMenu{100, 23};

class Story : public SystemTest {
 protected:
  Json cards() { return Json::parse(program().readReaders(), nullptr, false); }
  /// Whether the file of cards comes to be as wanted.
  testing::AssertionResult saves(const std::string& name, const std::function<bool(const Json&)>& wanted) {
    const auto result = shows(name, [&](const QImage&) {
      const Json list = cards();
      return !list.is_discarded() && wanted(list);
    });
    return result ? result : testing::AssertionFailure() << program().readReaders() << "; " << result.message();
  }
  testing::AssertionResult showsCard(const std::string& name, const std::string& colour) {
    return shows(name, [&](const QImage& picture) {
      return findCard(picture, QColor(QString::fromStdString(colour))).has_value();
    });
  }
  /// Whether a window of this title comes to be there, or not to be.
  testing::AssertionResult showsWindow(const std::string& title, bool wanted) {
    return shows("story-window", [&](const QImage&) { return screen().window(title).has_value() == wanted; });
  }
  /// Opens a card's settings; its name then has the keyboard.
  testing::AssertionResult openSettings(const std::string& colour, const std::string& label) {
    if (const auto pressed = press(CardButton::kSettings, colour); !pressed) return pressed;
    if (const auto loaded = program().says("Settings[" + label + "]: loaded cached device registry"); !loaded)
      return loaded;
    return showsSettings(true);
  }
  /// Whether the settings come to be open, or not to be: nothing else has a wide field of the chief colour.
  testing::AssertionResult showsSettings(bool wanted) {
    return shows("story-settings", [&](const QImage& picture) {
      const auto button = findCard(picture, QColor(51, 102, 150));
      return (button && button->width() > 250) == wanted;
    });
  }
  /// Whether the warning that an output is taken stands in the settings.
  static bool warns(const QImage& picture) {
    const auto banner = findCard(picture, QColor::fromRgbF(1.0F, 0.7F, 0.0F));
    return banner && banner->width() > 250;
  }
  testing::AssertionResult keys(const std::vector<std::string>& names) {
    for (const std::string& name : names)
      if (!screen().key(name)) return testing::AssertionFailure() << "xdotool does not press " << name;
    return testing::AssertionSuccess();
  }
  /// Writes over the name that has the keyboard.
  testing::AssertionResult writeName(const std::string& name) {
    if (const auto chosen = keys({"ctrl+a"}); !chosen) return chosen;
    return screen().type(name) ? testing::AssertionSuccess() : testing::AssertionFailure() << "xdotool does not type";
  }
  /// Quits as a user does: asks, thinks better of it, asks again, and presses Return.
  testing::AssertionResult quitByHand() {
    for (const char* answer : {"Escape", "Return"}) {
      if (const auto asked = keys({"ctrl+q"}); !asked) return asked;
      if (const auto up = showsWindow(kQuitQuestion, true); !up) return up;
      if (const auto answered = keys({answer}); !answered) return answered;
      if (answer == std::string("Return")) break;
      if (const auto down = showsWindow(kQuitQuestion, false); !down) return down;
      if (!program().process().isRunning()) return testing::AssertionFailure() << "it has ended";
    }
    const auto status = program().process().waitForExit(15s);
    return status == 0 ? testing::AssertionSuccess() : testing::AssertionFailure() << program().process().output();
  }
  std::unique_ptr<RigSound> playCode(const std::string& start) {
    return rig().play("stage", {2}, {encodeReference({.rate = "25", .start = start, .frames = 1500})->samples});
  }
};

TEST_F(Story, AWallIsBuiltQuitFoundAgainAndCleared) {
  startRig();
  rig().add({.name = "stage", .description = "Stage Box", .channels = 4});
  program().writeReaders("[]");
  program().start();
  ASSERT_TRUE(showsWindow("Tallyrig", true));

  // A card gets its name, colour, input and output.
  ASSERT_TRUE(pressAddReader());
  ASSERT_TRUE(showsCard("story-added", kFirstColour));
  ASSERT_TRUE(openSettings(kFirstColour, "Reader 1"));
  ASSERT_TRUE(writeName("Front of house"));
  ASSERT_TRUE(keys({"Tab", "Right", "Right"}));                        // the third colour
  ASSERT_TRUE(keys({"Tab", "Tab", "s", "Tab", "3"}));                  // past the source: device and channel
  ASSERT_TRUE(keys({"Tab", "Tab", "Tab", "Right"}));                   // past the offset: LTC out
  ASSERT_TRUE(keys({"Tab", "Down", "Down", "Tab", "s", "Tab", "2"}));  // rate, device and channel
  ASSERT_TRUE(keys({"Tab", "Left", "Left"}));                          // and level
  EXPECT_EQ(cards().at(0)["label"], "Reader 1") << "nothing reaches the card before Apply";
  ASSERT_TRUE(pressApply());
  ASSERT_TRUE(showsSettings(false));
  ASSERT_TRUE(saves("story-applied", [](const Json& list) { return list.at(0)["label"] == "Front of house"; }));
  const Json first = cards().at(0);
  EXPECT_EQ(first["backgroundColorHex"], kTeal);
  EXPECT_EQ(first["selectedDeviceName"], "Stage Box");
  EXPECT_EQ(first["selectedChannel"], 2);
  EXPECT_EQ(first["outputProtocol"], "LTC");
  EXPECT_EQ(first["outputFrameRate"], "25");
  EXPECT_EQ(first["selectedOutputDeviceName"], "Stage Box");
  EXPECT_EQ(first["selectedOutputChannel"], 1);
  EXPECT_EQ(first["outputLevelDBFS"], -8.0);
  ASSERT_TRUE(program().says("LTCReceiver: subscribed Stage Box"));
  ASSERT_TRUE(showsCard("story-applied", kTeal));
  auto sound = playCode("01:00:00:00");
  EXPECT_TRUE(program().says("LTCReceiver: channel 3 first decoded frame 01:00:00:0"));
  EXPECT_TRUE(showsBorder("story-running", kTeal, kSignalGreen));
  sound.reset();

  // Another card wants the same output, is told who has it, and takes the next but one.
  ASSERT_TRUE(pressAddReader());
  ASSERT_TRUE(showsCard("story-second", kSecondColour));
  ASSERT_TRUE(openSettings(kSecondColour, "Reader 2"));
  ASSERT_TRUE(writeName("Backup"));
  ASSERT_TRUE(keys({"Tab", "Tab", "Tab", "Tab", "Tab", "Tab", "Right"}));  // its input stays without a device
  ASSERT_TRUE(keys({"Tab", "Tab", "s", "Tab", "2"}));
  ASSERT_TRUE(pressApply());
  ASSERT_TRUE(shows("story-conflict", warns));
  EXPECT_EQ(cards().at(1)["label"], "Reader 2") << "nothing of what is refused reaches the card";
  ASSERT_TRUE(keys({"shift+Tab", "shift+Tab", "Down", "Down"}));
  ASSERT_TRUE(pressApply());
  ASSERT_TRUE(showsSettings(false));
  ASSERT_TRUE(saves("story-settled", [](const Json& list) { return list.at(1)["label"] == "Backup"; }));
  EXPECT_EQ(cards().at(1)["selectedOutputChannel"], 3);
  EXPECT_EQ(cards().at(0), first);

  // All of it is there after the next start.
  const Json wall = cards();
  ASSERT_TRUE(quitByHand());
  EXPECT_EQ(cards(), wall);
  program().start();
  ASSERT_TRUE(program().says("LTCReceiver: subscribed Stage Box"));
  ASSERT_TRUE(showsCard("story-again", kTeal));
  ASSERT_TRUE(showsCard("story-again", kSecondColour));
  EXPECT_EQ(cards(), wall);
  sound = playCode("02:00:00:00");
  EXPECT_TRUE(program().says("LTCReceiver: channel 3 first decoded frame 02:00:00:0"));

  // The menu clears it, once that is confirmed.
  const auto askToClear = [&] {
    return screen().clickIn("Tallyrig", kFileMenu) ? keys({"Down", "Return"}) : testing::AssertionFailure();
  };
  ASSERT_TRUE(askToClear());
  ASSERT_TRUE(showsWindow(kClearQuestion, true));
  ASSERT_TRUE(keys({"Return"}));  // which is Cancel's here
  ASSERT_TRUE(showsWindow(kClearQuestion, false));
  EXPECT_EQ(cards().size(), 2U);
  ASSERT_TRUE(askToClear());
  ASSERT_TRUE(showsWindow(kClearQuestion, true));
  ASSERT_TRUE(keys({"Tab", "Return"}));
  EXPECT_TRUE(saves("story-cleared", [](const Json& list) { return list.empty(); }));
  EXPECT_TRUE(shows("story-empty", [](const QImage& picture) { return !findCard(picture, QColor(0, 0x5C, 0x6E)); }));
  EXPECT_TRUE(quitByHand());
}

}  // namespace
}  // namespace tallyrig
