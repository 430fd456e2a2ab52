#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

#include "mtc/MTCOutputGenerator.h"
#include "mtc/MTCQuarterFrameDecoder.h"
#include "platform/desktop/AsioScheduler.h"
#include "platform/desktop/SystemClocks.h"
#include "platform/simulated/LoopbackMidiSystem.h"
#include "unit/desktop/Await.h"

namespace tallyrig {
namespace {

/// A generator on the program's own queues and clock, heard over the built-in loopback.
class MTCOutputThreadsTest : public testing::Test {
 protected:
  void SetUp() override {
    decoder.onAnchor = [this](const TimecodeAnchor& anchor, double, double) {
      const HostTime reference{referenceTicks.load()};
      const TimecodeAnchor truth{{10, 0, 0, 0, MTCFrameRate::fps25}, reference};
      if (anchor.timecode != truth.extrapolated(anchor.hostTime, clock)) ++wrong;
      sequences.add();
    };
    midi.createClient(
        "Test", [] {}, client);
    midi.createInputPort(
        client, "Test",
        [this](std::span<const MidiPacket> packets) {
          for (const MidiPacket& packet : packets) {
            if (packet.bytes[0] == 0xF1) decoder.process(packet.bytes[1], packet.hostTime);
          }
        },
        input);
    midi.connectSource(input, midi.sources().at(0).endpoint);
  }

  void TearDown() override { midi.disposeClient(client); }

  const SystemHostClock clock;
  const SystemWallClock wallClock;
  Log log{clock, wallClock, [](std::string_view) {}};
  AsioScheduler scheduler;
  LoopbackMidiSystem midi{clock, scheduler};
  MIDIOutputPortManager ports{midi, log};
  MTCQuarterFrameDecoder decoder{clock, log};
  std::atomic<std::uint64_t> referenceTicks = 0;
  std::atomic<int> wrong = 0;
  test::EventCount sequences;
  MIDIClientRef client = 0;
  MIDIPortRef input = 0;
};

TEST_F(MTCOutputThreadsTest, WhatIsSentIsReadAsItWasTrueAtItsInstant) {
  MTCOutputGenerator generator(clock, scheduler, log, midi, ports);
  const HostTime begin = clock.now();
  referenceTicks = begin.ticks;
  generator.start("built-in midi loopback", {{10, 0, 0, 0, MTCFrameRate::fps25}, begin});
  ASSERT_TRUE(generator.isGenerating()) << generator.errorMessage().value_or("");
  EXPECT_TRUE(sequences.reaches(15));
  generator.stop();
  EXPECT_EQ(wrong, 0);
}

TEST_F(MTCOutputThreadsTest, MayBeStartedCorrectedAndStoppedAtAnyMoment) {
  for (int round = 0; round < 30; ++round) {
    MTCOutputGenerator generator(clock, scheduler, log, midi, ports);
    generator.start("Built-in MIDI Loopback", {{10, 0, 0, 0, MTCFrameRate::fps30}, clock.now()});
    for (int i = 0; i < 20; ++i) {
      generator.update({{i, 0, 0, 0, static_cast<MTCFrameRate>(i % 4)}, clock.now()});
      if (i == round) generator.stop();
    }
    if (round % 3 == 0) {
      generator.start("Built-in MIDI Loopback", {{10, 0, 0, 0, MTCFrameRate::fps24}, clock.now()});
    }
  }
}

}  // namespace
}  // namespace tallyrig
