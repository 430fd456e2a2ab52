#include <algorithm>
#include <chrono>

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

using Display = SystemTest;

TEST_F(Display, TheDigitsRunWithTheCodeOnTheLine) {
  startRig();
  rig().add({.name = "stage", .description = "Stage Box", .channels = 8, .properties = {}});
  program().writeReaders(readersFile({{.label = "FOH", .deviceName = "Stage Box", .channel = 4}}));
  program().start();
  ASSERT_TRUE(program().says("LTCReceiver: subscribed Stage Box"));
  const auto truth = encodeReference({.rate = "25", .start = "10:59:57:00", .frames = 200});
  ASSERT_TRUE(truth);
  const auto sound = rig().play("stage", {4}, {truth->samples});
  ASSERT_TRUE(program().says("LTCReceiver: channel 5 first decoded frame "));
  EXPECT_TRUE(showsBorder("signal", "#104080", kSignalGreen));

  // A picture shows the frame of some instant between when it was asked for and when it was there. Before it is asked
  // for, what is shown can be older by a tick of the clock and the time that painting takes.
  constexpr std::int64_t kPainting = 150'000'000;
  const auto frameAt = [&](std::int64_t nanos) {
    return static_cast<int>((nanos - static_cast<std::int64_t>(sound->startNanos())) * 25 / 1'000'000'000);
  };
  int previous = 0;
  for (int picture = 1; picture <= 5; ++picture) {
    const std::int64_t before = nowNanos();
    const QImage image = screen().screenshot("running-" + std::to_string(picture));
    const std::int64_t after = nowNanos();
    const auto card = findCard(image, QColor("#104080"));
    ASSERT_TRUE(card);
    const auto digits = readDigits(image, *card);
    ASSERT_TRUE(digits);
    const auto found = std::find(truth->timecodes.begin(), truth->timecodes.end(), *digits);
    ASSERT_NE(found, truth->timecodes.end()) << *digits << " was never sent";
    const int frame = static_cast<int>(found - truth->timecodes.begin());
    EXPECT_GE(frame, frameAt(before - kPainting)) << *digits;
    EXPECT_LE(frame, frameAt(after)) << *digits;
    EXPECT_GT(frame, previous);
    previous = frame;
  }

  ASSERT_TRUE(program().says("LTCReceiver: channel 5 decoder reset after signal loss"));
  EXPECT_TRUE(showsBorder("no-signal", "#104080", kIdleRed));
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
