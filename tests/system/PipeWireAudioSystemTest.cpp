#include <pthread.h>

#include <array>
#include <chrono>
#include <cstdio>

#include "system/LoopProbe.h"
#include "system/PipeWireFixture.h"

namespace tallyrig {
namespace {

class PipeWireIO : public PipeWireFixture {
 protected:
  void SetUp() override { startRig({}); }
};

TEST_F(PipeWireIO, AChangeBetweenTwoCyclesIsNeverSeenHalf) {
  addDevice(Kind::kDuplex, "duplex", 2);
  openSystem();
  std::array<int, 256> values{};
  std::atomic<int> cycles = 0;
  std::atomic<int> torn = 0;
  const auto io = openIO("duplex", [&](const AudioCycle&) {
    if (std::ranges::adjacent_find(values, std::not_equal_to{}) != values.end()) ++torn;
    ++cycles;
  });
  ASSERT_EQ(io->start(), kPlatformOk);
  ASSERT_TRUE(queue_.runUntil([&] { return cycles > 0; }));

  const int before = cycles;
  int changes = 0;
  bool alwaysInContext = true;
  while (cycles < before + 100) {
    ++changes;
    io->betweenCycles([&] {
      alwaysInContext = alwaysInContext && io->isCallbackContext();
      for (auto& value : values) value = changes;
    });
    ASSERT_EQ(values.front(), changes);
  }
  EXPECT_EQ(torn, 0);
  EXPECT_TRUE(alwaysInContext);
  EXPECT_GT(changes, 100);
  std::printf("%d changes in 100 cycles\n", changes);
}

TEST_F(PipeWireIO, TheCallbackKnowsItsContextAndNobodyElseIsInIt) {
  addDevice(Kind::kDuplex, "duplex", 2);
  openSystem();
  AudioIO* self = nullptr;
  std::atomic<int> inContext = 0;
  std::atomic<int> outside = 0;
  std::atomic<bool> nested = false;
  const auto io = openIO("duplex", [&](const AudioCycle&) {
    ++(self->isCallbackContext() ? inContext : outside);
    self->betweenCycles([&] { nested = true; });
  });
  self = io.get();
  EXPECT_FALSE(io->isCallbackContext());
  ASSERT_EQ(io->start(), kPlatformOk);
  ASSERT_TRUE(queue_.runUntil([&] { return inContext + outside > 5; }));
  EXPECT_EQ(outside, 0);
  EXPECT_TRUE(nested);
  EXPECT_FALSE(io->isCallbackContext());
}

TEST_F(PipeWireIO, NothingIsCalledBeforeTheStartAndAfterTheStop) {
  addDevice(Kind::kDuplex, "duplex", 2);
  openSystem();
  std::atomic<int> cycles = 0;
  const auto io = openIO("duplex", [&](const AudioCycle&) { ++cycles; });
  bool changed = false;
  io->betweenCycles([&] { changed = true; });
  EXPECT_TRUE(changed);
  queue_.runUntil([] { return false; }, std::chrono::milliseconds(100));
  EXPECT_EQ(cycles, 0);

  for (int round = 0; round < 20; ++round) {
    ASSERT_EQ(io->start(), kPlatformOk);
    const int before = cycles;
    ASSERT_TRUE(queue_.runUntil([&] { return cycles > before; }));
    io->stop();
    const int stopped = cycles;
    queue_.runUntil([] { return false; }, std::chrono::milliseconds(30));
    ASSERT_EQ(cycles, stopped);
  }
}

TEST_F(PipeWireIO, ADeviceThatWaitedLongForItsStartHearsFromTheFirstCycle) {
  addDevice(Kind::kDuplex, "duplex", 2);
  openSystem();
  LoopProbe::Verdict verdict;
  for (int attempt = 0; attempt < kAttempts && (verdict.wrong > 0 || verdict.exact < 30); ++attempt) {
    LoopProbe probe(2, 40);
    const auto io = openIO("duplex", [&](const AudioCycle& cycle) { probe.cycle(cycle); });
    // Long enough for the cycles that nobody hears to take every buffer there is.
    queue_.runUntil([] { return false; }, std::chrono::milliseconds(500));
    ASSERT_EQ(io->start(), kPlatformOk);
    ASSERT_TRUE(queue_.runUntil([&] { return probe.isFull(); }));
    io->stop();
    verdict = probe.verdict(48000);
  }
  EXPECT_EQ(verdict.wrong, 0);
  EXPECT_GE(verdict.exact, 30);
}

TEST_F(PipeWireIO, TheStampsAreOfTheHostClock) {
  addDevice(Kind::kDuplex, "duplex", 2);
  openSystem();
  std::atomic<std::uint64_t> earliest = 0;
  std::atomic<std::uint64_t> latest = 0;
  std::atomic<int> cycles = 0;
  const auto io = openIO("duplex", [&](const AudioCycle& cycle) {
    earliest = std::min(earliest.load(), cycle.inputTime.hostTime.ticks);
    latest = std::max(latest.load(), cycle.outputTime.hostTime.ticks);
    ++cycles;
  });
  std::uint64_t begin = 1;
  // A server that was held up begins with the cycles that are behind.
  for (int attempt = 0; attempt < kAttempts && earliest < begin; ++attempt) {
    begin = clock_.now().ticks - 2 * clock_.ticksFromNanos(21'333'333).ticks;
    earliest = UINT64_MAX;
    cycles = 0;
    ASSERT_EQ(io->start(), kPlatformOk);
    ASSERT_TRUE(queue_.runUntil([&] { return cycles > 20; }));
    io->stop();
    EXPECT_LE(latest, clock_.now().ticks);
  }
  EXPECT_GE(earliest, begin);
}

TEST_F(PipeWireIO, ARefusedPriorityIsSaidOnce) {
  addDevice(Kind::kDuplex, "duplex", 2);
  openSystem();
  for (int round = 0; round < 2; ++round) {
    std::atomic<pthread_t> thread{};
    const auto io = openIO("duplex", [&](const AudioCycle&) { thread = pthread_self(); });
    ASSERT_EQ(io->start(), kPlatformOk);
    ASSERT_TRUE(queue_.runUntil([&] { return thread != pthread_t{}; }));
    queue_.runUntil([&] { return logged("real-time priority refused") > 0; }, std::chrono::milliseconds(1500));
    int policy = 0;
    sched_param parameters{};
    ASSERT_EQ(pthread_getschedparam(thread, &policy, &parameters), 0);
    EXPECT_EQ(logged("real-time priority refused"), policy == SCHED_OTHER ? 1 : 0);
  }
}

TEST_F(PipeWireIO, TwoDevicesRunSideBySideAndTwoUsersOnOneDevice) {
  addDevice(Kind::kDuplex, "one", 2);
  addDevice(Kind::kDuplex, "other", 4);
  openSystem();
  const auto isRight = [](const LoopProbe& probe) {
    const auto verdict = probe.verdict(48000);
    std::printf("cycles: %d exact, %d silent, %d after a stall, %d wrong\n", verdict.exact, verdict.silent,
                verdict.afterStall, verdict.wrong);
    return verdict.wrong == 0 && verdict.exact >= 25;
  };
  bool areRight = false;
  for (int attempt = 0; attempt < kAttempts && !areRight; ++attempt) {
    LoopProbe one(2, 50);
    LoopProbe other(4, 50);
    std::atomic<int> again = 0;
    const auto first = openIO("one", [&](const AudioCycle& cycle) { one.cycle(cycle); });
    const auto second = openIO("other", [&](const AudioCycle& cycle) { other.cycle(cycle); });
    const auto third = openIO("one", [&](const AudioCycle&) { ++again; });
    for (const auto* io : {&first, &second, &third}) ASSERT_EQ((*io)->start(), kPlatformOk);
    ASSERT_TRUE(queue_.runUntil([&] { return one.isFull() && other.isFull() && again > 40; }));
    for (const auto* io : {&first, &second, &third}) (*io)->stop();
    const bool isOneRight = isRight(one);
    areRight = isRight(other) && isOneRight;
  }
  EXPECT_TRUE(areRight);
}

TEST_F(PipeWireIO, DestroyedWhileRunningItIsGoneFromTheServer) {
  addDevice(Kind::kDuplex, "duplex", 8);
  openSystem();
  for (int round = 0; round < 10; ++round) {
    std::atomic<int> cycles = 0;
    auto io = openIO("duplex", [&](const AudioCycle&) { ++cycles; });
    ASSERT_EQ(io->start(), kPlatformOk);
    ASSERT_TRUE(queue_.runUntil([&] { return cycles > 2; }));
    rig_->waitForNode("Tallyrig.duplex", 8, 8);
    io.reset();
    const int last = cycles;
    rig_->waitForNoNode("Tallyrig.duplex");
    ASSERT_EQ(cycles, last);
  }
}

TEST_F(PipeWireIO, TheSystemMayGoBeforeWhatIsOpen) {
  addDevice(Kind::kDuplex, "duplex", 2);
  openSystem();
  std::atomic<int> cycles = 0;
  auto io = openIO("duplex", [&](const AudioCycle&) { ++cycles; });
  ASSERT_EQ(io->start(), kPlatformOk);
  system_.reset();
  const int before = cycles;
  EXPECT_TRUE(queue_.runUntil([&] { return cycles > before + 5; }));
  io->stop();
  io.reset();
}

bool isSound(float sample) {
  return sample != 0.0F;
}

/// The ramp that stands in `heard` from `start` on: its length, or where it breaks.
std::size_t rampLength(const std::vector<float>& heard, std::size_t start) {
  std::size_t length = 1;
  while (start + length < heard.size() && heard[start + length] == heard[start + length - 1] + 1.0F / (1 << 20))
    ++length;
  return length;
}

std::vector<float> ramp(std::size_t frames) {
  std::vector<float> samples(frames);
  for (std::size_t frame = 0; frame < frames; ++frame) samples[frame] = static_cast<float>(frame + 1) / (1 << 20);
  return samples;
}

TEST_F(PipeWireIO, SoundFromAnotherProgramArrivesOnItsChannelAtItsInstant) {
  addDevice(Kind::kSource, "source", 4);
  openSystem();
  std::vector<float> heard(96000);
  std::size_t at = 0;
  std::uint64_t heardFrom = 0;
  float elsewhere = 0;
  std::atomic<bool> full = false;
  const auto io = openIO("source", [&](const AudioCycle& cycle) {
    const auto& buffer = cycle.input[2];
    for (const auto other : {0, 1, 3}) elsewhere = std::max(elsewhere, std::abs(cycle.input[other].data[0]));
    const std::size_t frames = buffer.byteSize / sizeof(float);
    if (heardFrom == 0) heardFrom = cycle.inputTime.hostTime.ticks;
    if (at + frames > heard.size()) {
      full = true;
      return;
    }
    std::copy_n(buffer.data, frames, heard.data() + at);
    at += frames;
  });
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    at = 0;
    heardFrom = 0;
    full = false;
    ASSERT_EQ(io->start(), kPlatformOk);
    const auto sound = rig_->play("source", {2}, {ramp(20000)});
    ASSERT_TRUE(queue_.runUntil([&] { return full.load(); }, std::chrono::seconds(20)));
    io->stop();
    if (sound->gaps() > 0) continue;

    const auto start = static_cast<std::size_t>(std::ranges::find_if(heard, isSound) - heard.begin());
    ASSERT_LT(start, heard.size());
    EXPECT_EQ(heard[start], 1.0F / (1 << 20));
    EXPECT_EQ(rampLength(heard, start), 20000U);
    EXPECT_EQ(elsewhere, 0.0F);
    const double sample = (static_cast<double>(sound->startNanos()) - static_cast<double>(heardFrom)) * 48000 / 1e9;
    EXPECT_NEAR(static_cast<double>(start), sample, 0.01);
    return;
  }
  FAIL() << "the machine stalled in every attempt: the server left cycles out";
}

TEST_F(PipeWireIO, ACardOfTwoNodesPlaysAndRecordsInOneCycle) {
  const std::string card = std::to_string(rig_->addCard("The card"));
  addDevice(Kind::kSink, "outputs", 2, {{"device.id", card}});
  addDevice(Kind::kSource, "inputs", 2, {{"device.id", card}});
  openSystem();
  std::atomic<int> cycles = 0;
  std::atomic<bool> heard = false;
  std::int64_t played = 0;
  const auto io = openIO("card", [&](const AudioCycle& cycle) {
    if (cycle.input.size() != 2 || cycle.output.size() != 2) return;
    if (cycle.input[1].data[0] == 0.25F) heard = true;
    for (std::uint32_t frame = 0; frame < cycle.output[1].byteSize / sizeof(float); ++frame) {
      cycle.output[1].data[frame] = static_cast<float>(++played % 1000000 + 1) / (1 << 20);
    }
    ++cycles;
  });
  ASSERT_EQ(io->start(), kPlatformOk);
  const auto sound = rig_->play("inputs", {1}, {std::vector<float>(480000, 0.25F)});
  EXPECT_TRUE(queue_.runUntil([&] { return heard.load() && cycles > 10; }));
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const auto recording = rig_->record("outputs", {0, 1}, 10000);
    recording->waitUntilDone(std::chrono::seconds(10));
    EXPECT_EQ(std::ranges::count(recording->samples()[0], 0.0F), 10000);
    if (recording->gaps() > 0) continue;
    const auto& recorded = recording->samples()[1];
    const auto start = static_cast<std::size_t>(std::ranges::find_if(recorded, isSound) - recorded.begin());
    // Until its links are up a recorder hears silence.
    EXPECT_LE(start, 3 * 1024U);
    EXPECT_EQ(start + rampLength(recorded, start), recorded.size());
    return;
  }
  FAIL() << "the machine stalled in every attempt: the server left cycles out";
}

}  // namespace
}  // namespace tallyrig
