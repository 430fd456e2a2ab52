#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "system/LoopProbe.h"
#include "system/PipeWireFixture.h"
#include "system/RigFaults.h"

namespace tallyrig {
namespace {

/// Devices and servers that go, with and without a session manager.
class PipeWireLoss : public PipeWireFixture, public testing::WithParamInterface<bool> {
 protected:
  void startRigLater() { startRig({.sessionManager = GetParam(), .started = false}); }
  void SetUp() override { startRigLater(); }
};

INSTANTIATE_TEST_SUITE_P(SessionManager, PipeWireLoss, testing::Bool());

TEST_P(PipeWireLoss, AMissingServerIsAwaited) {
  openSystem();
  EXPECT_FALSE(system_->isAvailable());
  EXPECT_NE(system_->notice(), "");
  EXPECT_TRUE(system_->devices().empty());
  std::unique_ptr<AudioIO> io;
  EXPECT_EQ(system_->createIO(
                1, [](const AudioCycle&) {}, io),
            -ENOTCONN);
  EXPECT_EQ(io, nullptr);
  double rate = 0;
  EXPECT_EQ(system_->nominalSampleRate(1, rate), -ENOTCONN);

  int notices = 0;
  const auto subscription = system_->observeDevices([&] { ++notices; });
  rig_->start();
  ASSERT_TRUE(queue_.runUntil([&] { return system_->isAvailable(); }));
  ASSERT_TRUE(queue_.runUntil([&] { return notices > 0; }));
  EXPECT_EQ(system_->notice(), "");
  addDevice(Kind::kDuplex, "duplex", 2);
  std::atomic<int> cycles = 0;
  io = openIO("duplex", [&](const AudioCycle&) { ++cycles; });
  ASSERT_TRUE(io);
  ASSERT_EQ(io->start(), kPlatformOk);
  EXPECT_TRUE(queue_.runUntil([&] { return cycles > 5; }));
}

TEST_P(PipeWireLoss, AKilledServerIsAwaitedAndEverythingListedAnew) {
  rig_->start();
  addDevice(Kind::kDuplex, "duplex", 2);
  openSystem();
  auto before = listed("duplex").id;
  for (int round = 0; round < 3; ++round) {
    int notices = 0;
    const auto subscription = system_->observeDevices([&] { ++notices; });
    rig_->kill();
    ASSERT_TRUE(queue_.runUntil([&] { return !system_->isAvailable(); }));
    ASSERT_TRUE(queue_.runUntil([&] { return notices == 1; }));
    EXPECT_TRUE(system_->devices().empty());
    EXPECT_NE(system_->notice(), "");
    EXPECT_EQ(logged("connection to the sound server lost"), round + 1);

    rig_->start();
    const auto after = listed("duplex").id;
    EXPECT_NE(after, before);
    EXPECT_EQ(logged("connected to the sound server"), round + 2);
    before = after;
  }
}

TEST_P(PipeWireLoss, WhatIsOpenSurvivesTheServerAndPlaysOnInTheNextOne) {
  rig_->start();
  addDevice(Kind::kDuplex, "duplex", 2);
  openSystem();
  std::atomic<int> cycles = 0;
  const auto io = openIO("duplex", [&](const AudioCycle&) { ++cycles; });
  ASSERT_EQ(io->start(), kPlatformOk);
  ASSERT_TRUE(queue_.runUntil([&] { return cycles > 5; }));

  rig_->kill();
  ASSERT_TRUE(queue_.runUntil([&] { return !system_->isAvailable(); }));
  const int silent = cycles;
  bool changed = false;
  io->betweenCycles([&] { changed = true; });
  EXPECT_TRUE(changed);
  queue_.runUntil([] { return false; }, std::chrono::milliseconds(60));
  EXPECT_EQ(cycles, silent);

  rig_->start();
  EXPECT_TRUE(queue_.runUntil([&] { return cycles > silent + 5; }));
}

TEST_P(PipeWireLoss, WithoutAServerWhatIsOpenCanBeStoppedStartedAndDestroyed) {
  rig_->start();
  addDevice(Kind::kDuplex, "duplex", 2);
  openSystem();
  auto running = openIO("duplex", [](const AudioCycle&) {});
  auto stopped = openIO("duplex", [](const AudioCycle&) {});
  ASSERT_EQ(running->start(), kPlatformOk);
  rig_->kill();
  // The loss has perhaps not been noticed yet.
  running->stop();
  running->start();
  ASSERT_TRUE(queue_.runUntil([&] { return !system_->isAvailable(); }));
  running->stop();
  EXPECT_EQ(running->start(), -ENOTCONN);
  EXPECT_EQ(stopped->start(), -ENOTCONN);
  running.reset();
  rig_->start();
  listed("duplex");
  stopped.reset();
}

TEST_P(PipeWireLoss, AnUnpluggedDeviceIsSilentAndResumesWhenItReturns) {
  rig_->start();
  addDevice(Kind::kDuplex, "duplex", 8);
  addDevice(Kind::kDuplex, "other", 2);
  openSystem();
  std::atomic<int> others = 0;
  const auto other = openIO("other", [&](const AudioCycle&) { ++others; });
  ASSERT_EQ(other->start(), kPlatformOk);

  LoopProbe::Verdict verdict;
  for (int attempt = 0; attempt < kAttempts && (verdict.wrong > 0 || verdict.exact < 40); ++attempt) {
    LoopProbe probe(8, 1000);
    const auto io = openIO("duplex", [&](const AudioCycle& cycle) { probe.cycle(cycle); });
    ASSERT_EQ(io->start(), kPlatformOk);
    ASSERT_TRUE(queue_.runUntil([&] { return probe.count() > 20; }));

    rig_->remove("duplex");
    ASSERT_TRUE(vanishes("duplex"));
    const auto silent = probe.count();
    const int othersThen = others;
    EXPECT_EQ(io->start(), -ENODEV);
    ASSERT_TRUE(queue_.runUntil([&] { return others > othersThen + 10; }));
    EXPECT_EQ(probe.count(), silent);

    addDevice(Kind::kDuplex, "duplex", 8);
    const auto back = std::chrono::steady_clock::now();
    ASSERT_TRUE(queue_.runUntil([&] { return probe.count() > silent; }));
    std::printf("resumed %.1f ms after the last port\n",
                std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - back).count());
    ASSERT_TRUE(queue_.runUntil([&] { return probe.count() > silent + 60; }));
    io->stop();
    verdict = probe.verdict(48000);
    std::printf("cycles: %d exact, %d silent, %d after a stall, %d wrong\n", verdict.exact, verdict.silent,
                verdict.afterStall, verdict.wrong);
  }
  EXPECT_EQ(verdict.wrong, 0);
  EXPECT_GE(verdict.exact, 40);
}

TEST_P(PipeWireLoss, ADeviceThatReturnsWithFewerChannelsLeavesTheOthersSilent) {
  rig_->start();
  addDevice(Kind::kDuplex, "duplex", 4);
  openSystem();
  std::atomic<int> cycles = 0;
  std::atomic<int> wrong = 0;
  std::atomic<int> heard = 0;
  const auto io = openIO("duplex", [&](const AudioCycle& cycle) {
    if (cycle.input.size() != 4 || cycle.output.size() != 4) ++wrong;
    for (const auto& buffer : cycle.input) {
      if (buffer.data == nullptr || buffer.byteSize != cycle.output[0].byteSize) ++wrong;
    }
    if (cycle.input[1].data[0] == 0.5F && cycle.input[3].data[0] == 0.0F) ++heard;
    for (const auto& buffer : cycle.output) std::fill_n(buffer.data, buffer.byteSize / sizeof(float), 0.5F);
    ++cycles;
  });
  ASSERT_EQ(io->start(), kPlatformOk);
  ASSERT_TRUE(queue_.runUntil([&] { return cycles > 5; }));
  rig_->remove("duplex");
  ASSERT_TRUE(vanishes("duplex"));
  heard = 0;
  addDevice(Kind::kDuplex, "duplex", 2);
  EXPECT_TRUE(queue_.runUntil([&] { return heard > 5; }));
  EXPECT_EQ(wrong, 0);
}

TEST_P(PipeWireLoss, TheSystemCanGoAtAnyMomentOfALoss) {
  for (int round = 0; round < 5; ++round) {
    rig_->start();
    addDevice(Kind::kDuplex, "duplex" + std::to_string(round), 8);
    openSystem();
    auto io = openIO("duplex0", [](const AudioCycle&) {});
    ASSERT_EQ(io->start(), kPlatformOk);
    rig_->kill();
    if (round % 2 == 0) io.reset();
    if (round > 2) queue_.runUntil([&] { return !system_->isAvailable(); });
    system_.reset();
  }
}

int openFiles() {
  return static_cast<int>(
      std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator{}));
}

TEST_P(PipeWireLoss, WaitingForAServerLeavesNothingBehind) {
  openSystem();
  const int before = openFiles();
  queue_.runUntil([] { return false; }, std::chrono::milliseconds(2200));
  EXPECT_EQ(openFiles(), before);
}

TEST_P(PipeWireLoss, NoOrderOfEventsHangsOrCrashes) {
  RigFaults faults(
      *rig_, [&](const std::string& name) { addDevice(Kind::kDuplex, name, 1 + faults.draw(8)); },
      [&](const std::string& name) { rig_->remove(name); });
  rig_->start();
  openSystem();
  std::vector<std::unique_ptr<AudioIO>> open;
  std::atomic<int> cycles = 0;
  const auto subscription = system_->observeDevices([&] { system_->devices(); });

  for (int step = 0; step < 120; ++step) {
    switch (step % 20 == 19 ? 0 : 1 + faults.draw(7)) {
      case 0:
        faults.killOrStart();
        break;
      case 1:
        faults.plugOrUnplug();
        break;
      case 2:
      case 3:
        for (const auto& device : system_->devices()) {
          std::unique_ptr<AudioIO> io;
          const auto status = system_->createIO(
              device.id, [&](const AudioCycle&) { ++cycles; }, io);
          ASSERT_EQ(status == kPlatformOk, io != nullptr);
          ASSERT_TRUE(status == kPlatformOk || status == -ENODEV || status == -ENOTCONN) << status;
          if (io) open.push_back(std::move(io));
        }
        break;
      case 4:
        for (const auto& io : open) io->start();
        break;
      case 5:
        for (const auto& io : open) io->betweenCycles([] {});
        break;
      case 6:
        if (!open.empty()) open.erase(open.begin() + faults.draw(static_cast<int>(open.size())));
        break;
      default:
        break;
    }
    while (open.size() > 6) open.erase(open.begin());
    queue_.runUntil([] { return false; }, std::chrono::milliseconds(faults.draw(step % 3 == 0 ? 200 : 2)));
  }
  std::printf("%d cycles\n", cycles.load());
  EXPECT_GT(cycles, 0);

  open.clear();
  if (rig_->serverId() == 0) rig_->start();
  addDevice(Kind::kDuplex, "last", 2);
  const auto io = openIO("last", [&](const AudioCycle&) { ++cycles; });
  ASSERT_TRUE(io);
  ASSERT_EQ(io->start(), kPlatformOk);
  const int before = cycles;
  EXPECT_TRUE(queue_.runUntil([&] { return cycles > before + 5; }));
}

}  // namespace
}  // namespace tallyrig
