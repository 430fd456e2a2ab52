#include "platform/simulated/SimulatedMidiCable.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>

#include "platform/simulated/SimulatedClock.h"

using namespace std::chrono_literals;

namespace tallyrig {
namespace {

using Bytes = std::vector<std::uint8_t>;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t kSeed = 5;

/// A cable on ticks of 125/3 ns, so that a millisecond is 24000 ticks.
class SimulatedMidiCableTest : public testing::Test {
 protected:
  static constexpr std::uint64_t kMillisecond = 24000;

  SimulatedMidiCable cableWith(const SimulatedMidiCableOptions& options, std::uint64_t seed = kSeed) {
    return {clock, options, seed};
  }

  static void send(SimulatedMidiCable& cable, const Bytes& bytes, std::uint64_t at) { cable.transmit(bytes, {at}); }

  SimulatedClock clock{{125, 3}};
};

TEST_F(SimulatedMidiCableTest, BringsAMessageAfterItsLatencyWithTheInstantOfArrival) {
  SimulatedMidiCable cable = cableWith({.latency = 2ms});
  EXPECT_EQ(cable.nextDelivery(), std::nullopt);
  send(cable, {0xF1, 0x23}, 1000);
  EXPECT_EQ(cable.nextDelivery(), HostTime{1000 + 2 * kMillisecond});
  EXPECT_THAT(cable.deliver({999 + 2 * kMillisecond}), IsEmpty());
  EXPECT_THAT(cable.deliver({1000 + 2 * kMillisecond}),
              ElementsAre(SimulatedMidiPacket{{1000 + 2 * kMillisecond}, {0xF1, 0x23}}));
  EXPECT_EQ(cable.nextDelivery(), std::nullopt);
}

TEST_F(SimulatedMidiCableTest, JitterStaysWithinItsBoundAndKeepsTheOrder) {
  SimulatedMidiCable cable = cableWith({.latency = 1ms, .jitter = 5ms});
  for (std::uint64_t i = 0; i < 500; ++i) send(cable, {static_cast<std::uint8_t>(i % 128)}, i * kMillisecond);
  const auto packets = cable.deliver({1000 * kMillisecond});
  ASSERT_EQ(packets.size(), 500u);
  std::uint64_t latest = 0;
  std::uint64_t shortest = kMillisecond * 100, longest = 0;
  for (std::uint64_t i = 0; i < 500; ++i) {
    EXPECT_EQ(packets[i].bytes, Bytes{static_cast<std::uint8_t>(i % 128)});
    EXPECT_GE(packets[i].hostTime.ticks, latest);
    latest = packets[i].hostTime.ticks;
    shortest = std::min(shortest, latest - i * kMillisecond);
    longest = std::max(longest, latest - i * kMillisecond);
  }
  EXPECT_GE(shortest, kMillisecond);
  EXPECT_LE(longest, 6 * kMillisecond);
  EXPECT_GT(longest, shortest + 3 * kMillisecond) << "seed " << kSeed;
}

TEST_F(SimulatedMidiCableTest, MergesWhatArrivesWithinTheWindowUnderTheFirstStamp) {
  SimulatedMidiCable cable = cableWith({.mergeWindow = 3ms});
  send(cable, {1}, 10 * kMillisecond);
  send(cable, {2, 3}, 13 * kMillisecond);
  send(cable, {4}, 13 * kMillisecond + 1);
  EXPECT_EQ(cable.nextDelivery(), HostTime{13 * kMillisecond});
  EXPECT_THAT(cable.deliver({13 * kMillisecond}), ElementsAre(SimulatedMidiPacket{{10 * kMillisecond}, {1, 2, 3}}));
  EXPECT_EQ(cable.nextDelivery(), HostTime{16 * kMillisecond + 1});
}

TEST_F(SimulatedMidiCableTest, AWindowOfNothingMergesEqualInstantsOnly) {
  SimulatedMidiCable cable = cableWith({.mergeWindow = 0ns});
  send(cable, {1}, 100);
  send(cable, {2}, 100);
  send(cable, {3}, 101);
  EXPECT_THAT(cable.deliver({200}), ElementsAre(SimulatedMidiPacket{{100}, {1, 2}}, SimulatedMidiPacket{{101}, {3}}));
}

TEST_F(SimulatedMidiCableTest, DrawsTheOrderWithinAPacket) {
  SimulatedMidiCable cable = cableWith({.mergeWindow = 0ns, .reorders = true});
  std::map<Bytes, int> orders;
  for (std::uint64_t i = 0; i < 600; ++i) {
    for (std::uint8_t byte = 1; byte <= 3; ++byte) send(cable, {byte, byte}, i);
    const auto packets = cable.deliver({i});
    ASSERT_EQ(packets.size(), 1u);
    ++orders[packets[0].bytes];
  }
  EXPECT_EQ(orders.size(), 6u) << "three messages, each whole, in every order";
  for (const auto& [bytes, count] : orders) EXPECT_GT(count, 60);
}

TEST_F(SimulatedMidiCableTest, LosesItsPartOfTheMessages) {
  SimulatedMidiCable cable = cableWith({.loss = 0.25});
  for (std::uint64_t i = 0; i < 4000; ++i) send(cable, {1}, i);
  const auto arrived = static_cast<double>(cable.deliver({4000}).size());
  EXPECT_NEAR(arrived, 3000, 5 * std::sqrt(4000 * 0.25 * 0.75)) << "five standard deviations, seed " << kSeed;
  SimulatedMidiCable dead = cableWith({.loss = 1});
  send(dead, {1}, 0);
  EXPECT_EQ(dead.nextDelivery(), std::nullopt);
}

TEST_F(SimulatedMidiCableTest, SplitsOnlySystemExclusiveMessages) {
  SimulatedMidiCable cable = cableWith({.mergeWindow = 1ms, .longestSysExPacket = 4});
  send(cable, {0xF0, 1, 2, 3, 4, 5, 6, 7, 8, 0xF7}, 50);
  send(cable, {0x90, 1, 2, 0x80, 1, 2}, 50);
  EXPECT_THAT(cable.deliver({kMillisecond + 50}),
              ElementsAre(SimulatedMidiPacket{{50}, {0xF0, 1, 2, 3}}, SimulatedMidiPacket{{50}, {4, 5, 6, 7}},
                          SimulatedMidiPacket{{50}, {8, 0xF7}}, SimulatedMidiPacket{{50}, {0x90, 1, 2, 0x80, 1, 2}}));
}

TEST_F(SimulatedMidiCableTest, MayHideTheTime) {
  SimulatedMidiCable cable = cableWith({.latency = 1ms, .hidesTime = true});
  send(cable, {1}, 0);
  EXPECT_THAT(cable.deliver({kMillisecond}), ElementsAre(SimulatedMidiPacket{{0}, {1}}));
}

TEST_F(SimulatedMidiCableTest, IsReadAtMultiplesOfTheInterval) {
  SimulatedMidiCable cable = cableWith({.readInterval = 20ms});
  send(cable, {1}, 5 * kMillisecond);
  send(cable, {2}, 20 * kMillisecond);
  send(cable, {3}, 20 * kMillisecond + 1);
  EXPECT_EQ(cable.nextDelivery(), HostTime{20 * kMillisecond});
  EXPECT_THAT(cable.deliver({20 * kMillisecond}),
              ElementsAre(SimulatedMidiPacket{{5 * kMillisecond}, {1}}, SimulatedMidiPacket{{20 * kMillisecond}, {2}}));
  EXPECT_EQ(cable.nextDelivery(), HostTime{40 * kMillisecond});
}

TEST_F(SimulatedMidiCableTest, WhatIsOnTheWayWhenItIsCutStillArrives) {
  SimulatedMidiCable cable = cableWith({.latency = 1ms});
  send(cable, {1}, 0);
  cable.cut();
  send(cable, {2}, 1);
  cable.restore();
  send(cable, {3}, 2);
  EXPECT_THAT(cable.deliver({2 * kMillisecond}),
              ElementsAre(SimulatedMidiPacket{{kMillisecond}, {1}}, SimulatedMidiPacket{{kMillisecond + 2}, {3}}));
}

TEST_F(SimulatedMidiCableTest, EqualSeedsGiveEqualRuns) {
  const SimulatedMidiCableOptions options{.jitter = 4ms, .mergeWindow = 2ms, .reorders = true, .loss = 0.2};
  const auto run = [&](std::uint64_t seed) {
    SimulatedMidiCable cable = cableWith(options, seed);
    for (std::uint64_t i = 0; i < 300; ++i) send(cable, {static_cast<std::uint8_t>(i % 100)}, i * kMillisecond);
    return cable.deliver({1000 * kMillisecond});
  };
  EXPECT_EQ(run(1), run(1));
  EXPECT_NE(run(1), run(2));
}

}  // namespace
}  // namespace tallyrig
