#include <chrono>
#include <cstdio>

#include "rig/ReferenceSignal.h"
#include "system/SystemTest.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

class Receiving : public SystemTest {
 protected:
  /// A busy machine can make the server leave out a cycle, and code with it. What is wrong on our side is wrong in
  /// every attempt.
  static constexpr int kAttempts = 5;

  /// One card per channel of a duplex device "Stage Box".
  void startCards(int channels, const PipeWireRig::Options& options = {}) {
    startRig(options);
    rig().add({.name = "stage", .description = "Stage Box", .channels = channels});
    std::vector<CardSettings> cards;
    for (int channel = 0; channel < channels; ++channel) {
      cards.push_back({.label = "Channel " + std::to_string(channel + 1),
                       .colour = channel == 0 ? "#104080" : "#301040",
                       .deviceName = "Stage Box",
                       .channel = channel});
    }
    program().writeReaders(readersFile(cards));
    program().start();
    for (int channel = 0; channel < channels; ++channel) {
      ASSERT_TRUE(program().says("LTCReceiver: subscribed Stage Box"));
    }
  }
};

TEST_F(Receiving, TellsOfTheDeviceTheCodeAndItsEnd) {
  ASSERT_NO_FATAL_FAILURE(startCards(8));
  WatchedProcess& process = program().process();
  EXPECT_EQ(process.countLines("LTCAudioDeviceSession: opened shared IOProc Stage Box, id "), 1);
  EXPECT_EQ(process.countLines(", layout 8 @ 48000Hz, buffer 1024f, latency 0f, safety 0f"), 1);
  EXPECT_EQ(process.countLines("LTCAudioInputHub: joined existing device session Stage Box, id "), 7);
  EXPECT_EQ(process.countLines(", logical channel 1, hardware layout 8"), 1);
  EXPECT_EQ(process.countLines(", logical channel 8, hardware layout 8"), 1);

  const auto truth = encodeReference({.rate = "25", .start = "10:59:58:00", .frames = 75});
  ASSERT_TRUE(truth);
  std::string first;
  std::string quiet;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const auto sound = rig().play("stage", {0}, {truth->samples});
    ASSERT_TRUE(program().says("LTCReceiver: channel 1 signal active, peak 0.500"));
    ASSERT_TRUE(program().says("LTCReceiver: channel 1 first decoded frame "));
    first = timecodeIn(program().lastLine());
    ASSERT_TRUE(program().says("LTCReceiver: channel 1 signal quiet, last decoded frame "));
    quiet = timecodeIn(program().lastLine());
    ASSERT_TRUE(program().says("ReaderInstance[Channel 1]: input loss detected at confirmed "));
    ASSERT_TRUE(program().says("LTCReceiver: channel 1 decoder reset after signal loss"));
    if (first == truth->timecodes[1] && quiet == truth->timecodes[74]) break;
    std::printf("attempt %d: from %s to %s\n", attempt + 1, first.c_str(), quiet.c_str());
    // To the end of what a card has lost in between.
    sound->waitUntilDone(30s);
    program().waitUntilSilent();
  }
  EXPECT_EQ(first, truth->timecodes[1]);
  // Frame 73 is the last whose end is heard; at its end the time of frame 74 has come.
  EXPECT_EQ(quiet, truth->timecodes[74]);
  EXPECT_EQ(process.countLines("LTCReceiver: frame-end to publish latency "), 1);
  EXPECT_TRUE(showsDigits("lost-signal", "#104080", quiet));
  EXPECT_TRUE(program().quit());
}

}  // namespace
}  // namespace tallyrig
