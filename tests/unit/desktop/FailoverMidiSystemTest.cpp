#include "platform/desktop/FailoverMidiSystem.h"

#include <array>
#include <cerrno>
#include <map>
#include <optional>
#include <string>

namespace tallyrig {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr MIDIEndpointRef kLoopback = FailoverMidiSystem::kFallbackNumbers;

/// One side, with endpoints and numbers of its own.
class FakeSide : public MidiServer {
 public:
  explicit FakeSide(std::uint32_t firstNumber) : next_(firstNumber) {}

  bool isAvailable() const override { return available; }
  std::vector<MidiEndpointDescription> sources() const override { return listed; }
  std::vector<MidiEndpointDescription> destinations() const override { return listed; }

  PlatformStatus createClient(std::string_view, std::function<void()> setupChanged, MIDIClientRef& client) override {
    client = 0;
    if (status != kPlatformOk) return status;
    client = next_++;
    clients[client] = std::move(setupChanged);
    return kPlatformOk;
  }
  void disposeClient(MIDIClientRef client) override {
    clients.erase(client);
    std::erase_if(ports, [&](const auto& entry) { return entry.second == client; });
  }
  PlatformStatus createInputPort(MIDIClientRef client, std::string_view, MidiReadCallback callback,
                                 MIDIPortRef& port) override {
    read = std::move(callback);
    return createOutputPort(client, "", port);
  }
  PlatformStatus createOutputPort(MIDIClientRef client, std::string_view, MIDIPortRef& port) override {
    port = 0;
    if (portStatus != kPlatformOk) return portStatus;
    port = next_++;
    ports[port] = client;
    return kPlatformOk;
  }
  void disposePort(MIDIPortRef port) override { ports.erase(port); }
  PlatformStatus connectSource(MIDIPortRef port, MIDIEndpointRef source) override {
    return note("connect", port, source);
  }
  PlatformStatus disconnectSource(MIDIPortRef port, MIDIEndpointRef source) override {
    return note("disconnect", port, source);
  }
  PlatformStatus send(MIDIPortRef port, MIDIEndpointRef destination, std::span<const std::uint8_t>,
                      HostTime when) override {
    return note("send " + std::to_string(when.ticks), port, destination);
  }
  PlatformStatus flushOutput(MIDIEndpointRef destination) override {
    calls.push_back("flush " + std::to_string(destination));
    return kPlatformOk;
  }

  void change() {
    for (const auto& [client, changed] : std::map(clients)) {
      if (changed) changed();
    }
  }

  bool available = true;
  PlatformStatus status = kPlatformOk;
  PlatformStatus portStatus = kPlatformOk;
  std::vector<MidiEndpointDescription> listed;
  std::map<MIDIClientRef, std::function<void()>> clients;
  std::map<MIDIPortRef, MIDIClientRef> ports;
  std::vector<std::string> calls;
  MidiReadCallback read;

 private:
  PlatformStatus note(const std::string& what, MIDIPortRef port, MIDIEndpointRef endpoint) {
    if (!ports.contains(port)) return -EBADF;
    calls.push_back(what + " " + std::to_string(endpoint));
    return kPlatformOk;
  }

  std::uint32_t next_;
};

class FailoverMidiSystemTest : public testing::Test {
 protected:
  FailoverMidiSystemTest() {
    server_.listed = {{.endpoint = 7, .name = "Desk"}, {.endpoint = 8, .name = "Keys"}};
    fallback_.listed = {{.endpoint = 1, .name = "Loopback"}};
  }

  void make() {
    system_.emplace(server_, fallback_);
    ASSERT_EQ(system_->createClient(
                  "test", [this] { ++notices_; }, client_),
              kPlatformOk);
    ASSERT_EQ(system_->createOutputPort(client_, "out", out_), kPlatformOk);
    ASSERT_EQ(system_->createInputPort(
                  client_, "in", [this](std::span<const MidiPacket> packets) { packets_ += packets.size(); }, in_),
              kPlatformOk);
  }
  void setAvailable(bool available) {
    server_.available = available;
    server_.change();
  }
  PlatformStatus send(MIDIEndpointRef destination) { return system_->send(out_, destination, kByte, {5}); }

  static constexpr std::array<std::uint8_t, 1> kByte{0xFE};

  FakeSide server_{100};
  FakeSide fallback_{500};
  int notices_ = 0;
  std::size_t packets_ = 0;
  MIDIClientRef client_ = 0;
  MIDIPortRef in_ = 0;
  MIDIPortRef out_ = 0;
  std::optional<FailoverMidiSystem> system_;
};

TEST_F(FailoverMidiSystemTest, TheServersEndpointsStandWhileItIsAvailable) {
  make();
  EXPECT_EQ(system_->sources(), server_.listed);
  EXPECT_EQ(system_->destinations(), server_.listed);
  EXPECT_EQ(send(7), kPlatformOk);
  EXPECT_EQ(system_->connectSource(in_, 8), kPlatformOk);
  EXPECT_EQ(system_->flushOutput(7), kPlatformOk);
  EXPECT_THAT(server_.calls, ElementsAre("send 5 7", "connect 8", "flush 7"));
  EXPECT_THAT(fallback_.calls, IsEmpty());
}

TEST_F(FailoverMidiSystemTest, WithoutAServerTheLoopbackStandsUnderNumbersOfItsOwn) {
  server_.available = false;
  make();
  EXPECT_THAT(system_->sources(), ElementsAre(MidiEndpointDescription{.endpoint = kLoopback + 1, .name = "Loopback"}));
  EXPECT_EQ(send(kLoopback + 1), kPlatformOk);
  EXPECT_EQ(system_->connectSource(in_, kLoopback + 1), kPlatformOk);
  EXPECT_EQ(system_->flushOutput(kLoopback + 1), kPlatformOk);
  EXPECT_THAT(fallback_.calls, ElementsAre("send 5 1", "connect 1", "flush 1"));
  EXPECT_THAT(server_.calls, IsEmpty());
}

TEST_F(FailoverMidiSystemTest, EndpointsOfTheSideThatIsAwayGiveAStatus) {
  make();
  EXPECT_EQ(send(kLoopback + 1), -ENODEV);
  EXPECT_EQ(system_->connectSource(in_, kLoopback + 1), -ENODEV);
  EXPECT_EQ(system_->flushOutput(kLoopback + 1), -ENODEV);
  setAvailable(false);
  EXPECT_EQ(send(7), -ENODEV);
  EXPECT_EQ(system_->connectSource(in_, 7), -ENODEV);
  EXPECT_EQ(system_->flushOutput(7), -ENODEV);
  EXPECT_THAT(server_.calls, IsEmpty());
  EXPECT_THAT(fallback_.calls, IsEmpty());
}

TEST_F(FailoverMidiSystemTest, PortsOutliveAChangeOfSides) {
  make();
  setAvailable(false);
  EXPECT_EQ(notices_, 1);
  EXPECT_EQ(send(kLoopback + 1), kPlatformOk);
  setAvailable(true);
  EXPECT_EQ(notices_, 2);
  EXPECT_EQ(send(7), kPlatformOk);
}

TEST_F(FailoverMidiSystemTest, WhatWasConnectedCanBeDisconnectedAfterAChangeOfSides) {
  make();
  setAvailable(false);
  ASSERT_EQ(system_->connectSource(in_, kLoopback + 1), kPlatformOk);
  setAvailable(true);
  EXPECT_EQ(system_->disconnectSource(in_, kLoopback + 1), kPlatformOk);
  EXPECT_THAT(fallback_.calls, ElementsAre("connect 1", "disconnect 1"));
}

TEST_F(FailoverMidiSystemTest, ChangesOfTheSideThatIsAwayAreNotTold) {
  make();
  fallback_.change();
  EXPECT_EQ(notices_, 0);
  server_.change();
  EXPECT_EQ(notices_, 1);
  setAvailable(false);
  EXPECT_EQ(notices_, 2);
  server_.change();
  EXPECT_EQ(notices_, 2);
  fallback_.change();
  EXPECT_EQ(notices_, 3);
}

TEST_F(FailoverMidiSystemTest, APortReadsFromBothSides) {
  make();
  const MidiPacket packet{};
  server_.read({&packet, 1});
  fallback_.read({&packet, 1});
  EXPECT_EQ(packets_, 2U);
}

TEST_F(FailoverMidiSystemTest, DisposalReachesBothSides) {
  make();
  system_->disposePort(out_);
  EXPECT_EQ(send(7), -EBADF);
  EXPECT_EQ(server_.ports.size(), 1U);
  EXPECT_EQ(fallback_.ports.size(), 1U);
  system_->disposeClient(client_);
  EXPECT_EQ(system_->connectSource(in_, 7), -EBADF);
  EXPECT_THAT(server_.ports, IsEmpty());
  EXPECT_THAT(fallback_.ports, IsEmpty());
  server_.change();
  EXPECT_EQ(notices_, 0);
  system_.reset();
  EXPECT_THAT(server_.clients, IsEmpty());
  EXPECT_THAT(fallback_.clients, IsEmpty());
}

TEST_F(FailoverMidiSystemTest, AFailureOfOneSideLeavesNothingOnTheOther) {
  make();
  MIDIClientRef client = 1;
  fallback_.status = -EIO;
  EXPECT_EQ(system_->createClient("second", nullptr, client), -EIO);
  EXPECT_EQ(client, 0U);
  EXPECT_EQ(server_.clients.size(), 2U);
  MIDIPortRef port = 1;
  fallback_.portStatus = -ENOMEM;
  EXPECT_EQ(system_->createOutputPort(client_, "second", port), -ENOMEM);
  EXPECT_EQ(port, 0U);
  EXPECT_EQ(server_.ports.size(), 2U);
  EXPECT_EQ(system_->createOutputPort(4711, "second", port), -EBADF);
}

TEST_F(FailoverMidiSystemTest, AHandlerMayDisposeItsOwnAndOtherClients) {
  make();
  MIDIClientRef second = 0;
  MIDIClientRef third = 0;
  int calls = 0;
  const auto ends = [&] {
    ++calls;
    system_->disposeClient(second);
    system_->disposeClient(third);
  };
  ASSERT_EQ(system_->createClient("second", ends, second), kPlatformOk);
  ASSERT_EQ(system_->createClient("third", ends, third), kPlatformOk);
  server_.change();
  server_.change();
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(notices_, 2);
}

}  // namespace
}  // namespace tallyrig
