#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>

#include "rig/ReferenceSignal.h"
#include "system/SystemTest.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

/// CLOCK_MONOTONIC, which the rig's stamps are read on too.
std::int64_t nowNanos() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

class Display : public SystemTest {
 protected:
  /// A busy machine can keep the program from painting and the server from playing. What is wrong on our side is wrong
  /// in every attempt.
  static constexpr int kPictures = 5;
  static constexpr int kAttempts = 5;

  /// Looks at the digits of a card while the code runs that a sound began to play at `start`. Whether each of
  /// `kPictures` has shown a frame that was there, and a later one than the picture before.
  bool showsWhatIsThere(const ReferenceSignal& truth, std::uint64_t start) {
    // A picture shows the frame of some instant between when it was asked for and when it was there. Before it is asked
    // for, what is shown can be older by a tick of the clock and the time that painting takes.
    constexpr std::int64_t kPainting = 150'000'000;
    const auto frameAt = [&](std::int64_t nanos) {
      return static_cast<int>((nanos - static_cast<std::int64_t>(start)) * 25 / 1'000'000'000);
    };
    int previous = 0;
    for (int picture = 1; picture <= kPictures; ++picture) {
      const std::int64_t before = nowNanos();
      const QImage image = screen().screenshot("running-" + std::to_string(picture));
      const std::int64_t after = nowNanos();
      const auto card = findCard(image, QColor("#104080"));
      const std::string digits = card ? readDigits(image, *card).value_or("no digits") : "no card";
      const auto found = std::find(truth.timecodes.begin(), truth.timecodes.end(), digits);
      EXPECT_NE(found, truth.timecodes.end()) << digits << " was never sent";
      const int frame = static_cast<int>(found - truth.timecodes.begin());
      const bool isThere = frame >= frameAt(before - kPainting) && frame <= frameAt(after) && frame > previous;
      if (!isThere) {
        std::printf("%s is frame %d, after %d; there were %d to %d\n", digits.c_str(), frame, previous, frameAt(before),
                    frameAt(after));
        return false;
      }
      previous = frame;
    }
    return true;
  }
};

TEST_F(Display, TheDigitsRunWithTheCodeOnTheLine) {
  startRig();
  rig().add({.name = "stage", .description = "Stage Box", .channels = 8, .properties = {}});
  program().writeReaders(readersFile({{.label = "FOH", .deviceName = "Stage Box", .channel = 4}}));
  program().start();
  ASSERT_TRUE(program().says("LTCReceiver: subscribed Stage Box"));
  const auto truth = encodeReference({.rate = "25", .start = "10:59:57:00", .frames = 200});
  ASSERT_TRUE(truth);
  bool isRight = false;
  for (int attempt = 0; attempt < kAttempts && !isRight; ++attempt) {
    const auto sound = rig().play("stage", {4}, {truth->samples});
    ASSERT_TRUE(program().says("LTCReceiver: channel 5 first decoded frame "));
    EXPECT_TRUE(showsBorder("signal", "#104080", kSignalGreen));
    isRight = showsWhatIsThere(*truth, sound->startNanos());
    if (sound->gaps() > 0) std::printf("the server left out cycles\n");
    ASSERT_TRUE(program().says("LTCReceiver: channel 5 decoder reset after signal loss"));
    EXPECT_TRUE(showsBorder("no-signal", "#104080", kIdleRed));
  }
  EXPECT_TRUE(isRight);
}

TEST_F(Display, AnIdleGeneratorShowsItsStartAtEverySize) {
  program().writeReaders(readersFile({
      {.label = "Small", .colour = "#104080", .tileSize = "Small", .generatorStart = "01:23:45:06"},
      {.label = "Medium", .colour = "#703010", .tileSize = "Medium", .generatorStart = "17:28:39:04"},
      {.label = "Large", .colour = "#105030", .tileSize = "Large", .generatorStart = "23:59:08:29"},
  }));
  // Cards of one wall have one size; the window that fits the medium ones is too small for the large one.
  program().writePreferences("[General]\nTallyrig.MainWindowManuallySized=true\n");
  program().start();
  EXPECT_TRUE(showsDigits("small", "#104080", "01:23:45:06"));
  EXPECT_TRUE(showsDigits("medium", "#703010", "17:28:39:04"));
  EXPECT_TRUE(showsDigits("large", "#105030", "23:59:08:29"));
  EXPECT_TRUE(program().quit());
}

}  // namespace
}  // namespace tallyrig
