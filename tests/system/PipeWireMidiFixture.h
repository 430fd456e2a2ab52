#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/desktop/AsioScheduler.h"
#include "platform/desktop/SystemClocks.h"
#include "platform/pipewire/PipeWireMidiSystem.h"
#include "support/KeptLog.h"
#include "support/PipeWireRig.h"
#include "support/PumpedQueue.h"

namespace tallyrig {

using MidiBytesList = std::vector<std::uint8_t>;

/// The program's own queues, and the test's thread for the main queue.
class PumpedScheduler : public Scheduler {
 public:
  explicit PumpedScheduler(SerialQueue& mainQueue) : mainQueue_(mainQueue) {}
  std::shared_ptr<SerialQueue> makeQueue(std::string label, QueuePriority priority) override {
    return workers_.makeQueue(std::move(label), priority);
  }
  SerialQueue& mainQueue() noexcept override { return mainQueue_; }

 private:
  SerialQueue& mainQueue_;
  AsioScheduler workers_;
};

/// What a port has read, message by message: what comes late comes together, in one packet. Any thread.
class MidiInbox {
 public:
  /// A message, or a part of a long one.
  struct Packet {
    HostTime instant;
    HostTime read;
    MidiBytesList bytes;
  };

  explicit MidiInbox(const HostClock& clock) : clock_(clock) {}

  MidiReadCallback callback() {
    return [this](std::span<const MidiPacket> packets) {
      const HostTime now = clock_.now();
      const std::lock_guard lock(mutex_);
      for (const auto& packet : packets) add(packet, now);
    };
  }

  std::vector<Packet> packets() const {
    const std::lock_guard lock(mutex_);
    return packets_;
  }
  std::size_t count() const { return packets().size(); }
  MidiBytesList bytes() const {
    MidiBytesList all;
    for (const auto& packet : packets()) all.insert(all.end(), packet.bytes.begin(), packet.bytes.end());
    return all;
  }
  void clear() {
    const std::lock_guard lock(mutex_);
    packets_.clear();
  }

 private:
  void add(const MidiPacket& packet, HostTime now) {
    constexpr std::uint8_t kStatus = 0x80;
    constexpr std::uint8_t kEndOfExclusive = 0xF7;
    for (std::size_t index = 0; index < packet.bytes.size(); ++index) {
      const std::uint8_t byte = packet.bytes[index];
      const bool begins = byte >= kStatus && byte != kEndOfExclusive;
      if (index == 0 || begins) packets_.push_back({.instant = packet.hostTime, .read = now, .bytes = {}});
      packets_.back().bytes.push_back(byte);
    }
  }

  const HostClock& clock_;
  mutable std::mutex mutex_;
  std::vector<Packet> packets_;
};

/// A private sound server and the MIDI system opposite it, on the test's own thread.
class PipeWireMidiFixture : public testing::Test {
 protected:
  void startRig(const PipeWireRig::Options& options = {}) {
    rig_.emplace(options);
    rig_->enter();
  }

  void openSystem() {
    system_ = std::make_unique<PipeWireMidiSystem>(openPipeWireServer(), scheduler_, clock_, log_.log());
    ASSERT_EQ(system_->createClient(
                  "test", [this] { ++notices_; }, client_),
              kPlatformOk);
    ASSERT_EQ(system_->createOutputPort(client_, "out", out_), kPlatformOk);
    ASSERT_EQ(system_->createInputPort(client_, "in", inbox_.callback(), in_), kPlatformOk);
  }

  static MIDIEndpointRef find(const std::vector<MidiEndpointDescription>& list, std::string_view name) {
    for (const auto& endpoint : list) {
      if (endpoint.name.find(name) != std::string::npos) return endpoint.endpoint;
    }
    return 0;
  }
  MIDIEndpointRef source(std::string_view name) {
    EXPECT_TRUE(queue_.runUntil([&] { return find(system_->sources(), name) != 0; })) << name << " is not listed";
    return find(system_->sources(), name);
  }
  MIDIEndpointRef destination(std::string_view name) {
    EXPECT_TRUE(queue_.runUntil([&] { return find(system_->destinations(), name) != 0; })) << name << " is not listed";
    return find(system_->destinations(), name);
  }
  bool vanishes(std::string_view name) {
    return queue_.runUntil([&] { return find(system_->destinations(), name) == 0; });
  }

  HostTime after(std::chrono::nanoseconds delay) const {
    return clock_.now() + HostDuration{static_cast<std::uint64_t>(delay.count())};
  }
  PlatformStatus send(MIDIEndpointRef destination, const MidiBytesList& bytes, HostTime when) {
    return system_->send(out_, destination, bytes, when);
  }
  /// Sends a byte and waits until it has come back, so that both links run.
  void openLoop(MIDIEndpointRef source, MIDIEndpointRef destination) {
    ASSERT_EQ(system_->connectSource(in_, source), kPlatformOk);
    const auto before = inbox_.count();
    for (int attempt = 0; attempt < 100 && inbox_.count() == before; ++attempt) {
      ASSERT_EQ(send(destination, {0xFE}, clock_.now()), kPlatformOk);
      queue_.runUntil([&] { return inbox_.count() > before; }, std::chrono::milliseconds(50));
    }
    ASSERT_GT(inbox_.count(), before) << log();
    pause(std::chrono::milliseconds(200));
    inbox_.clear();
  }
  void pause(std::chrono::milliseconds time) {
    queue_.runUntil([] { return false; }, time);
  }

  /// How often the log has told of cycles that a busy machine left out, and of messages lost with them.
  int lossesTold() const { return logged("the sound server left out"); }

  /// Makes an attempt with an empty inbox, and another one where it fails and the log owns up to cycles left out
  /// meanwhile. What goes wrong without a word fails the test.
  void succeeds(const std::function<testing::AssertionResult()>& attempt) {
    constexpr int kMostAttempts = 10;
    for (int count = 0; count < kMostAttempts; ++count) {
      const int told = lossesTold();
      inbox_.clear();
      const auto result = attempt();
      if (result) return;
      ASSERT_TRUE(queue_.runUntil([&] { return lossesTold() > told; })) << result.message() << "\n" << log();
      std::printf("cycles were left out: %s\n", result.message());
      // What is still under way is not the next attempt's.
      pause(std::chrono::milliseconds(500));
    }
    FAIL() << "cycles were left out in every attempt\n" << log();
  }
  /// For an attempt: whether so many messages come.
  testing::AssertionResult comes(std::size_t messages) {
    const int told = lossesTold();
    queue_.runUntil([&] { return inbox_.count() >= messages || lossesTold() > told; });
    if (inbox_.count() >= messages) return testing::AssertionSuccess();
    return testing::AssertionFailure() << inbox_.count() << " of " << messages << " messages came";
  }
  /// The same for all that has come since the attempt began.
  testing::AssertionResult comes(const MidiBytesList& bytes) {
    const int told = lossesTold();
    queue_.runUntil([&] { return inbox_.bytes().size() >= bytes.size() || lossesTold() > told; });
    if (inbox_.bytes() == bytes) return testing::AssertionSuccess();
    return testing::AssertionFailure() << inbox_.bytes().size() << " bytes came, not the " << bytes.size() << " sent";
  }

  int logged(std::string_view text) const { return log_.count(text); }
  std::string log() const { return log_.text(); }

  std::optional<PipeWireRig> rig_;
  SystemHostClock clock_;
  PumpedQueue queue_;
  PumpedScheduler scheduler_{queue_};
  MidiInbox inbox_{clock_};
  int notices_ = 0;
  MIDIClientRef client_ = 0;
  MIDIPortRef in_ = 0;
  MIDIPortRef out_ = 0;
  KeptLog log_;
  /// Last: it uses all the others.
  std::unique_ptr<PipeWireMidiSystem> system_;
};

}  // namespace tallyrig
