#include "platform/pipewire/MidiSchedule.h"

#include <cerrno>
#include <thread>

#include "platform/RealtimeScope.h"

namespace tallyrig {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using Bytes = std::vector<std::uint8_t>;

/// Of 1 kHz and 100 samples, so that a sample is a million ticks.
constexpr std::uint64_t kSample = 1'000'000;
constexpr std::uint64_t kOrigin = 10'000'000'000;

HostTime at(std::uint64_t sample) {
  return {kOrigin + sample * kSample};
}

class RecordedWire : public MidiSchedule::Wire {
 public:
  explicit RecordedWire(std::size_t limit) : limit_(limit) { events.reserve(4096); }
  std::size_t room() const override { return limit_ - used_; }
  bool isEmpty() const override { return events.empty(); }
  void put(std::uint32_t offset, std::span<const std::uint8_t> bytes) override {
    used_ += bytes.size();
    events.emplace_back(offset, Bytes(bytes.begin(), bytes.end()));
  }

  std::vector<std::pair<std::uint32_t, Bytes>> events;

 private:
  std::size_t limit_;
  std::size_t used_ = 0;
};

struct MidiScheduleTest : testing::Test {
  MidiSchedule schedule{64};

  void add(std::uint8_t byte, HostTime when, HostTime now = at(0)) {
    ASSERT_EQ(schedule.add(Bytes{byte}, when, now), kPlatformOk);
  }
  /// The cycle that begins at that sample.
  auto cycle(std::uint64_t first, std::size_t room = 4000) {
    RecordedWire wire(room);
    schedule.writeDue({.start = at(first), .frames = 100, .rate = 1000}, wire);
    return wire.events;
  }
};

TEST_F(MidiScheduleTest, AMessageGoesOutInItsCycleAtItsSample) {
  add(1, at(250));
  EXPECT_THAT(cycle(100), IsEmpty());
  EXPECT_THAT(cycle(200), ElementsAre(Pair(50, Bytes{1})));
  EXPECT_THAT(cycle(300), IsEmpty());
  EXPECT_TRUE(schedule.isEmpty());
}

TEST_F(MidiScheduleTest, TheBeginningBelongsToACycleAndTheEndToTheNext) {
  add(1, at(100));
  add(2, at(200));
  EXPECT_THAT(cycle(100), ElementsAre(Pair(0, Bytes{1})));
  EXPECT_THAT(cycle(200), ElementsAre(Pair(0, Bytes{2})));
}

TEST_F(MidiScheduleTest, TheLastHalfSampleOfACycleIsItsLastSample) {
  add(1, at(200) - HostDuration{1});
  EXPECT_THAT(cycle(100), ElementsAre(Pair(99, Bytes{1})));
}

TEST_F(MidiScheduleTest, MessagesLeaveInTheOrderOfTheirTimes) {
  add(3, at(130));
  add(1, at(110));
  add(2, at(120));
  EXPECT_THAT(cycle(100), ElementsAre(Pair(10, Bytes{1}), Pair(20, Bytes{2}), Pair(30, Bytes{3})));
}

TEST_F(MidiScheduleTest, MessagesOfOneTimeLeaveInTheOrderOfTheCalls) {
  for (std::uint8_t byte = 1; byte <= 3; ++byte) add(byte, at(120));
  EXPECT_THAT(cycle(0), IsEmpty());
  add(4, at(120));
  EXPECT_THAT(cycle(100), ElementsAre(Pair(20, Bytes{1}), Pair(20, Bytes{2}), Pair(20, Bytes{3}), Pair(20, Bytes{4})));
}

TEST_F(MidiScheduleTest, AMessageForNowGoesOutWithTheNextCycleAndIsNotLate) {
  add(1, at(150), at(150));
  EXPECT_THAT(cycle(200), ElementsAre(Pair(0, Bytes{1})));
  add(2, HostTime{0}, at(250));
  EXPECT_THAT(cycle(300), ElementsAre(Pair(0, Bytes{2})));
  EXPECT_EQ(schedule.takeTroubles().late, 0U);
}

TEST_F(MidiScheduleTest, AMessageOfALeftOutCycleGoesOutAtOnceAndIsCountedAsLate) {
  add(1, at(110));
  add(2, at(150));
  add(3, at(310));
  EXPECT_THAT(cycle(300), ElementsAre(Pair(0, Bytes{1}), Pair(0, Bytes{2}), Pair(10, Bytes{3})));
  const auto troubles = schedule.takeTroubles();
  EXPECT_EQ(troubles.late, 2U);
  EXPECT_EQ(troubles.worstNanos, 190 * kSample);
  EXPECT_EQ(troubles.dropped, 0U);
  EXPECT_EQ(schedule.takeTroubles().late, 0U);
}

TEST_F(MidiScheduleTest, ACycleThatComesAMillisecondLateMakesNothingLate) {
  add(1, at(200));
  RecordedWire wire(100);
  schedule.writeDue({.start = at(201), .frames = 100, .rate = 1000}, wire);
  EXPECT_THAT(wire.events, ElementsAre(Pair(0, Bytes{1})));
  EXPECT_EQ(schedule.takeTroubles().late, 0U);
}

TEST_F(MidiScheduleTest, AfterASecondAMessageIsDropped) {
  add(1, at(100));
  add(2, at(101));
  EXPECT_THAT(cycle(1101), ElementsAre(Pair(0, Bytes{2})));
  const auto troubles = schedule.takeTroubles();
  EXPECT_EQ(troubles.dropped, 1U);
  EXPECT_EQ(troubles.late, 1U);
  EXPECT_TRUE(schedule.isEmpty());
}

TEST_F(MidiScheduleTest, AFlushDropsWhatWaitsAndNothingThatComesAfterIt) {
  add(1, at(110));
  add(2, at(350));
  schedule.flush();
  add(3, at(120));
  EXPECT_THAT(cycle(100), ElementsAre(Pair(20, Bytes{3})));
  EXPECT_THAT(cycle(300), IsEmpty());
  EXPECT_TRUE(schedule.isEmpty());
  EXPECT_EQ(schedule.takeTroubles().dropped, 0U);
}

TEST_F(MidiScheduleTest, AFlushAlsoDropsWhatACycleHasSeen) {
  add(1, at(250));
  cycle(100);
  schedule.flush();
  EXPECT_THAT(cycle(200), IsEmpty());
}

TEST_F(MidiScheduleTest, AMessageThatHasBegunEndsEvenIfItIsFlushed) {
  schedule.add(Bytes{0xF0, 1, 2, 3, 4, 0xF7}, at(100), at(0));
  EXPECT_THAT(cycle(100, 4), ElementsAre(Pair(0, Bytes{0xF0, 1, 2, 3})));
  schedule.flush();
  EXPECT_THAT(cycle(200, 4), ElementsAre(Pair(0, Bytes{4, 0xF7})));
}

TEST_F(MidiScheduleTest, NothingComesBetweenThePartsOfALongMessage) {
  schedule.add(Bytes{0xF0, 1, 2, 3, 4, 0xF7}, at(150), at(0));
  EXPECT_THAT(cycle(100, 4), ElementsAre(Pair(50, Bytes{0xF0, 1, 2, 3})));
  add(9, at(120), at(110));
  EXPECT_THAT(cycle(200, 4), ElementsAre(Pair(0, Bytes{4, 0xF7}), Pair(0, Bytes{9})));
}

TEST_F(MidiScheduleTest, AMessageThatFitsAnEmptyWireIsNeverSplit) {
  add(1, at(100));
  schedule.add(Bytes{2, 2, 2, 2}, at(110), at(0));
  EXPECT_THAT(cycle(100, 4), ElementsAre(Pair(0, Bytes{1})));
  EXPECT_THAT(cycle(200, 4), ElementsAre(Pair(0, Bytes{2, 2, 2, 2})));
  EXPECT_EQ(schedule.takeTroubles().late, 1U);
}

TEST_F(MidiScheduleTest, AFullScheduleRefusesAndTakesAgainWhenItHasRoom) {
  for (int count = 0; count < 64; ++count) add(1, at(110));
  EXPECT_EQ(schedule.add(Bytes{2}, at(110), at(0)), -ENOBUFS);
  EXPECT_EQ(cycle(100).size(), 64U);
  EXPECT_EQ(schedule.add(Bytes{2}, at(210), at(0)), kPlatformOk);
  EXPECT_THAT(cycle(200), ElementsAre(Pair(10, Bytes{2})));
}

TEST_F(MidiScheduleTest, WhatStillWaitsGoesWithTheSchedule) {
  add(1, at(110));
  add(2, at(1000));
  cycle(100);
  add(3, at(2000));
}

class CountingWire : public MidiSchedule::Wire {
 public:
  std::size_t room() const override { return 1000; }
  bool isEmpty() const override { return false; }
  void put(std::uint32_t, std::span<const std::uint8_t> bytes) override {
    if (bytes[0] < flushedBelow) ++wrong;
    ++count;
  }
  std::uint8_t flushedBelow = 0;
  int count = 0;
  int wrong = 0;
};

TEST(MidiScheduleThreads, NothingFromBeforeAFlushGoesOutAfterTheRunningCycle) {
  MidiSchedule schedule(4096);
  std::atomic<int> cycles = 0;
  std::atomic<bool> ends = false;
  std::atomic<std::uint8_t> flushedBelow = 0;
  CountingWire wire;
  std::thread data([&] {
    for (std::uint64_t first = 0; !ends; first += 100) {
      wire.flushedBelow = flushedBelow;
      {
        const RealtimeScope scope;
        schedule.writeDue({.start = at(first), .frames = 100, .rate = 1000}, wire);
      }
      ++cycles;
      std::this_thread::yield();
    }
  });
  for (std::uint8_t round = 1; round < 200; ++round) {
    for (int count = 0; count < 20; ++count) {
      // At once, so that a cycle that comes now takes it.
      schedule.add(Bytes{round}, HostTime{0}, {~std::uint64_t{0} / 2});
    }
    schedule.flush();
    flushedBelow = static_cast<std::uint8_t>(round + 1);
    const int then = cycles;
    while (cycles < then + 2) std::this_thread::yield();
  }
  ends = true;
  data.join();
  EXPECT_EQ(wire.wrong, 0);
}

TEST(MidiScheduleThreads, ManySendersLoseNothing) {
  constexpr int kSenders = 4;
  constexpr int kEach = 5000;
  MidiSchedule schedule(1024);
  CountingWire wire;
  std::atomic<bool> ends = false;
  std::thread data([&] {
    while (!ends) {
      {
        const RealtimeScope scope;
        schedule.writeDue({.start = at(0), .frames = 100, .rate = 1000}, wire);
      }
      std::this_thread::yield();
    }
  });
  std::vector<std::thread> senders;
  for (int sender = 0; sender < kSenders; ++sender) {
    senders.emplace_back([&] {
      for (int count = 0; count < kEach;) {
        if (schedule.add(Bytes{1}, at(50), at(0)) == kPlatformOk) {
          ++count;
        } else {
          std::this_thread::yield();
        }
      }
    });
  }
  for (auto& sender : senders) sender.join();
  while (!schedule.isEmpty()) std::this_thread::yield();
  ends = true;
  data.join();
  EXPECT_EQ(wire.count, kSenders * kEach);
}

}  // namespace
}  // namespace tallyrig
