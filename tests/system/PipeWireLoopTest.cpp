#include <pthread.h>

#include <chrono>
#include <cstdio>

#include "system/LoopProbe.h"
#include "system/PipeWireFixture.h"

namespace tallyrig {
namespace {

using std::chrono::steady_clock;

double millisecondsSince(steady_clock::time_point start) {
  return std::chrono::duration<double, std::milli>(steady_clock::now() - start).count();
}

struct LoopCase {
  int channels = 8;
  int quantum = 1024;
  int rate = 48000;
  bool sessionManager = false;
};

void PrintTo(const LoopCase& loop, std::ostream* out) {
  *out << loop.channels << " channels, quantum " << loop.quantum << ", " << loop.rate << " Hz"
       << (loop.sessionManager ? ", session manager" : "");
}

class PipeWireLoop : public PipeWireFixture, public testing::WithParamInterface<LoopCase> {};

INSTANTIATE_TEST_SUITE_P(Devices, PipeWireLoop,
                         testing::Values(LoopCase{}, LoopCase{.channels = 64}, LoopCase{.channels = 1},
                                         LoopCase{.sessionManager = true},
                                         LoopCase{.channels = 64, .sessionManager = true},
                                         LoopCase{.channels = 2, .quantum = 8192}, LoopCase{.rate = 44100},
                                         LoopCase{.quantum = 2048, .rate = 96000}));

TEST_P(PipeWireLoop, WhatIsPlayedAtAnInstantIsRecordedAtThatInstant) {
  const LoopCase& loop = GetParam();
  startRig({.rate = loop.rate, .quantum = loop.quantum, .sessionManager = loop.sessionManager});
  addDevice(Kind::kDuplex, "duplex", loop.channels);
  openSystem();
  const std::size_t wanted = std::clamp<std::size_t>(3 * 48000 / static_cast<std::size_t>(loop.quantum), 20, 300);
  listed("duplex");

  LoopProbe::Verdict verdict;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    LoopProbe probe(loop.channels, wanted);
    std::atomic<pthread_t> thread{};
    const auto opening = steady_clock::now();
    const auto io = openIO("duplex", [&](const AudioCycle& cycle) {
      thread.store(pthread_self(), std::memory_order_relaxed);
      probe.cycle(cycle);
    });
    ASSERT_TRUE(io);
    std::printf("open: %.1f ms\n", millisecondsSince(opening));
    ASSERT_EQ(io->start(), kPlatformOk);
    const auto start = steady_clock::now();
    ASSERT_TRUE(queue_.runUntil([&] { return probe.isFull(); }, std::chrono::seconds(20)));

    clockid_t clock{};
    timespec used{};
    ASSERT_EQ(pthread_getcpuclockid(thread.load(), &clock), 0);
    clock_gettime(clock, &used);
    const double busy = static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) / 1e6;
    std::printf("data thread: %.2f %% of a core, the probe's own work included\n",
                100 * busy / millisecondsSince(start));

    io->stop();
    verdict = probe.verdict(loop.rate);
    std::printf("cycles: %d exact, %d silent, %d after a stall, %d wrong\n", verdict.exact, verdict.silent,
                verdict.afterStall, verdict.wrong);
    if (verdict.wrong == 0) break;
  }
  EXPECT_EQ(verdict.wrong, 0);
  EXPECT_GE(verdict.exact, static_cast<int>(wanted) / 2);
}

}  // namespace
}  // namespace tallyrig
