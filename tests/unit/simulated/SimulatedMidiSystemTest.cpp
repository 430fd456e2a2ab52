#include "platform/simulated/SimulatedMidiSystem.h"

#include <cerrno>
#include <chrono>

#include "platform/simulated/SimulatedWorld.h"

using namespace std::chrono_literals;

namespace tallyrig {
namespace {

using Bytes = std::vector<std::uint8_t>;
using testing::ElementsAre;
using testing::IsEmpty;

/// A client with a port of each kind, in a world whose tick is no whole number of nanoseconds.
class SimulatedMidiSystemTest : public testing::Test {
 protected:
  struct Call {
    HostTime at;
    std::vector<SimulatedMidiPacket> packets;
  };

  void SetUp() override {
    ASSERT_EQ(midi.createClient(
                  "Test", [this] { ++notices; }, client),
              kPlatformOk);
    ASSERT_EQ(midi.createOutputPort(client, "out", output), kPlatformOk);
    ASSERT_EQ(midi.createInputPort(
                  client, "in", [this](auto packets) { read(packets); }, input),
              kPlatformOk);
  }

  void read(std::span<const MidiPacket> packets) {
    EXPECT_FALSE(world.scheduler().mainQueue().isCurrent());
    Call call{world.clock().now(), {}};
    for (const MidiPacket& packet : packets) {
      call.packets.push_back({packet.hostTime, {packet.bytes.begin(), packet.bytes.end()}});
    }
    calls.push_back(std::move(call));
  }

  PlatformStatus send(const SimulatedMidiDestination& destination, const Bytes& bytes, HostTime when) {
    return midi.send(output, destination.endpoint(), bytes, when);
  }

  HostTime in(std::chrono::nanoseconds time) {
    return world.clock().now() + world.clock().ticksFromNanos(static_cast<std::uint64_t>(time.count()));
  }

  static std::vector<Bytes> bytesOf(const SimulatedMidiDestination& destination) {
    std::vector<Bytes> result;
    for (const auto& message : destination.received()) result.push_back(message.bytes);
    return result;
  }

  SimulatedWorld world{{.seed = 3, .tick = {125, 3}}};
  SimulatedMidiSystem& midi = world.midi();
  int notices = 0;
  MIDIClientRef client = 0;
  MIDIPortRef output = 0;
  MIDIPortRef input = 0;
  std::vector<Call> calls;
};

TEST_F(SimulatedMidiSystemTest, PutsAMessageOnTheWireAtItsExactInstant) {
  const SimulatedMidiDestination& desk = midi.addDestination("Desk");
  for (std::uint64_t i = 1; i <= 2000; ++i) {
    const HostTime when = world.clock().now() + HostDuration{i * 7 % 5000 + 1};
    ASSERT_EQ(send(desk, {0xF1, 0x10}, when), kPlatformOk);
    ASSERT_TRUE(world.runUntil([&] { return desk.received().size() == i; }, 1s));
    ASSERT_EQ(desk.received().back().at, when);
    ASSERT_EQ(desk.received().back().requested, when);
    ASSERT_EQ(world.clock().now(), when);
  }
}

TEST_F(SimulatedMidiSystemTest, SendsAtOnceWhatIsLate) {
  const SimulatedMidiDestination& desk = midi.addDestination("Desk");
  const HostTime now = world.clock().now();
  send(desk, {1}, {});
  send(desk, {2}, now - HostDuration{50});
  EXPECT_THAT(bytesOf(desk), IsEmpty());
  world.runPending();
  EXPECT_THAT(bytesOf(desk), ElementsAre(Bytes{1}, Bytes{2}));
  EXPECT_EQ(desk.received()[0].at, now);
  EXPECT_EQ(desk.received()[0].requested, HostTime{});
}

TEST_F(SimulatedMidiSystemTest, SendsInTheOrderOfTimesAndThenOfCalls) {
  const SimulatedMidiDestination& desk = midi.addDestination("Desk");
  send(desk, {3}, in(20ms));
  send(desk, {1}, in(10ms));
  send(desk, {4}, in(20ms));
  send(desk, {2}, in(10ms));
  EXPECT_EQ(desk.waiting().size(), 4u);
  world.runFor(15ms);
  EXPECT_THAT(bytesOf(desk), ElementsAre(Bytes{1}, Bytes{2}));
  world.runFor(15ms);
  EXPECT_THAT(bytesOf(desk), ElementsAre(Bytes{1}, Bytes{2}, Bytes{3}, Bytes{4}));
}

TEST_F(SimulatedMidiSystemTest, TakesMessagesForUpToASecondAhead) {
  const SimulatedMidiDestination& desk = midi.addDestination("Desk");
  EXPECT_EQ(send(desk, {1}, in(1s)), kPlatformOk);
  EXPECT_EQ(send(desk, {1}, in(1s + 100ns)), -EINVAL);
  EXPECT_EQ(send(desk, {}, in(0s)), -EINVAL);
  EXPECT_EQ(desk.waiting().size(), 1u);
}

TEST_F(SimulatedMidiSystemTest, AFlushDropsWhatStillWaitsForThatDestination) {
  const SimulatedMidiDestination& desk = midi.addDestination("Desk");
  const SimulatedMidiDestination& lamp = midi.addDestination("Lamp");
  send(desk, {1}, in(10ms));
  send(desk, {2}, in(20ms));
  send(lamp, {3}, in(20ms));
  send(desk, {4}, {});
  world.runFor(10ms);
  EXPECT_EQ(midi.flushOutput(desk.endpoint()), kPlatformOk);
  EXPECT_THAT(desk.waiting(), IsEmpty());
  send(desk, {5}, in(5ms));
  world.runFor(1s);
  EXPECT_THAT(bytesOf(desk), ElementsAre(Bytes{4}, Bytes{1}, Bytes{5}));
  EXPECT_THAT(bytesOf(lamp), ElementsAre(Bytes{3}));
}

TEST_F(SimulatedMidiSystemTest, AFlushLeavesWhatIsDueAtThatInstant) {
  const SimulatedMidiDestination& desk = midi.addDestination("Desk");
  send(desk, {1}, world.clock().now());
  midi.flushOutput(desk.endpoint());
  world.runPending();
  EXPECT_THAT(bytesOf(desk), ElementsAre(Bytes{1}));
}

TEST_F(SimulatedMidiSystemTest, FailsSendsOnDemand) {
  SimulatedMidiDestination& desk = midi.addDestination("Desk");
  const SimulatedMidiDestination& lamp = midi.addDestination("Lamp");
  desk.failSends(-5, 2);
  EXPECT_EQ(send(desk, {1}, {}), kPlatformOk);
  EXPECT_EQ(send(desk, {2}, {}), kPlatformOk);
  EXPECT_EQ(send(desk, {3}, {}), -5);
  EXPECT_EQ(send(desk, {4}, {}), -5);
  EXPECT_EQ(send(lamp, {5}, {}), kPlatformOk);
  desk.failSends(kPlatformOk);
  EXPECT_EQ(send(desk, {6}, {}), kPlatformOk);
  world.runPending();
  EXPECT_THAT(bytesOf(desk), ElementsAre(Bytes{1}, Bytes{2}, Bytes{6}));
}

TEST_F(SimulatedMidiSystemTest, ACableCarriesFromADestinationToASource) {
  SimulatedMidiDestination& desk = midi.addDestination("Desk");
  SimulatedMidiSource& keys = midi.addSource("Keys");
  SimulatedMidiCable& cable = midi.connect(desk, keys, {.latency = 3ms});
  ASSERT_EQ(midi.connectSource(input, keys.endpoint()), kPlatformOk);
  const HostTime sent = in(10ms);
  const HostTime arrived = in(13ms);
  send(desk, {0xF1, 0x42}, sent);
  world.runFor(1s);
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].at, arrived);
  EXPECT_THAT(calls[0].packets, ElementsAre(SimulatedMidiPacket{arrived, {0xF1, 0x42}}));
  cable.cut();
  send(desk, {0xF1, 0x42}, {});
  world.runFor(1s);
  EXPECT_EQ(calls.size(), 1u);
}

TEST_F(SimulatedMidiSystemTest, DeliversALongStreamWithoutALapse) {
  SimulatedMidiDestination& desk = midi.addDestination("Desk", false);
  SimulatedMidiSource& keys = midi.addSource("Keys");
  midi.connect(desk, keys, {.latency = 50ms, .jitter = 20ms});
  midi.connectSource(input, keys.endpoint());
  const std::uint64_t before = world.scheduler().eventsRun();
  for (int i = 0; i < 1000; ++i) {
    send(desk, {static_cast<std::uint8_t>(i % 100)}, in(5ms));
    world.runFor(10ms);
  }
  world.runFor(1s);
  std::size_t heard = 0;
  for (const Call& call : calls) {
    for (const auto& packet : call.packets) {
      EXPECT_EQ(packet.bytes[0], heard++ % 100);
      EXPECT_EQ(packet.hostTime, call.at);
    }
  }
  EXPECT_EQ(heard, 1000u);
  EXPECT_LE(world.scheduler().eventsRun() - before, 8000u) << "messages on the way must not keep the queue busy";
  EXPECT_THAT(desk.received(), IsEmpty());
}

TEST_F(SimulatedMidiSystemTest, InjectsPacketsAsTheyAre) {
  SimulatedMidiSource& keys = midi.addSource("Keys");
  midi.connectSource(input, keys.endpoint());
  midi.inject(keys, {{HostTime{0}, {0xF1}}, {HostTime{77}, {0x23, 0xF0}}, {HostTime{5}, {}}});
  world.runPending();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_THAT(calls[0].packets, ElementsAre(SimulatedMidiPacket{{0}, {0xF1}}, SimulatedMidiPacket{{77}, {0x23, 0xF0}},
                                            SimulatedMidiPacket{{5}, {}}));
  midi.disconnectSource(input, keys.endpoint());
  midi.inject(keys, {{HostTime{0}, {1}}});
  world.runPending();
  EXPECT_EQ(calls.size(), 1u);
}

TEST_F(SimulatedMidiSystemTest, ReachesEveryConnectedPortOnce) {
  SimulatedMidiSource& keys = midi.addSource("Keys");
  SimulatedMidiSource& other = midi.addSource("Other");
  MIDIPortRef second = 0;
  int secondCalls = 0;
  midi.createInputPort(
      client, "in 2", [&](auto) { ++secondCalls; }, second);
  midi.connectSource(input, keys.endpoint());
  midi.connectSource(input, keys.endpoint());
  midi.connectSource(input, other.endpoint());
  midi.connectSource(second, keys.endpoint());
  midi.inject(keys, {{HostTime{1}, {1}}});
  midi.inject(other, {{HostTime{2}, {2}}});
  world.runPending();
  EXPECT_EQ(calls.size(), 2u);
  EXPECT_EQ(secondCalls, 1);
}

TEST_F(SimulatedMidiSystemTest, ListsEndpointsInTheirOrder) {
  const SimulatedMidiSource& first = midi.addSource("B");
  const SimulatedMidiSource& second = midi.addSource("");
  const SimulatedMidiSource& front = midi.addSource("A", 0);
  EXPECT_THAT(midi.sources(), ElementsAre(MidiEndpointDescription{front.endpoint(), "A"},
                                          MidiEndpointDescription{first.endpoint(), "B"},
                                          MidiEndpointDescription{second.endpoint(), ""}));
  EXPECT_THAT(midi.destinations(), IsEmpty());
  const SimulatedMidiDestination& desk = midi.addDestination("Desk");
  EXPECT_THAT(midi.destinations(), ElementsAre(MidiEndpointDescription{desk.endpoint(), "Desk"}));
}

TEST_F(SimulatedMidiSystemTest, AnUnpluggedEndpointReturnsUnderAnotherNumber) {
  SimulatedMidiDestination& desk = midi.addDestination("Desk");
  SimulatedMidiSource& keys = midi.addSource("Keys");
  midi.connect(desk, keys);
  const MIDIEndpointRef oldDesk = desk.endpoint();
  const MIDIEndpointRef oldKeys = keys.endpoint();
  midi.connectSource(input, oldKeys);
  send(desk, {1}, in(10ms));
  midi.unplug(desk);
  midi.unplug(keys);
  EXPECT_EQ(desk.endpoint(), 0u);
  EXPECT_THAT(midi.sources(), IsEmpty());
  EXPECT_EQ(midi.send(output, oldDesk, Bytes{1}, {}), -ENODEV);
  EXPECT_EQ(midi.flushOutput(oldDesk), -ENODEV);
  EXPECT_EQ(midi.connectSource(input, oldKeys), -ENODEV);
  midi.plugIn(desk);
  midi.plugIn(keys);
  EXPECT_NE(desk.endpoint(), oldDesk);
  EXPECT_NE(keys.endpoint(), oldKeys);
  send(desk, {2}, in(20ms));
  world.runFor(1s);
  EXPECT_THAT(bytesOf(desk), ElementsAre(Bytes{2})) << "what waited went with the port";
  EXPECT_THAT(calls, IsEmpty()) << "the connection went with the port";
  midi.connectSource(input, keys.endpoint());
  send(desk, {3}, {});
  world.runPending();
  EXPECT_EQ(calls.size(), 1u);
}

TEST_F(SimulatedMidiSystemTest, TellsEveryClientOnTheMainQueueOfEachChange) {
  int others = 0;
  MIDIClientRef other = 0;
  midi.createClient(
      "Other",
      [&] {
        EXPECT_TRUE(world.scheduler().mainQueue().isCurrent());
        ++others;
      },
      other);
  SimulatedMidiSource& keys = midi.addSource("Keys");
  EXPECT_EQ(others, 0);
  world.runPending();
  EXPECT_EQ(others, 1);
  midi.rename(keys, "Piano");
  EXPECT_EQ(midi.sources()[0].name, "Piano");
  midi.unplug(keys);
  midi.unplug(keys);
  midi.rename(keys, "Organ");
  midi.plugIn(keys);
  midi.announceChange();
  world.runPending();
  EXPECT_EQ(others, 5);
  EXPECT_EQ(notices, 5);
  midi.addDestination("Desk");
  midi.disposeClient(other);
  world.runPending();
  EXPECT_EQ(others, 5) << "a notice on its way must not reach a client that has gone";
  EXPECT_EQ(notices, 6);
}

TEST_F(SimulatedMidiSystemTest, FailsToMakeWhatItIsToldTo) {
  MIDIClientRef newClient = 9;
  MIDIPortRef port = 9;
  midi.failures() = {.createClient = -1, .createInputPort = -2, .createOutputPort = -3, .connectSource = -4};
  EXPECT_EQ(midi.createClient(
                "x", [] {}, newClient),
            -1);
  EXPECT_EQ(newClient, 0u);
  EXPECT_EQ(midi.createInputPort(
                client, "x", [](auto) {}, port),
            -2);
  EXPECT_EQ(port, 0u);
  port = 9;
  EXPECT_EQ(midi.createOutputPort(client, "x", port), -3);
  EXPECT_EQ(port, 0u);
  EXPECT_EQ(midi.connectSource(input, 1), -4);
  EXPECT_EQ(midi.clientCount(), 1u);
  EXPECT_EQ(midi.portCount(), 2u);
}

TEST_F(SimulatedMidiSystemTest, RefusesNumbersItDoesNotKnow) {
  const SimulatedMidiDestination& desk = midi.addDestination("Desk");
  const SimulatedMidiSource& keys = midi.addSource("Keys");
  MIDIPortRef port = 9;
  EXPECT_EQ(midi.createOutputPort(output, "x", port), -EBADF);
  EXPECT_EQ(port, 0u);
  EXPECT_EQ(midi.send(input, desk.endpoint(), Bytes{1}, {}), -EBADF);
  EXPECT_EQ(midi.send(output, keys.endpoint(), Bytes{1}, {}), -ENODEV);
  EXPECT_EQ(midi.connectSource(output, keys.endpoint()), -EBADF);
  EXPECT_EQ(midi.connectSource(input, desk.endpoint()), -ENODEV);
  EXPECT_EQ(midi.disconnectSource(input, keys.endpoint()), -ENODEV);
  EXPECT_EQ(midi.disconnectSource(99999, keys.endpoint()), -EBADF);
}

TEST_F(SimulatedMidiSystemTest, ADisposedPortHearsNothingAndItsMessagesStillGoOut) {
  SimulatedMidiDestination& desk = midi.addDestination("Desk");
  SimulatedMidiSource& keys = midi.addSource("Keys");
  midi.connectSource(input, keys.endpoint());
  send(desk, {1}, in(10ms));
  midi.disposePort(output);
  EXPECT_EQ(send(desk, {2}, {}), -EBADF);
  midi.disposePort(input);
  midi.disposePort(input);
  midi.inject(keys, {{HostTime{1}, {1}}});
  world.runFor(1s);
  EXPECT_THAT(bytesOf(desk), ElementsAre(Bytes{1}));
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(SimulatedMidiSystemTest, APortMayBeDisposedOfWithinACallback) {
  SimulatedMidiSource& keys = midi.addSource("Keys");
  MIDIPortRef second = 0;
  midi.createInputPort(
      client, "in 2", [&](auto) { midi.disposePort(second); }, second);
  MIDIPortRef third = 0;
  int thirdCalls = 0;
  midi.createInputPort(
      client, "in 3", [&](auto) { ++thirdCalls; }, third);
  for (const MIDIPortRef port : {input, second, third}) midi.connectSource(port, keys.endpoint());
  midi.inject(keys, {{HostTime{1}, {1}}});
  midi.inject(keys, {{HostTime{1}, {1}}});
  world.runPending();
  EXPECT_EQ(calls.size(), 2u);
  EXPECT_EQ(thirdCalls, 2);
  EXPECT_EQ(midi.portCount(), 3u);
}

TEST_F(SimulatedMidiSystemTest, AClientTakesItsPortsWithIt) {
  MIDIClientRef other = 0;
  MIDIPortRef otherPort = 0;
  midi.createClient(
      "Other", [] {}, other);
  midi.createOutputPort(other, "out", otherPort);
  midi.disposeClient(client);
  EXPECT_EQ(midi.clientCount(), 1u);
  EXPECT_EQ(midi.portCount(), 1u);
  const SimulatedMidiDestination& desk = midi.addDestination("Desk");
  EXPECT_EQ(midi.send(output, desk.endpoint(), Bytes{1}, {}), -EBADF);
  EXPECT_EQ(midi.send(otherPort, desk.endpoint(), Bytes{1}, {}), kPlatformOk);
}

TEST_F(SimulatedMidiSystemTest, EqualSeedsGiveEqualRuns) {
  const auto run = [](std::uint64_t seed) {
    SimulatedWorld own({.seed = seed});
    SimulatedMidiDestination& desk = own.midi().addDestination("Desk");
    SimulatedMidiSource& keys = own.midi().addSource("Keys");
    own.midi().connect(desk, keys, {.jitter = 9ms, .mergeWindow = 5ms, .reorders = true, .loss = 0.1});
    MIDIClientRef ownClient = 0;
    MIDIPortRef in = 0, out = 0;
    own.midi().createClient(
        "x", [] {}, ownClient);
    own.midi().createOutputPort(ownClient, "out", out);
    std::vector<SimulatedMidiPacket> heard;
    own.midi().createInputPort(
        ownClient, "in",
        [&](std::span<const MidiPacket> packets) {
          for (const auto& packet : packets) {
            heard.push_back({packet.hostTime, {packet.bytes.begin(), packet.bytes.end()}});
          }
        },
        in);
    own.midi().connectSource(in, keys.endpoint());
    for (std::uint8_t i = 0; i < 100; ++i) {
      own.midi().send(out, desk.endpoint(), Bytes{0xF1, i}, own.clock().now());
      own.runFor(2ms);
    }
    return heard;
  };
  EXPECT_EQ(run(11), run(11));
  EXPECT_NE(run(11), run(12));
}

}  // namespace
}  // namespace tallyrig
