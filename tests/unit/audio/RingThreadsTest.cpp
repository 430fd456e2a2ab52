// Each ring between two real threads, with block sizes drawn from a seed. What arrives is a counted sequence, so that
// a lost, doubled or torn sample shows. The side that a device callback would run is under the real-time guard.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <thread>

#include "audio/RealtimeAudioChunkRing.h"
#include "audio/RealtimeFloatRing.h"
#include "audio/RealtimeInterleavedFloatRing.h"
#include "platform/RealtimeScope.h"

namespace tallyrig {
namespace {

// Floats count exactly up to here; then the count starts again.
constexpr std::int64_t kCycle = 1 << 20;

float numberAt(std::int64_t position) {
  return static_cast<float>(position % kCycle);
}

/// The seed is the parameter, which the name of a failing test shows.
class RingThreads : public testing::TestWithParam<unsigned> {
 protected:
  static std::int64_t upTo(std::int64_t most, std::minstd_rand& random) {
    return 1 + static_cast<std::int64_t>(random()) % most;
  }

  std::minstd_rand producerRandom{GetParam()};
  std::minstd_rand consumerRandom{GetParam() + 1000};
};

TEST_P(RingThreads, ChunksArriveWholeOrAreCounted) {
  constexpr std::int64_t kChunks = 100000;
  RealtimeAudioChunkRing ring(8, 32);
  std::atomic<bool> finished{false};

  std::thread producer([&] {
    for (std::int64_t chunk = 0; chunk < kChunks; ++chunk) {
      {
        const RealtimeScope scope;
        if (RealtimeAudioChunkRing::Slot* slot = ring.beginPush()) {
          slot->count = upTo(32, producerRandom);
          std::fill_n(slot->samples, slot->count, numberAt(chunk));
          slot->hostTime = {static_cast<std::uint64_t>(chunk)};
          ring.endPush();
        }
      }
      if (producerRandom() % 4 == 0) std::this_thread::yield();
    }
    finished = true;
  });

  std::int64_t received = 0;
  std::uint64_t dropped = 0;
  std::int64_t newest = -1;
  bool torn = false;
  for (bool last = false;; last = finished) {
    while (const RealtimeAudioChunkRing::Slot* slot = ring.front()) {
      const auto chunk = static_cast<std::int64_t>(slot->hostTime.ticks);
      torn = torn || chunk <= newest || slot->count < 1 || slot->count > 32;
      for (std::int64_t index = 0; index < slot->count; ++index) {
        torn = torn || slot->samples[index] != numberAt(chunk);
      }
      newest = chunk;
      ring.pop();
      ++received;
    }
    dropped += ring.takeDroppedCount();
    if (last) break;
    std::this_thread::yield();
  }
  producer.join();
  EXPECT_FALSE(torn);
  EXPECT_EQ(received + static_cast<std::int64_t>(dropped), kChunks);
  EXPECT_GT(received, 0);
}

TEST_P(RingThreads, SamplesArriveOnceAndInOrder) {
  constexpr std::int64_t kSamples = 2 * kCycle;
  constexpr std::int64_t kCapacity = 1000;
  RealtimeFloatRing ring(kCapacity);

  std::thread producer([&] {
    std::vector<float> block;
    for (std::int64_t written = 0; written < kSamples;) {
      const std::int64_t room = std::min(kCapacity - ring.availableSamples(), kSamples - written);
      if (room == 0) {
        std::this_thread::yield();
        continue;
      }
      block.resize(static_cast<std::size_t>(upTo(room, producerRandom)));
      for (float& sample : block) sample = numberAt(written++);
      ring.write(block);
    }
  });

  std::int64_t received = 0;
  bool wrong = false;
  std::vector<float> block(700);
  while (received < kSamples) {
    const std::int64_t wanted = upTo(700, consumerRandom);
    std::int64_t delivered = 0;
    {
      const RealtimeScope scope;
      delivered = ring.read(block.data(), wanted);
    }
    for (std::int64_t index = 0; index < wanted; ++index) {
      wrong = wrong || block[index] != (index < delivered ? numberAt(received + index) : 0.0F);
    }
    received += delivered;
    if (delivered == 0) std::this_thread::yield();
  }
  producer.join();
  EXPECT_FALSE(wrong);
  EXPECT_EQ(received, kSamples);
  EXPECT_EQ(ring.availableSamples(), 0);
}

TEST_P(RingThreads, InterleavedFramesArriveWholeOnceAndInOrder) {
  constexpr std::int64_t kFrames = kCycle;
  constexpr std::int64_t kChannels = 3;
  RealtimeInterleavedFloatRing ring(kChannels, 500);
  const auto sampleAt = [](std::int64_t frame, std::int64_t channel) {
    return numberAt(frame) + static_cast<float>(channel) * 0.25F;
  };

  std::thread producer([&] {
    std::vector<float> block;
    for (std::int64_t written = 0; written < kFrames;) {
      const std::int64_t count = std::min(upTo(600, producerRandom), kFrames - written);
      block.clear();
      for (std::int64_t frame = 0; frame < count; ++frame) {
        for (std::int64_t channel = 0; channel < kChannels; ++channel) {
          block.push_back(sampleAt(written + frame, channel));
        }
      }
      const std::int64_t taken = ring.write(block.data(), count);
      written += taken;
      if (taken == 0) std::this_thread::yield();
    }
  });

  std::int64_t received = 0;
  bool wrong = false;
  std::vector<float> block(400 * kChannels);
  while (received < kFrames) {
    std::int64_t delivered = 0;
    const std::int64_t wanted = upTo(400, consumerRandom);
    {
      const RealtimeScope scope;
      delivered = ring.read(block.data(), wanted);
    }
    for (std::int64_t frame = 0; frame < delivered; ++frame) {
      for (std::int64_t channel = 0; channel < kChannels; ++channel) {
        wrong = wrong || block[frame * kChannels + channel] != sampleAt(received + frame, channel);
      }
    }
    received += delivered;
    if (delivered == 0) std::this_thread::yield();
  }
  producer.join();
  EXPECT_FALSE(wrong);
  EXPECT_EQ(received, kFrames);
  EXPECT_EQ(ring.availableFrames(), 0);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RingThreads, testing::Values(1U, 2U, 3U), testing::PrintToStringParamName());

}  // namespace
}  // namespace tallyrig
