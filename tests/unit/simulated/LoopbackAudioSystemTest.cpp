#include "platform/simulated/LoopbackAudioSystem.h"

#include <time.h>

#include <atomic>
#include <cerrno>
#include <cmath>

#include "platform/RealtimeScope.h"
#include "platform/simulated/WideInteger.h"

namespace tallyrig {
namespace {

/// CLOCK_MONOTONIC in ticks of 125/3 ns, to show that the loopback does not take ticks for nanoseconds.
class CoarseMonotonicClock : public HostClock {
 public:
  HostTime now() const noexcept override {
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return {ticksFromNanos(static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000 +
                           static_cast<std::uint64_t>(time.tv_nsec))
                .ticks};
  }
  std::uint64_t nanosFromTicks(HostDuration distance) const noexcept override {
    return static_cast<std::uint64_t>(static_cast<UInt128>(distance.ticks) * 125 / 3);
  }
  HostDuration ticksFromNanos(std::uint64_t nanos) const noexcept override {
    return {static_cast<std::uint64_t>(static_cast<UInt128>(nanos) * 3 / 125)};
  }
};

constexpr std::size_t kRoom = 200;
constexpr std::uint32_t kFrames = LoopbackDevice::kQuantum;

/// Plays numbers on all channels and notes what one cycle after another brings, until its room is full.
struct Client {
  explicit Client(LoopbackAudioSystem& system) {
    EXPECT_EQ(system.createIO(
                  LoopbackAudioSystem::kDeviceID, [this](const AudioCycle& cycle) { take(cycle); }, io),
              kPlatformOk);
    self = io.get();
  }

  static float sample(std::size_t cycle, std::uint32_t frame, std::uint32_t channel) {
    return static_cast<float>((cycle * kFrames + frame) * 8 + channel + 1);
  }

  void take(const AudioCycle& cycle) {
    inScope = inScope && RealtimeScope::isActive() && self->isCallbackContext();
    const std::size_t number = seen.load(std::memory_order_relaxed);
    if (number == kRoom) return;
    inputTimes[number] = cycle.inputTime.hostTime;
    outputTimes[number] = cycle.outputTime.hostTime;
    const bool hasWhole = cycle.input.size() == 1 && cycle.input[0].channelCount == 8 &&
                          cycle.input[0].byteSize == kFrames * 32 && cycle.output.size() == 1;
    isWhole = isWhole && hasWhole && cycle.inputTime.hostTimeValid && cycle.outputTime.hostTimeValid;
    if (!hasWhole) return;
    bool matches = true;
    for (std::uint32_t frame = 0; frame < kFrames; ++frame) {
      for (std::uint32_t channel = 0; channel < 8; ++channel) {
        const std::size_t at = frame * 8 + channel;
        matches = matches && number > 0 && cycle.input[0].data[at] == sample(number - 1, frame, channel);
        cycle.output[0].data[at] = sample(number, frame, channel);
      }
    }
    returned[number] = matches;
    seen.store(number + 1, std::memory_order_release);
  }

  /// Waits for so many more cycles by letting the device come round; false if they do not come.
  bool await(std::size_t count) {
    const std::size_t wanted = seen + count;
    for (int round = 0; round < 1000 && seen < wanted; ++round) io->betweenCycles([] {});
    return seen >= wanted;
  }

  std::unique_ptr<AudioIO> io;
  /// For the callback, which may still run while `io` is being emptied.
  const AudioIO* self = nullptr;
  std::atomic<std::size_t> seen = 0;
  bool inScope = true;
  bool isWhole = true;
  HostTime inputTimes[kRoom];
  HostTime outputTimes[kRoom];
  bool returned[kRoom] = {};
};

TEST(LoopbackAudioSystem, ListsItsOneDevice) {
  const CoarseMonotonicClock clock;
  LoopbackAudioSystem system(clock);
  const auto devices = system.devices();
  ASSERT_EQ(devices.size(), 1u);
  EXPECT_EQ(devices[0].name, "Built-in Loopback");
  EXPECT_THAT(devices[0].inputGroups, testing::ElementsAre(8));
  EXPECT_THAT(devices[0].outputGroups, testing::ElementsAre(8));
  double rate = 0;
  EXPECT_EQ(system.nominalSampleRate(devices[0].id, rate), kPlatformOk);
  EXPECT_EQ(rate, 48000);
  EXPECT_EQ(system.timing(devices[0].id).bufferFrames, 512u);
  EXPECT_EQ(system.notice(), "");

  std::unique_ptr<AudioIO> io;
  EXPECT_EQ(system.nominalSampleRate(99, rate), -ENODEV);
  EXPECT_EQ(system.createIO(
                99, [](const AudioCycle&) {}, io),
            -ENODEV);
  EXPECT_EQ(system.timing(99).bufferFrames, std::nullopt);
}

TEST(LoopbackAudioSystem, BringsBackWhatItPlaysAtTheInstantOfTheStamps) {
  const CoarseMonotonicClock clock;
  LoopbackAudioSystem system(clock);
  Client client(system);
  const HostTime before = clock.now();
  ASSERT_EQ(client.io->start(), kPlatformOk);
  ASSERT_TRUE(client.await(30));
  client.io->stop();
  EXPECT_TRUE(client.isWhole);
  EXPECT_TRUE(client.inScope);
  EXPECT_FALSE(client.io->isCallbackContext());
  EXPECT_GE(client.outputTimes[0], before);
  int consecutive = 0;
  for (std::size_t i = 1; i < client.seen; ++i) {
    const double cycles = static_cast<double>((client.outputTimes[i] - client.outputTimes[i - 1]).ticks) / 256000;
    EXPECT_NEAR(cycles, std::round(cycles), 1e-5) << "stamps lie on the grid of cycles, whenever the thread wakes";
    if (client.inputTimes[i] != client.outputTimes[i - 1]) continue;
    EXPECT_TRUE(client.returned[i]) << "cycle " << i;
    ++consecutive;
  }
  EXPECT_GT(consecutive, 0);
}

TEST(LoopbackAudioSystem, CallsNobodyAfterStop) {
  const CoarseMonotonicClock clock;
  LoopbackAudioSystem system(clock);
  Client stopped(system);
  Client running(system);
  stopped.io->start();
  running.io->start();
  ASSERT_TRUE(stopped.await(2));
  stopped.io->stop();
  const std::size_t seen = stopped.seen;
  ASSERT_TRUE(running.await(10));
  EXPECT_EQ(stopped.seen, seen);
  stopped.io->start();
  EXPECT_TRUE(stopped.await(2));
}

TEST(LoopbackAudioSystem, MakesAChangeBetweenTwoCycles) {
  const CoarseMonotonicClock clock;
  LoopbackAudioSystem system(clock);
  // Plain values on purpose: the thread checker sees any cycle that runs beside a change.
  int first = 0, second = 0;
  int cycles = 0;
  bool everTorn = false;
  bool inContext = true;
  std::unique_ptr<AudioIO> io;
  system.createIO(
      LoopbackAudioSystem::kDeviceID,
      [&](const AudioCycle&) {
        everTorn = everTorn || first != second;
        ++cycles;
      },
      io);
  const auto change = [&] {
    inContext = inContext && io->isCallbackContext() && RealtimeScope::isActive();
    ++first;
    ++second;
  };
  io->betweenCycles(change);
  EXPECT_EQ(first, 1) << "at once while stopped";
  io->start();
  for (int i = 0; i < 40; ++i) {
    io->betweenCycles(change);
    EXPECT_EQ(first, i + 2);
  }
  io->stop();
  EXPECT_GE(cycles, 39);
  EXPECT_TRUE(inContext);
  io->betweenCycles(change);
  EXPECT_EQ(second, 42);
  EXPECT_FALSE(everTorn);
}

TEST(LoopbackAudioSystem, MayBeDestroyedStartedAndStoppedAtAnyMoment) {
  const CoarseMonotonicClock clock;
  LoopbackAudioSystem system(clock);
  for (int round = 0; round < 10; ++round) {
    auto first = std::make_unique<Client>(system);
    auto second = std::make_unique<Client>(system);
    first->io->start();
    if (round % 2 == 0) second->io->start();
    if (round % 3 == 0) {
      EXPECT_TRUE(first->await(1));
    }
    first->io.reset();
    second->io->stop();
    second->io->stop();
    second->io->start();
    second.reset();
  }
}

}  // namespace
}  // namespace tallyrig
