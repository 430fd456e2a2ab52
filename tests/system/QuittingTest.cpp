#include <chrono>

#include "rig/ReferenceSignal.h"
#include "system/SystemTest.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

class Quitting : public SystemTest {
 protected:
  /// Whether the question comes to be up, or not to be.
  testing::AssertionResult asks(bool wanted) {
    return shows(wanted ? "quit-asked" : "quit-answered",
                 [&](const QImage&) { return screen().window(kQuestion).has_value() == wanted; });
  }

  /// Clicks on the question's button that begins `fromRight` from its right edge.
  bool pressButton(int fromRight) {
    const auto size = screen().window(kQuestion);
    return size && screen().clickIn(kQuestion, {size->width() - fromRight, size->height() - 24 - 14});
  }

  static constexpr int kQuitButton = 24 + 30;
  static constexpr int kCancelButton = 24 + 65 + 12 + 30;
  static constexpr const char* kQuestion = "Quit Tallyrig[?]";
};

TEST_F(Quitting, TheCloseButtonAsksAndCancelLeavesTheCardsRunning) {
  startRig();
  rig().add({.name = "stage", .description = "Stage Box", .channels = 4, .properties = {}});
  program().writeReaders(readersFile({{.label = "FOH", .deviceName = "Stage Box", .channel = 2}}));
  program().start();
  ASSERT_TRUE(program().says("LTCReceiver: subscribed Stage Box"));
  ASSERT_TRUE(showsBorder("before-quit", "#104080", kIdleRed));
  ASSERT_TRUE(screen().key("alt+F4"));
  ASSERT_TRUE(asks(true));
  EXPECT_EQ(screen().window(kQuestion)->width(), 390);
  ASSERT_TRUE(pressButton(kCancelButton));
  ASSERT_TRUE(asks(false));
  EXPECT_TRUE(screen().window("Tallyrig").has_value());
  EXPECT_TRUE(program().process().isRunning());

  const auto truth = encodeReference({.rate = "25", .start = "10:59:57:00", .frames = 50});
  ASSERT_TRUE(truth);
  const auto sound = rig().play("stage", {2}, {truth->samples});
  EXPECT_TRUE(program().says("LTCReceiver: channel 3 first decoded frame "));
  EXPECT_TRUE(program().quit());
}

TEST_F(Quitting, TheQuitKeysAndTheQuitButtonEndTheProgramInOrder) {
  program().writeReaders(readersFile({{.label = "One"}}));
  program().start();
  ASSERT_TRUE(showsBorder("before-quit-keys", "#104080", kIdleRed));
  ASSERT_TRUE(screen().key("ctrl+q"));
  ASSERT_TRUE(asks(true));
  ASSERT_TRUE(pressButton(kQuitButton));
  EXPECT_TRUE(program().says("TallyrigApp: Tallyrig.confirmedApplicationQuit"));
  EXPECT_EQ(program().process().waitForExit(15s), 0) << program().process().output();
  EXPECT_NE(program().readReaders().find("\"One\""), std::string::npos);
}

TEST_F(Quitting, ReturnSaysQuitAndEscapeSaysCancel) {
  program().writeReaders(readersFile({{.label = "One"}}));
  program().start();
  ASSERT_TRUE(showsBorder("before-quit-by-key", "#104080", kIdleRed));
  ASSERT_TRUE(screen().key("ctrl+q"));
  ASSERT_TRUE(asks(true));
  ASSERT_TRUE(screen().key("Escape"));
  ASSERT_TRUE(asks(false));
  EXPECT_TRUE(program().process().isRunning());
  ASSERT_TRUE(screen().key("alt+F4"));
  ASSERT_TRUE(asks(true));
  ASSERT_TRUE(screen().key("Return"));
  EXPECT_EQ(program().process().waitForExit(15s), 0) << program().process().output();
}

}  // namespace
}  // namespace tallyrig
