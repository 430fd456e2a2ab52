#include "audio/RealtimeInterleavedFloatRing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "unit/audio/Numbers.h"

namespace tallyrig {
namespace {

using testing::ElementsAre;

TEST(InterleavedFloatRing, NoChannelsCountAsOne) {
  RealtimeInterleavedFloatRing ring(0, 4);
  EXPECT_EQ(ring.channelCount(), 1);
  EXPECT_EQ(ring.write(numbers(1, 5).data(), 5), 4);
  std::vector<float> read(4);
  EXPECT_EQ(ring.read(read.data(), 4), 4);
  EXPECT_THAT(read, ElementsAre(1, 2, 3, 4));
  EXPECT_EQ(RealtimeInterleavedFloatRing(-2, 4).channelCount(), 1);
}

TEST(InterleavedFloatRing, EvenWithoutCapacityOneFrameFits) {
  for (const std::int64_t capacity : {0, -5, 1}) {
    RealtimeInterleavedFloatRing ring(2, capacity);
    EXPECT_EQ(ring.write(numbers(1, 4).data(), 2), 1);
    EXPECT_EQ(ring.availableFrames(), 1);
    EXPECT_EQ(ring.write(numbers(1, 2).data(), 1), 0);
    std::vector<float> read(2);
    EXPECT_EQ(ring.read(read.data(), 1), 1);
    EXPECT_THAT(read, ElementsAre(1, 2));
  }
}

TEST(InterleavedFloatRing, TakesWhatFitsAndSaysHowMuch) {
  RealtimeInterleavedFloatRing ring(2, 3);
  EXPECT_EQ(ring.write(numbers(1, 4).data(), 2), 2);
  EXPECT_EQ(ring.write(numbers(5, 4).data(), 2), 1);
  EXPECT_EQ(ring.write(numbers(9, 2).data(), 1), 0);
  EXPECT_EQ(ring.availableFrames(), 3);
  std::vector<float> read(6);
  EXPECT_EQ(ring.read(read.data(), 3), 3);
  EXPECT_THAT(read, ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST(InterleavedFloatRing, AShortReadLeavesTheRestOfTheDestination) {
  RealtimeInterleavedFloatRing ring(2, 8);
  ring.write(numbers(1, 4).data(), 2);
  std::vector<float> read(6, -1);
  EXPECT_EQ(ring.read(read.data(), 3), 2);
  EXPECT_THAT(read, ElementsAre(1, 2, 3, 4, -1, -1));
  EXPECT_EQ(ring.read(read.data(), 3), 0);
  EXPECT_THAT(read, ElementsAre(1, 2, 3, 4, -1, -1));
}

TEST(InterleavedFloatRing, ACountBelowOneTouchesNothing) {
  RealtimeInterleavedFloatRing ring(2, 8);
  const std::vector<float> frame = numbers(1, 2);
  EXPECT_EQ(ring.write(frame.data(), 0), 0);
  EXPECT_EQ(ring.write(frame.data(), -1), 0);
  ring.write(frame.data(), 1);
  float untouched = -1;
  EXPECT_EQ(ring.read(&untouched, 0), 0);
  EXPECT_EQ(ring.read(&untouched, -1), 0);
  EXPECT_EQ(untouched, -1);
  EXPECT_EQ(ring.availableFrames(), 1);
}

TEST(InterleavedFloatRing, BothPiecesOfAWrappedBlockLandRight) {
  // Five positions. Three frames go in and out, so that the next four lie at positions 3, 4, 0 and 1.
  RealtimeInterleavedFloatRing ring(3, 4);
  std::vector<float> read(12);
  ring.write(numbers(1, 9).data(), 3);
  ring.read(read.data(), 3);
  EXPECT_EQ(ring.write(numbers(100, 12).data(), 4), 4);
  EXPECT_EQ(ring.read(read.data(), 4), 4);
  EXPECT_EQ(read, numbers(100, 12));
  // Both indices stand at 2, the size of the second piece: three frames fit before the end.
  EXPECT_EQ(ring.availableFrames(), 0);
  EXPECT_EQ(ring.write(numbers(200, 9).data(), 3), 3);
  read.resize(9);
  EXPECT_EQ(ring.read(read.data(), 3), 3);
  EXPECT_EQ(read, numbers(200, 9));
}

TEST(InterleavedFloatRing, FramesComeOutWholeAndInOrder) {
  for (std::int64_t channels = 1; channels <= 5; ++channels) {
    for (std::int64_t capacity = 1; capacity <= 7; ++capacity) {
      RealtimeInterleavedFloatRing ring(channels, capacity);
      std::int64_t written = 0;
      std::int64_t readSoFar = 0;
      for (std::int64_t round = 0; round < 100; ++round) {
        const std::int64_t offered = (round * 7 + 1) % (capacity + 2);
        written += ring.write(numbers(written * channels, offered * channels).data(), offered);
        ASSERT_EQ(ring.availableFrames(), written - readSoFar);
        const std::int64_t wanted = (round * 5 + 3) % (capacity + 2);
        std::vector<float> read(static_cast<std::size_t>(wanted * channels), -1);
        const std::int64_t delivered = ring.read(read.data(), wanted);
        ASSERT_EQ(delivered, std::min(wanted, written - readSoFar));
        read.resize(static_cast<std::size_t>(delivered * channels));
        ASSERT_EQ(read, numbers(readSoFar * channels, delivered * channels));
        readSoFar += delivered;
      }
      ASSERT_GT(readSoFar, 2 * capacity) << "the ring has gone round";
    }
  }
}

}  // namespace
}  // namespace tallyrig
