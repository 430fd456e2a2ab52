#include "platform/simulated/LoopbackMidiSystem.h"

#include <array>
#include <atomic>
#include <chrono>
#include <mutex>
#include <optional>
#include <thread>

#include "platform/desktop/AsioScheduler.h"
#include "platform/desktop/SystemClocks.h"
#include "unit/desktop/Await.h"

namespace tallyrig {
namespace {

using test::EventCount;

/// The loopback on the program's own queues and clock, with a client that notes what it hears.
class LoopbackMidiSystemTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(midi->createClient(
                  "Test", [] {}, client),
              kPlatformOk);
    ASSERT_EQ(midi->createOutputPort(client, "out", output), kPlatformOk);
    ASSERT_EQ(midi->createInputPort(
                  client, "in", [this](auto packets) { read(packets); }, input),
              kPlatformOk);
    ASSERT_EQ(midi->connectSource(input, midi->sources().at(0).endpoint), kPlatformOk);
    destination = midi->destinations().at(0).endpoint;
  }

  void read(std::span<const MidiPacket> packets) {
    for (const MidiPacket& packet : packets) {
      const std::lock_guard lock(mutex);
      if (packet.hostTime > clock.now()) isEarly = true;
      heard.push_back({packet.hostTime, {packet.bytes.begin(), packet.bytes.end()}});
      arrivals.add();
    }
  }

  HostTime inMilliseconds(std::uint64_t count) const { return clock.now() + HostDuration{count * 1'000'000}; }

  const SystemHostClock clock;
  AsioScheduler scheduler;
  std::optional<LoopbackMidiSystem> midi{std::in_place, clock, scheduler};
  MIDIClientRef client = 0;
  MIDIPortRef output = 0;
  MIDIPortRef input = 0;
  MIDIEndpointRef destination = 0;
  std::mutex mutex;
  std::vector<SimulatedMidiPacket> heard;
  bool isEarly = false;
  EventCount arrivals;
};

TEST_F(LoopbackMidiSystemTest, ListsASourceAndADestinationOfOneName) {
  ASSERT_EQ(midi->sources().size(), 1u);
  ASSERT_EQ(midi->destinations().size(), 1u);
  EXPECT_EQ(midi->sources()[0].name, "Built-in MIDI Loopback");
  EXPECT_EQ(midi->destinations()[0].name, "Built-in MIDI Loopback");
}

TEST_F(LoopbackMidiSystemTest, BringsBackWhatItSendsWithTheInstantItWasSentFor) {
  std::vector<SimulatedMidiPacket> sent;
  for (std::uint8_t i = 0; i < 60; ++i) {
    sent.push_back({inMilliseconds(5) + HostDuration{i * 1'000'003u}, {0xF1, i}});
  }
  for (const auto& message : sent) {
    ASSERT_EQ(midi->send(output, destination, message.bytes, message.hostTime), kPlatformOk);
  }
  ASSERT_TRUE(arrivals.reaches(60));
  EXPECT_EQ(heard, sent);
  EXPECT_FALSE(isEarly);
}

TEST_F(LoopbackMidiSystemTest, TakesMessagesFromManyThreads) {
  constexpr int kThreads = 4, kEach = 200;
  std::vector<std::thread> threads;
  for (std::uint8_t number = 0; number < kThreads; ++number) {
    threads.emplace_back([&, number] {
      for (std::uint8_t i = 0; i < kEach; ++i) {
        midi->send(output, destination, std::array<std::uint8_t, 2>{number, i}, clock.now());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  ASSERT_TRUE(arrivals.reaches(kThreads * kEach));
  std::array<int, kThreads> next{};
  for (const auto& packet : heard) EXPECT_EQ(packet.bytes[1], next.at(packet.bytes[0])++) << "each in its order";
}

TEST_F(LoopbackMidiSystemTest, AFlushKeepsBackWhatIsStillToCome) {
  midi->send(output, destination, std::array<std::uint8_t, 1>{1}, inMilliseconds(900));
  midi->flushOutput(destination);
  midi->send(output, destination, std::array<std::uint8_t, 1>{2}, inMilliseconds(1));
  ASSERT_TRUE(arrivals.reaches(1));
  EXPECT_EQ(heard[0].bytes[0], 2);
}

TEST_F(LoopbackMidiSystemTest, CallsNobodyOnceAPortIsDisposedOf) {
  for (int round = 0; round < 20; ++round) {
    // Plain on purpose: the thread checker sees a callback that runs beside its port's end.
    int calls = 0;
    MIDIPortRef port = 0;
    ASSERT_EQ(midi->createInputPort(
                  client, "round", [&calls](auto) { ++calls; }, port),
              kPlatformOk);
    midi->connectSource(port, midi->sources()[0].endpoint);
    const int before = arrivals.value();
    for (int i = 0; i < 20; ++i) {
      midi->send(output, destination, std::array<std::uint8_t, 1>{1}, clock.now() + HostDuration{i * 50'000u});
    }
    ASSERT_TRUE(arrivals.reaches(before + 1));
    midi->disposePort(port);
    const int seen = calls;
    ASSERT_TRUE(arrivals.reaches(before + 20));
    EXPECT_EQ(calls, seen);
  }
}

TEST_F(LoopbackMidiSystemTest, MayEndWhileMessagesWait) {
  for (std::uint64_t i = 0; i < 50; ++i) {
    midi->send(output, destination, std::array<std::uint8_t, 1>{1}, clock.now() + HostDuration{i * 100'000u});
  }
  ASSERT_TRUE(arrivals.reaches(1));
  midi.reset();
  const int seen = arrivals.value();
  // A queue of its own that comes round later than any of the messages shows that none is on its way.
  EventCount later;
  scheduler.makeQueue("later", QueuePriority::kUserInteractive)->postAfter(std::chrono::milliseconds(10), [&later] {
    later.add();
  });
  ASSERT_TRUE(later.reaches(1));
  EXPECT_EQ(arrivals.value(), seen);
}

}  // namespace
}  // namespace tallyrig
