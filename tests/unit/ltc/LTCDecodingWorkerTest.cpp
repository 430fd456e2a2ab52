#include "ltc/LTCDecodingWorker.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace tallyrig {
namespace {

constexpr double kRate = 48000;

TEST(LTCCapture, CountsWhatFindsNoRoom) {
  // A ring of 64 slots holds 63 chunks.
  RealtimeAudioChunkRing ring(64, 8192);
  std::vector<float> data(16, 0.5F);
  const AudioBuffer buffer{1, static_cast<std::uint32_t>(data.size() * sizeof(float)), data.data()};
  for (int i = 0; i < 70; ++i) LTCDecodingWorker::capture(ring, 0, {&buffer, 1}, 16, kRate, {{}, false});
  EXPECT_EQ(ring.takeDroppedCount(), 7U);
}

TEST(LTCCapture, CutsWhatASlotCannotHold) {
  RealtimeAudioChunkRing ring(4, 8192);
  std::vector<float> data(8200, 0.25F);
  data[8195] = 1.0F;
  const AudioBuffer buffer{1, static_cast<std::uint32_t>(data.size() * sizeof(float)), data.data()};
  LTCDecodingWorker::capture(ring, 0, {&buffer, 1}, 8200, kRate, {{77}, true});
  const auto* slot = ring.front();
  ASSERT_NE(slot, nullptr);
  EXPECT_EQ(slot->count, 8192);
  EXPECT_EQ(slot->peak, 0.25F);
  EXPECT_TRUE(slot->hasHostTime);
  EXPECT_EQ(slot->hostTime.ticks, 77U);
}

TEST(LTCCapture, AMissingHostTimeIsZero) {
  RealtimeAudioChunkRing ring(4, 8192);
  std::vector<float> data(16);
  const AudioBuffer buffer{1, 64, data.data()};
  LTCDecodingWorker::capture(ring, 0, {&buffer, 1}, 16, kRate, {{77}, false});
  EXPECT_FALSE(ring.front()->hasHostTime);
  EXPECT_EQ(ring.front()->hostTime.ticks, 0U);
}

TEST(LTCCapture, TakesEveryEighthSampleOfAnInterleavedBuffer) {
  RealtimeAudioChunkRing ring(4, 8192);
  std::vector<float> data(8 * 16);
  for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<float>(i) / 256.0F;
  const AudioBuffer buffer{8, static_cast<std::uint32_t>(data.size() * sizeof(float)), data.data()};
  LTCDecodingWorker::capture(ring, 5, {&buffer, 1}, 16, kRate, {{}, false});
  ASSERT_EQ(ring.front()->count, 16);
  for (int i = 0; i < 16; ++i) EXPECT_EQ(ring.front()->samples[i], data[static_cast<std::size_t>(i) * 8 + 5]);
  EXPECT_EQ(ring.front()->peak, data[15 * 8 + 5]);
}

TEST(LTCCapture, SkipsEmptyBuffersAndThoseWithoutData) {
  RealtimeAudioChunkRing ring(4, 8192);
  std::vector<float> data(16, 0.125F);
  const std::vector<AudioBuffer> buffers{{0, 0, nullptr}, {2, 128, nullptr}, {0, 0, nullptr}, {1, 64, data.data()}};
  LTCDecodingWorker::capture(ring, 0, buffers, 16, kRate, {});
  LTCDecodingWorker::capture(ring, 3, buffers, 16, kRate, {});
  LTCDecodingWorker::capture(ring, -1, buffers, 16, kRate, {});
  EXPECT_EQ(ring.front(), nullptr);
  LTCDecodingWorker::capture(ring, 2, buffers, 16, kRate, {});
  ASSERT_NE(ring.front(), nullptr);
  EXPECT_EQ(ring.front()->samples[0], 0.125F);
}

}  // namespace
}  // namespace tallyrig
