#include <cerrno>
#include <cstdio>
#include <set>
#include <thread>
#include <utility>

#include "system/PipeWireMidiFixture.h"

namespace tallyrig {
namespace {

using std::chrono::milliseconds;
using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;

/// How far apart two instants are, in samples at 48 kHz; positive if the second is later.
double samplesBetween(HostTime first, HostTime second) {
  return static_cast<double>(static_cast<std::int64_t>(second.ticks - first.ticks)) * 48000 / 1e9;
}

MidiBytesList sysexOf(std::size_t size) {
  MidiBytesList bytes(size);
  for (std::size_t index = 0; index < size; ++index) bytes[index] = static_cast<std::uint8_t>(index % 113);
  bytes.front() = 0xF0;
  bytes.back() = 0xF7;
  return bytes;
}

class PipeWireMidi : public PipeWireMidiFixture {
 protected:
  void SetUp() override { startRig(); }

  void openBox() {
    rig_->add(RigMidiDevice{.name = "box"});
    openSystem();
    to_ = destination("box");
    from_ = source("box");
    openLoop(from_, to_);
  }

  MIDIEndpointRef to_ = 0;
  MIDIEndpointRef from_ = 0;
};

TEST_F(PipeWireMidi, EndpointsAreThePortsOfTheServerWithoutOurOwn) {
  rig_->add(RigMidiDevice{.name = "box", .description = "Stage Box", .ports = 3});
  openSystem();
  const auto names = [](const std::vector<MidiEndpointDescription>& endpoints) {
    std::vector<std::string> all;
    for (const auto& endpoint : endpoints) all.push_back(endpoint.name);
    return all;
  };
  EXPECT_THAT(names(system_->sources()),
              ElementsAre("Stage Box:capture_0", "Stage Box:capture_1", "Stage Box:capture_2"));
  EXPECT_THAT(names(system_->destinations()),
              ElementsAre("Stage Box:playback_0", "Stage Box:playback_1", "Stage Box:playback_2"));
  openLoop(source("capture_1"), destination("playback_1"));
  pause(milliseconds(200));
  EXPECT_EQ(system_->sources().size(), 3U);
  EXPECT_EQ(system_->destinations().size(), 3U);
  EXPECT_EQ(notices_, 0);
}

TEST_F(PipeWireMidi, TheWiresOfADeviceAreNotMixed) {
  rig_->add(RigMidiDevice{.name = "box", .ports = 3});
  openSystem();
  openLoop(source("capture_1"), destination("playback_1"));
  succeeds([&] {
    for (std::uint8_t wire = 0; wire < 3; ++wire) {
      EXPECT_EQ(send(destination("playback_" + std::to_string(wire)), {0xF3, wire}, after(milliseconds(50))),
                kPlatformOk);
    }
    const auto result = comes(1);
    pause(milliseconds(100));
    EXPECT_THAT(inbox_.bytes(), AnyOf(IsEmpty(), ElementsAre(0xF3, 1)));
    return result;
  });
}

TEST_F(PipeWireMidi, WhatIsSentForAnInstantArrivesWithThatInstantAtTheRatesOfTimecode) {
  openBox();
  // Nanoseconds from quarter frame to quarter frame at 24, 25, 29.97 and 30 frames per second.
  for (const std::uint64_t period : {10'416'667ULL, 10'000'000ULL, 8'341'667ULL, 8'333'333ULL}) {
    const auto total = static_cast<std::size_t>(3'000'000'000 / period);
    const int lossesBefore = lossesTold();
    inbox_.clear();
    std::vector<HostTime> sent;
    const HostTime begin = after(milliseconds(100));
    while (sent.size() < total) {
      // As a generator does: up to 100 ms ahead, every 10 ms.
      while (sent.size() < total) {
        const HostTime when = begin + HostDuration{period * sent.size()};
        if (when > after(milliseconds(100))) break;
        ASSERT_EQ(send(to_, {0xF1, static_cast<std::uint8_t>(sent.size() % 128)}, when), kPlatformOk);
        sent.push_back(when);
      }
      pause(milliseconds(10));
    }
    ASSERT_TRUE(queue_.runUntil([&] { return inbox_.count() == sent.size() || lossesTold() > lossesBefore; }))
        << inbox_.count() << "\n"
        << log();
    if (inbox_.count() < sent.size()) pause(milliseconds(500));
    const auto packets = inbox_.packets();
    // Only what the log owns up to may be missing.
    ASSERT_GE(packets.size(), lossesTold() > lossesBefore ? sent.size() / 2 : sent.size());
    std::vector<double> errors;
    std::vector<double> delays;
    std::size_t index = 0;
    for (const auto& packet : packets) {
      while (index < sent.size() && packet.bytes != MidiBytesList{0xF1, static_cast<std::uint8_t>(index % 128)})
        ++index;
      ASSERT_LT(index, sent.size()) << "a message that was not sent, or in another order";
      errors.push_back(std::abs(samplesBetween(sent[index++], packet.instant)));
      delays.push_back(samplesBetween(packet.instant, packet.read) / 48);
    }
    std::ranges::sort(errors);
    std::ranges::sort(delays);
    std::printf(
        "one each %.3f ms: %zu messages, off by %.2f samples at the median and %.2f at worst; read after %.1f ms at "
        "the median and %.1f at worst; %llu cycles missed\n",
        static_cast<double>(period) / 1e6, errors.size(), errors[errors.size() / 2], errors.back(),
        delays[delays.size() / 2], delays.back(), static_cast<unsigned long long>(rig_->missedCycles("box")));
    // A cycle that the machine leaves out moves what is in it by whole cycles; all else is on the grid.
    const auto moved = std::ranges::count_if(errors, [](double error) { return error > 1; });
    const auto missed = static_cast<std::ptrdiff_t>(rig_->missedCycles("box"));
    EXPECT_LE(moved, missed * 6) << log();
  }
}

TEST_F(PipeWireMidi, AMessageForNowArrives) {
  openBox();
  succeeds([&] {
    const int late = logged("late");
    for (std::uint8_t count = 0; count < 20; ++count) {
      inbox_.clear();
      const HostTime now = clock_.now();
      EXPECT_EQ(send(to_, {0xF3, count}, now), kPlatformOk);
      if (const auto result = comes(MidiBytesList{0xF3, count}); !result) return result;
      EXPECT_GE(samplesBetween(now, inbox_.packets()[0].instant), -1);
      pause(milliseconds(count));
    }
    // The log tells once a second.
    pause(milliseconds(1100));
    return logged("late") == late ? testing::AssertionSuccess() : testing::AssertionFailure() << "one was late";
  });
}

TEST_F(PipeWireMidi, TheFirstMessagesToADestinationArriveAllOfThem) {
  const auto attempt = [&]() -> testing::AssertionResult {
    if (std::exchange(system_, nullptr)) rig_->removeMidi("box");
    rig_->add(RigMidiDevice{.name = "box"});
    openSystem();
    EXPECT_EQ(system_->connectSource(in_, source("box")), kPlatformOk);
    pause(milliseconds(150));
    const auto to = destination("box");
    const int late = logged("late");
    const HostTime begin = clock_.now();
    EXPECT_EQ(send(to, sysexOf(10), begin), kPlatformOk);
    const HostTime opened = clock_.now();
    std::vector<HostTime> sent;
    for (std::uint8_t count = 0; count < 12; ++count) {
      sent.push_back(opened + HostDuration{30'000'000 + 8'333'333ULL * count});
      EXPECT_EQ(send(to, {0xF1, count}, sent.back()), kPlatformOk);
    }
    if (const auto result = comes(13); !result) return result;
    const auto packets = inbox_.packets();
    EXPECT_EQ(packets[0].bytes, sysexOf(10));
    double worst = 0;
    for (std::size_t index = 0; index < sent.size(); ++index) {
      EXPECT_THAT(packets[index + 1].bytes, ElementsAre(0xF1, index));
      worst = std::max(worst, std::abs(samplesBetween(sent[index], packets[index + 1].instant)));
    }
    std::printf("opened in %.1f ms, first message %.1f ms after its instant, the others off by %.2f samples\n",
                samplesBetween(begin, opened) / 48, samplesBetween(begin, packets[0].instant) / 48, worst);
    if (worst <= 1 && logged("late") == late) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "not all came at their instants";
  };
  for (int round = 0; round < 10; ++round) succeeds(attempt);
}

TEST_F(PipeWireMidi, SystemExclusiveMessagesArriveWholeAndLongOnesInParts) {
  openBox();
  succeeds([&] {
    EXPECT_EQ(send(to_, sysexOf(10), after(milliseconds(60))), kPlatformOk);
    return comes(sysexOf(10));
  });
  EXPECT_EQ(inbox_.count(), 1U);

  auto expected = sysexOf(20'000);
  expected.insert(expected.end(), {0xF1, 0x11});
  succeeds([&] {
    EXPECT_EQ(send(to_, sysexOf(20'000), after(milliseconds(60))), kPlatformOk);
    EXPECT_EQ(send(to_, {0xF1, 0x11}, after(milliseconds(60))), kPlatformOk);
    return comes(expected);
  });
  std::printf("20000 bytes in %zu packets\n", inbox_.count());
  EXPECT_GT(inbox_.count(), 2U);
}

TEST_F(PipeWireMidi, AFlushLeavesNothingBeyondTheRunningCycle) {
  openBox();
  const auto attempt = [&]() -> testing::AssertionResult {
    const int told = lossesTold();
    const HostTime begin = after(milliseconds(20));
    for (std::uint8_t count = 0; count < 100; ++count) {
      EXPECT_EQ(send(to_, {0xF1, count}, begin + HostDuration{5'000'000ULL * count}), kPlatformOk);
    }
    pause(milliseconds(130));
    EXPECT_EQ(system_->flushOutput(to_), kPlatformOk);
    const HostTime flushed = clock_.now();
    EXPECT_EQ(send(to_, {0xF3, 0x55}, after(milliseconds(100))), kPlatformOk);
    const auto lastHasCome = [&] {
      const auto packets = inbox_.packets();
      return !packets.empty() && packets.back().bytes[0] == 0xF3;
    };
    queue_.runUntil([&] { return lossesTold() > told || lastHasCome(); });
    if (!lastHasCome()) return testing::AssertionFailure() << "what was sent after the flush did not come";
    const auto packets = inbox_.packets();
    // As long as the rest would have taken.
    pause(milliseconds(500));
    if (inbox_.count() != packets.size()) return testing::AssertionFailure() << "more came behind the last";
    if (packets.size() < 10) return testing::AssertionFailure() << packets.size() << " messages came";
    for (std::size_t index = 0; index + 1 < packets.size(); ++index) {
      if (packets[index].bytes != MidiBytesList{0xF1, static_cast<std::uint8_t>(index)})
        return testing::AssertionFailure() << "message " << index << " is another";
      // The running cycle ends a cycle after the flush at the latest.
      if (samplesBetween(flushed, packets[index].instant) > 1024)
        return testing::AssertionFailure() << "message " << index << " came for all the flush";
    }
    return testing::AssertionSuccess();
  };
  for (int round = 0; round < 5; ++round) succeeds(attempt);
}

TEST_F(PipeWireMidi, TwoClientsHearOneSourceAndOneGoesWithoutTheOther) {
  openBox();
  MIDIClientRef second = 0;
  MIDIPortRef port = 0;
  MidiInbox inbox(clock_);
  ASSERT_EQ(system_->createClient("second", nullptr, second), kPlatformOk);
  ASSERT_EQ(system_->createInputPort(second, "in", inbox.callback(), port), kPlatformOk);
  ASSERT_EQ(system_->connectSource(port, from_), kPlatformOk);
  ASSERT_EQ(system_->connectSource(port, from_), kPlatformOk);
  succeeds([&] {
    inbox.clear();
    EXPECT_EQ(send(to_, {0xF3, 1}, after(milliseconds(50))), kPlatformOk);
    return comes(MidiBytesList{0xF3, 1});
  });
  ASSERT_TRUE(queue_.runUntil([&] { return inbox.count() == 1; }));
  EXPECT_EQ(inbox_.packets()[0].instant, inbox.packets()[0].instant);

  system_->disposeClient(second);
  succeeds([&] {
    EXPECT_EQ(send(to_, {0xF3, 2}, after(milliseconds(50))), kPlatformOk);
    return comes(MidiBytesList{0xF3, 2});
  });
  EXPECT_EQ(inbox.count(), 1U);
  EXPECT_EQ(system_->connectSource(port, from_), -EBADF);
}

TEST_F(PipeWireMidi, OnePortHearsManySources) {
  rig_->add(RigMidiDevice{.name = "box", .ports = 8});
  openSystem();
  for (const auto& endpoint : system_->sources()) {
    ASSERT_EQ(system_->connectSource(in_, endpoint.endpoint), kPlatformOk);
  }
  const auto destinations = system_->destinations();
  for (const auto& endpoint : destinations) ASSERT_EQ(send(endpoint.endpoint, {0xFE}, clock_.now()), kPlatformOk);
  pause(milliseconds(200));
  succeeds([&] {
    const HostTime when = after(milliseconds(100));
    for (std::uint8_t wire = 0; wire < 8; ++wire) {
      EXPECT_EQ(send(destinations[wire].endpoint, {0xF3, wire}, when), kPlatformOk);
    }
    return comes(8);
  });
  std::set<MidiBytesList> heard;
  for (const auto& packet : inbox_.packets()) heard.insert(packet.bytes);
  EXPECT_EQ(heard.size(), 8U);
  EXPECT_EQ(inbox_.count(), 8U);
}

TEST_F(PipeWireMidi, ADisconnectedPortHearsNothingFromThatMomentOn) {
  openBox();
  std::atomic<bool> ends = false;
  std::thread sender([&] {
    while (!ends) {
      system_->send(out_, to_, MidiBytesList{0xFE}, clock_.now());
      std::this_thread::sleep_for(milliseconds(1));
    }
  });
  for (int round = 0; round < 10; ++round) {
    ASSERT_EQ(system_->connectSource(in_, from_), kPlatformOk);
    EXPECT_TRUE(queue_.runUntil([&] { return inbox_.count() > 0; }));
    ASSERT_EQ(system_->disconnectSource(in_, from_), kPlatformOk);
    inbox_.clear();
    pause(milliseconds(40));
    EXPECT_EQ(inbox_.count(), 0U);
  }
  EXPECT_EQ(system_->disconnectSource(in_, from_), -ENODEV);
  ends = true;
  sender.join();
}

TEST_F(PipeWireMidi, WhatAPortHasSentGoesOutAfterItsDisposal) {
  openBox();
  succeeds([&] {
    EXPECT_EQ(system_->createOutputPort(client_, "another", out_), kPlatformOk);
    EXPECT_EQ(send(to_, {0xF3, 7}, after(milliseconds(300))), kPlatformOk);
    system_->disposePort(out_);
    EXPECT_EQ(send(to_, {0xF3, 8}, after(milliseconds(300))), -EBADF);
    return comes(MidiBytesList{0xF3, 7});
  });
}

TEST_F(PipeWireMidi, AnOutputThatIsNotUsedClosesAndOpensAgain) {
  openBox();
  rig_->waitForNode("Tallyrig to box:playback_0", 0, 0);
  pause(milliseconds(7000));
  rig_->waitForNode("Tallyrig to box:playback_0", 0, 0);
  rig_->waitForNoNode("Tallyrig to box:playback_0");
  succeeds([&] {
    EXPECT_EQ(send(to_, {0xF3, 7}, clock_.now()), kPlatformOk);
    return comes(MidiBytesList{0xF3, 7});
  });
}

TEST_F(PipeWireMidi, ABusySystemCanGo) {
  for (int round = 0; round < 6; ++round) {
    rig_->add(RigMidiDevice{.name = "box"});
    openSystem();
    const auto to = destination("box");
    openLoop(source("box"), to);
    std::atomic<bool> ends = false;
    std::thread sender([&] {
      for (int count = 0; !ends; ++count) {
        system_->send(out_, to, MidiBytesList{0xF1, 1}, after(milliseconds(count % 100)));
        std::this_thread::sleep_for(std::chrono::microseconds(500));
      }
    });
    queue_.runUntil([&] { return inbox_.count() > 20; });
    if (round % 3 == 0) system_->disposePort(in_);
    if (round % 3 == 1) system_->disposeClient(client_);
    pause(milliseconds(10));
    ends = true;
    sender.join();
    system_.reset();
    const auto read = inbox_.count();
    pause(milliseconds(50));
    EXPECT_EQ(inbox_.count(), read);
    rig_->removeMidi("box");
  }
}

TEST_F(PipeWireMidi, UnknownNumbersGiveAStatus) {
  openBox();
  MIDIPortRef port = 5;
  EXPECT_EQ(system_->createInputPort(4711, "in", inbox_.callback(), port), -EBADF);
  EXPECT_EQ(port, 0U);
  EXPECT_EQ(system_->createOutputPort(4711, "out", port), -EBADF);
  EXPECT_EQ(send(4711, {0xFE}, clock_.now()), -ENODEV);
  EXPECT_EQ(send(from_, {0xFE}, clock_.now()), -ENODEV);
  EXPECT_EQ(send(to_, {}, clock_.now()), -EINVAL);
  EXPECT_EQ(system_->send(in_, to_, MidiBytesList{0xFE}, clock_.now()), -EBADF);
  EXPECT_EQ(system_->flushOutput(4711), -ENODEV);
  EXPECT_EQ(system_->connectSource(in_, 4711), -ENODEV);
  EXPECT_EQ(system_->connectSource(in_, to_), -ENODEV);
  EXPECT_EQ(system_->connectSource(out_, from_), -EBADF);
}

/// Longer cycles than a time-out of four quarter frames.
TEST(PipeWireMidiPace, TheEventsOfALongCycleAreReadWithTheirOwnPace) {
  struct LongCycles : PipeWireMidiFixture {
    void TestBody() override {
      startRig({.quantum = 4096});
      rig_->add(RigMidiDevice{.name = "box"});
      openSystem();
      const auto to = destination("box");
      openLoop(source("box"), to);
      // A thread that is kept from reading has more to read at once. What is wrong on our side is wrong in every
      // attempt.
      constexpr int kMostAttempts = 5;
      bool isPaced = false;
      for (int attempt = 0; attempt < kMostAttempts && !isPaced; ++attempt) {
        HostTime begin;
        succeeds([&] {
          begin = after(milliseconds(150));
          for (std::uint8_t count = 0; count < 110; ++count) {
            EXPECT_EQ(send(to, {0xF1, count}, begin + HostDuration{8'333'333ULL * count}), kPlatformOk);
          }
          return comes(110);
        });
        const auto packets = inbox_.packets();
        ASSERT_EQ(packets.size(), 110U);
        std::vector<double> gaps;
        double worst = 0;
        for (std::size_t index = 0; index < packets.size(); ++index) {
          worst = std::max(
              worst, std::abs(samplesBetween(begin + HostDuration{8'333'333ULL * index}, packets[index].instant)));
          if (index > 0) gaps.push_back(samplesBetween(packets[index - 1].read, packets[index].read) / 48);
        }
        std::ranges::sort(gaps);
        const double median = gaps[gaps.size() / 2];
        std::printf(
            "quantum 4096: instants off by %.2f samples at worst, readings %.1f ms apart at the median, %.1f at "
            "worst\n",
            worst, median, gaps.back());
        // A burst would leave most readings no time apart.
        isPaced = std::abs(median - 8.3) <= 2.1 && gaps[gaps.size() / 10] > 4;
      }
      EXPECT_TRUE(isPaced);
    }
  };
  LongCycles test;
  test.TestBody();
}

}  // namespace
}  // namespace tallyrig
