#include "platform/pipewire/MidiCycle.h"

namespace tallyrig {
namespace {

constexpr HostTime kStart{5'000'000'000};

TEST(MidiCycle, AnInstantIsTheNearestSample) {
  const MidiCycle cycle{.start = kStart, .frames = 1024, .rate = 48000};
  EXPECT_EQ(cycle.offsetOf(kStart), 0U);
  EXPECT_EQ(cycle.offsetOf({kStart.ticks + 10'416}), 0U);
  EXPECT_EQ(cycle.offsetOf({kStart.ticks + 10'417}), 1U);
  EXPECT_EQ(cycle.offsetOf({kStart.ticks + 10'000'000}), 480U);
}

TEST(MidiCycle, WhatIsPastTheEndsIsAtTheEnds) {
  const MidiCycle cycle{.start = kStart, .frames = 1024, .rate = 48000};
  EXPECT_EQ(cycle.offsetOf({0}), 0U);
  EXPECT_EQ(cycle.offsetOf(cycle.end() - HostDuration{1}), 1023U);
  EXPECT_EQ(cycle.offsetOf({~std::uint64_t{0}}), 1023U);
}

TEST(MidiCycle, InputIsOneCycleOlderThanOutput) {
  for (const std::uint32_t rate : {44100U, 48000U, 96000U, 192000U}) {
    for (const std::uint32_t frames : {16U, 1024U, 8192U}) {
      const MidiCycle out{.start = kStart, .frames = frames, .rate = rate};
      const MidiCycle in{.start = out.end(), .frames = frames, .rate = rate};
      for (const std::uint32_t offset : {0U, 1U, frames / 2, frames - 1}) {
        const HostTime instant = in.instantOfInput(offset);
        EXPECT_EQ(instant, kStart + out.distanceOf(offset));
        EXPECT_EQ(out.offsetOf(instant), offset);
      }
    }
  }
}

TEST(MidiCycle, AnInstantSentIsReceivedWithinHalfASample) {
  const MidiCycle out{.start = kStart, .frames = 2048, .rate = 44100};
  const MidiCycle in{.start = out.end(), .frames = 2048, .rate = 44100};
  for (std::uint64_t nanos = 0; nanos < out.duration().ticks - 12'000; nanos += 997) {
    const HostTime sent{kStart.ticks + nanos};
    const HostTime received = in.instantOfInput(out.offsetOf(sent));
    EXPECT_LE(std::max((received - sent).ticks, (sent - received).ticks), 11'339U) << nanos;
  }
}

}  // namespace
}  // namespace tallyrig
