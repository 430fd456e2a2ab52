#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mtc/MTCOutputWorker.h"
#include "mtc/MTCQuarterFrame.h"
#include "platform/simulated/SimulatedWorld.h"

namespace tallyrig {

using SentMessage = SimulatedMidiDestination::Received;

/// A second, at whose end no quarter frame of a stream begun before falls due.
inline constexpr std::chrono::milliseconds kAWhile{1003};

/// A worker that sends to a simulated destination, in a world whose tick is 125/3 ns.
class OutputWorkerFixture {
 public:
  OutputWorkerFixture() {
    EXPECT_EQ(world.midi().createClient(
                  "Test", [] {}, client),
              kPlatformOk);
    EXPECT_EQ(world.midi().createOutputPort(client, "Test", port), kPlatformOk);
  }

  HostTime now() { return world.clock().now(); }

  TimecodeAnchor anchorNow(std::int64_t hours, std::int64_t minutes, std::int64_t seconds, std::int64_t frames,
                           MTCFrameRate rate) {
    return {{hours, minutes, seconds, frames, rate}, now()};
  }

  void start(const TimecodeAnchor& anchor) {
    worker->start(port, desk.endpoint(), anchor, [this](PlatformStatus status) { errors.push_back(status); });
  }

  /// Lets the first refill happen, which may come a millisecond late.
  void runFirstRefill() { world.runFor(std::chrono::milliseconds(1)); }

  HostDuration ticks(std::uint64_t nanos) { return world.clock().ticksFromNanos(nanos); }

  /// What has left and what waits, in order.
  std::vector<SentMessage> sent() {
    std::vector<SentMessage> all = desk.received();
    all.insert(all.end(), desk.waiting().begin(), desk.waiting().end());
    return all;
  }

  static bool isQuarterFrame(const SentMessage& message) { return message.bytes[0] == 0xF1; }
  static bool isLocate(const SentMessage& message) { return message.bytes[0] == 0xF0; }
  static int pieceOf(const SentMessage& message) { return message.bytes.at(1) >> 4; }

  std::vector<SentMessage> quarterFrames() {
    std::vector<SentMessage> result;
    for (const auto& message : sent()) {
      if (isQuarterFrame(message)) result.push_back(message);
    }
    return result;
  }
  std::size_t locateCount() { return sent().size() - quarterFrames().size(); }

  /// The timecode of eight pieces from `first` on, put together by the table of the standard.
  static Timecode assembled(const std::vector<SentMessage>& messages, std::size_t first) {
    int nibbles[8] = {};
    for (std::size_t i = 0; i < 8; ++i) {
      const SentMessage& message = messages.at(first + i);
      EXPECT_EQ(message.bytes.size(), 2u);
      EXPECT_EQ(message.bytes[0], 0xF1);
      EXPECT_EQ(message.bytes[1] >> 4, static_cast<int>(i));
      nibbles[i] = message.bytes[1] & 15;
    }
    return {nibbles[6] + (nibbles[7] & 1) * 16, nibbles[4] + nibbles[5] * 16, nibbles[2] + nibbles[3] * 16,
            nibbles[0] + nibbles[1] * 16, static_cast<MTCFrameRate>(nibbles[7] >> 1)};
  }

  SimulatedWorld world{{.seed = 7, .tick = {125, 3}}};
  MIDIClientRef client = 0;
  MIDIPortRef port = 0;
  SimulatedMidiDestination& desk = world.midi().addDestination("Desk");
  std::shared_ptr<MTCOutputWorker> worker =
      std::make_shared<MTCOutputWorker>(world.clock(), world.scheduler(), world.log(), world.midi());
  std::vector<PlatformStatus> errors;
};

}  // namespace tallyrig
