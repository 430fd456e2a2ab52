// The buttons that make cards send, pressed in the real window, and what the cards then show.

#include <cstdlib>

#include "system/SystemTest.h"

namespace tallyrig {
namespace {

const std::string kClock = "#104080";
const std::string kRelay = "#301040";
const std::string kListener = "#5C2E00";
const std::string kStart = "10:00:00:00";

class Sending : public SystemTest {
 protected:
  /// A generator, a card that reads and re-emits it, and a card that reads what comes out of that.
  void startCards() {
    startRig();
    rig().add({.name = "stage", .description = "Stage Box", .channels = 4});
    program().writeReaders(
        readersFile({{.label = "Clock",
                      .colour = kClock,
                      .generatorStart = kStart,
                      .outputDeviceName = "Stage Box",
                      .outputChannel = 0},
                     {.label = "Relay",
                      .colour = kRelay,
                      .deviceName = "Stage Box",
                      .channel = 0,
                      .outputDeviceName = "Stage Box",
                      .outputChannel = 1},
                     {.label = "Listener", .colour = kListener, .deviceName = "Stage Box", .channel = 1}}));
    ASSERT_NO_FATAL_FAILURE(launch());
  }

  /// Starts the program, up to its idle cards.
  void launch() {
    program().start();
    for (int readers = 0; readers < 2; ++readers) ASSERT_TRUE(program().says("LTCReceiver: subscribed Stage Box"));
    ASSERT_TRUE(showsDigits("sending-idle", kClock, kStart));
    ASSERT_TRUE(showsBorder("sending-idle", kClock, kIdleRed));
    ASSERT_TRUE(showsBorder("sending-idle", kRelay, kIdleRed));
  }

  static std::optional<std::string> digitsOf(const QImage& picture, const std::string& colour) {
    const auto card = findCard(picture, QColor(QString::fromStdString(colour)));
    return card ? readDigits(picture, *card) : std::nullopt;
  }

  /// Frames since midnight at 30 a second, a new generator's rate.
  static int frames(const std::string& digits) {
    const auto field = [&](std::size_t at) { return std::stoi(digits.substr(at, 2)); };
    return ((field(0) * 60 + field(3)) * 60 + field(6)) * 30 + field(9);
  }

  /// Whether a picture comes in which two cards show one time. Each card rounds by itself to the frame that it is in.
  testing::AssertionResult showTheSame(const std::string& name, const std::string& one, const std::string& other) {
    constexpr int kMost = 2;
    std::string seen;
    const auto result = shows(name, [&](const QImage& picture) {
      const auto first = digitsOf(picture, one);
      const auto second = digitsOf(picture, other);
      seen = first.value_or("none") + " and " + second.value_or("none");
      return first && second && *first != kStart && std::abs(frames(*first) - frames(*second)) <= kMost;
    });
    if (result) return result;
    return testing::AssertionFailure() << "saw " << seen << "; " << result.message();
  }
};

TEST_F(Sending, CodeGoesFromCardToCardOutlivesItsSourceAndEndsAtTheButton) {
  ASSERT_NO_FATAL_FAILURE(startCards());

  ASSERT_TRUE(pressAction(kClock));
  ASSERT_TRUE(program().says("ReaderInstance[Clock]: started LTC output generation "));
  for (const std::string& colour : {kClock, kRelay, kListener}) {
    ASSERT_TRUE(showsBorder("sending-started", colour, kSignalGreen));
  }
  EXPECT_TRUE(showTheSame("sending-read", kClock, kRelay));
  EXPECT_TRUE(showTheSame("sending-re-emitted", kClock, kListener));

  ASSERT_TRUE(pressAction(kRelay));
  ASSERT_TRUE(showsBorder("sending-jammed", kRelay, kJamOrange));
  EXPECT_TRUE(showTheSame("sending-jammed", kClock, kListener));

  ASSERT_TRUE(pressAction(kClock));
  ASSERT_TRUE(program().says("ReaderInstance[Clock]: LTC output stopped at "));
  const std::string last = timecodeIn(program().lastLine());
  EXPECT_TRUE(showsDigits("sending-stopped", kClock, last));
  EXPECT_TRUE(showsBorder("sending-stopped", kClock, kIdleRed));
  EXPECT_TRUE(shows("sending-freewheel",
                    [&](const QImage& picture) {
                      const auto heard = digitsOf(picture, kListener);
                      return heard && frames(*heard) > frames(last) + 60;
                    }))
      << "two seconds after " << last << " the jammed card is not heard any more";
  EXPECT_TRUE(showsBorder("sending-freewheel", kRelay, kJamOrange));
  EXPECT_TRUE(showsBorder("sending-freewheel", kListener, kSignalGreen));

  // The source begins again from its start, and the jammed card goes there with it.
  ASSERT_TRUE(pressAction(kClock));
  ASSERT_TRUE(showsBorder("sending-restored", kClock, kSignalGreen));
  EXPECT_TRUE(showTheSame("sending-restored", kClock, kListener));
  EXPECT_TRUE(showsBorder("sending-restored", kRelay, kJamOrange));

  ASSERT_TRUE(pressAction(kRelay));
  EXPECT_TRUE(showsBorder("sending-unjammed", kRelay, kSignalGreen));
  ASSERT_TRUE(pressAction(kClock));
  ASSERT_TRUE(program().says("ReaderInstance[Clock]: LTC output stopped at "));
  EXPECT_TRUE(showsDigits("sending-ended", kClock, timecodeIn(program().lastLine())));
  EXPECT_TRUE(showsBorder("sending-ended", kRelay, kIdleRed));
  EXPECT_TRUE(showsBorder("sending-ended", kListener, kIdleRed));
  EXPECT_EQ(program().process().countLines("underrun"), 0);
  EXPECT_TRUE(program().quit());
}

TEST_F(Sending, ACardThatWasSendingIsIdleAfterTheNextStart) {
  ASSERT_NO_FATAL_FAILURE(startCards());
  ASSERT_TRUE(pressAction(kClock));
  ASSERT_TRUE(showsBorder("sending-started", kListener, kSignalGreen));
  ASSERT_TRUE(pressAction(kRelay));
  ASSERT_TRUE(showsBorder("sending-jammed", kRelay, kJamOrange));
  ASSERT_TRUE(program().quit());

  ASSERT_NO_FATAL_FAILURE(launch());
  EXPECT_EQ(program().process().countLines("started LTC output"), 0);
  EXPECT_TRUE(showsBorder("sending-idle-again", kListener, kIdleRed));
  EXPECT_TRUE(program().quit());
}

}  // namespace
}  // namespace tallyrig
