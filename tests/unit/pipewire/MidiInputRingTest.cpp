#include "platform/pipewire/MidiInputRing.h"

#include <numeric>
#include <thread>

#include "platform/RealtimeScope.h"

namespace tallyrig {
namespace {

using testing::ElementsAre;

constexpr HostTime kLater{1'000'000};

using Bytes = std::vector<std::uint8_t>;

Bytes counting(std::size_t size) {
  Bytes bytes(size);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
  return bytes;
}

TEST(MidiInputRing, BytesComeBackWithTheirInstants) {
  MidiInputRing ring;
  ring.write({10}, {110}, Bytes{0xF1, 0x01});
  ring.write({20}, {120}, Bytes{0xF8});
  ring.endCycle();
  const auto first = ring.read(kLater);
  ASSERT_TRUE(first);
  EXPECT_EQ(first->instant.ticks, 10U);
  EXPECT_THAT(first->bytes, ElementsAre(0xF1, 0x01));
  const auto second = ring.read(kLater);
  ASSERT_TRUE(second);
  EXPECT_EQ(second->instant.ticks, 20U);
  EXPECT_THAT(second->bytes, ElementsAre(0xF8));
  EXPECT_FALSE(ring.read(kLater));
}

TEST(MidiInputRing, NothingIsReadBeforeItIsDue) {
  MidiInputRing ring;
  ring.write({10}, {110}, Bytes{1});
  ring.write({20}, {120}, Bytes{2});
  ring.endCycle();
  EXPECT_FALSE(ring.read({109}));
  EXPECT_TRUE(ring.read({110}));
  EXPECT_FALSE(ring.read({119}));
  EXPECT_TRUE(ring.read({120}));
}

TEST(MidiInputRing, EventsOfOneInstantAreOnePacket) {
  MidiInputRing ring;
  ring.write({10}, {110}, Bytes{0xF0, 1});
  ring.write({10}, {110}, Bytes{2, 0xF7});
  ring.write({11}, {111}, Bytes{3});
  ring.endCycle();
  EXPECT_THAT(ring.read(kLater)->bytes, ElementsAre(0xF0, 1, 2, 0xF7));
  EXPECT_THAT(ring.read(kLater)->bytes, ElementsAre(3));
}

TEST(MidiInputRing, EventsOfTwoCyclesAreTwoPacketsEvenAtOneInstant) {
  MidiInputRing ring;
  ring.write({10}, {110}, Bytes{1});
  ring.endCycle();
  ring.write({10}, {110}, Bytes{2});
  ring.endCycle();
  EXPECT_THAT(ring.read(kLater)->bytes, ElementsAre(1));
  EXPECT_THAT(ring.read(kLater)->bytes, ElementsAre(2));
}

TEST(MidiInputRing, ACycleIsSeenWhenItHasEnded) {
  MidiInputRing ring;
  ring.write({10}, {110}, Bytes{1});
  EXPECT_FALSE(ring.read(kLater));
  ring.write({10}, {110}, Bytes{2});
  ring.endCycle();
  EXPECT_THAT(ring.read(kLater)->bytes, ElementsAre(1, 2));
}

TEST(MidiInputRing, ALongEventIsOnePacket) {
  MidiInputRing ring;
  for (const std::size_t size : {39U, 40U, 41U, 80U, 4000U}) {
    ring.write({10}, {110}, counting(size));
    ring.endCycle();
    EXPECT_EQ(ring.read(kLater)->bytes, counting(size)) << size;
  }
}

TEST(MidiInputRing, NoBytesAreNoPacket) {
  MidiInputRing ring;
  ring.write({10}, {110}, {});
  ring.endCycle();
  EXPECT_FALSE(ring.read(kLater));
}

TEST(MidiInputRing, WhatFindsNoRoomIsLostAsAWholeAndCounted) {
  MidiInputRing ring(4);
  ring.write({1}, {1}, counting(100));
  ring.write({2}, {2}, counting(100));
  ring.write({3}, {3}, Bytes{3});
  ring.write({4}, {4}, Bytes{4});
  ring.endCycle();
  EXPECT_EQ(ring.takeLosses(), 2U);
  EXPECT_EQ(ring.takeLosses(), 0U);
  EXPECT_EQ(ring.read(kLater)->bytes, counting(100));
  EXPECT_THAT(ring.read(kLater)->bytes, ElementsAre(3));
  EXPECT_FALSE(ring.read(kLater));
  ring.write({5}, {5}, counting(160));
  ring.endCycle();
  EXPECT_EQ(ring.read(kLater)->bytes, counting(160));
}

TEST(MidiInputRing, TwoThreadsLoseNothingAndMixNothing) {
  constexpr std::uint64_t kCycles = 20'000;
  MidiInputRing ring(256);
  std::atomic<std::uint64_t> read = 0;
  std::thread writer([&] {
    for (std::uint64_t cycle = 0; cycle < kCycles; ++cycle) {
      while (cycle - read.load() > 40) std::this_thread::yield();
      const RealtimeScope scope;
      const std::array<std::uint8_t, 60> bytes{static_cast<std::uint8_t>(cycle)};
      ring.write({cycle}, {cycle}, std::span(bytes).first(1 + cycle % 60));
      ring.write({cycle}, {cycle}, std::span(bytes).first(1));
      ring.endCycle();
    }
  });
  for (std::uint64_t cycle = 0; cycle < kCycles;) {
    const auto packet = ring.read({kCycles});
    if (!packet) {
      std::this_thread::yield();
      continue;
    }
    ASSERT_EQ(packet->instant.ticks, cycle);
    ASSERT_EQ(packet->bytes.size(), 2 + cycle % 60);
    ASSERT_EQ(packet->bytes.front(), static_cast<std::uint8_t>(cycle));
    ASSERT_EQ(packet->bytes.back(), static_cast<std::uint8_t>(cycle));
    read = ++cycle;
  }
  writer.join();
  EXPECT_EQ(ring.takeLosses(), 0U);
}

}  // namespace
}  // namespace tallyrig
