#include "audio/RealtimeFloatRing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "unit/audio/Numbers.h"

namespace tallyrig {
namespace {

using testing::Each;
using testing::ElementsAre;

TEST(FloatRing, HoldsAsManySamplesAsItWasBuiltFor) {
  RealtimeFloatRing ring(4);
  EXPECT_EQ(ring.availableSamples(), 0);
  ring.write(numbers(1, 4));
  EXPECT_EQ(ring.availableSamples(), 4);
  std::vector<float> read(4);
  EXPECT_EQ(ring.read(read.data(), 4), 4);
  EXPECT_THAT(read, ElementsAre(1, 2, 3, 4));
}

TEST(FloatRing, WriteBeyondTheFreeSpaceLosesTheRest) {
  RealtimeFloatRing ring(4);
  ring.write(numbers(1, 6));
  EXPECT_EQ(ring.availableSamples(), 4);
  std::vector<float> read(6, -1);
  EXPECT_EQ(ring.read(read.data(), 6), 4);
  EXPECT_THAT(read, ElementsAre(1, 2, 3, 4, 0, 0));
}

TEST(FloatRing, AFullRingTakesNothing) {
  RealtimeFloatRing ring(4);
  ring.write(numbers(1, 4));
  ring.write(numbers(9, 3));
  std::vector<float> read(4);
  EXPECT_EQ(ring.read(read.data(), 4), 4);
  EXPECT_THAT(read, ElementsAre(1, 2, 3, 4));
  EXPECT_EQ(ring.availableSamples(), 0);
}

TEST(FloatRing, AShortReadIsFilledUpWithSilence) {
  RealtimeFloatRing ring(16);
  ring.write(numbers(1, 3));
  std::vector<float> read(8, -1);
  EXPECT_EQ(ring.read(read.data(), 8), 3);
  EXPECT_THAT(read, ElementsAre(1, 2, 3, 0, 0, 0, 0, 0));
}

TEST(FloatRing, AnEmptyRingGivesSilence) {
  RealtimeFloatRing ring(16);
  std::vector<float> read(5, -1);
  EXPECT_EQ(ring.read(read.data(), 5), 0);
  EXPECT_THAT(read, Each(0.0F));
}

TEST(FloatRing, ACountBelowOneTouchesNothing) {
  RealtimeFloatRing ring(4);
  ring.write(numbers(1, 2));
  float untouched = -1;
  EXPECT_EQ(ring.read(&untouched, 0), 0);
  EXPECT_EQ(ring.read(&untouched, -3), 0);
  EXPECT_EQ(untouched, -1);
  EXPECT_EQ(ring.availableSamples(), 2);
}

TEST(FloatRing, WritingNothingChangesNothing) {
  RealtimeFloatRing ring(4);
  ring.write({});
  EXPECT_EQ(ring.availableSamples(), 0);
}

TEST(FloatRing, ARingForNothingIsFullAndEmptyAtOnce) {
  RealtimeFloatRing ring(0);
  ring.write(numbers(1, 2));
  float read = -1;
  EXPECT_EQ(ring.read(&read, 1), 0);
  EXPECT_EQ(read, 0);
}

TEST(FloatRing, SamplesComeOutInOrderAcrossTheEndOfTheStorage) {
  for (std::int64_t capacity = 1; capacity <= 9; ++capacity) {
    RealtimeFloatRing ring(capacity);
    std::int64_t written = 0;
    std::int64_t readSoFar = 0;
    for (std::int64_t round = 0; round < 200; ++round) {
      const std::int64_t room = capacity - ring.availableSamples();
      const std::int64_t count = (round * 7 + capacity) % (room + 1);
      ring.write(numbers(written, count));
      written += count;
      const std::int64_t wanted = (round * 5 + 3) % (capacity + 1);
      std::vector<float> read(static_cast<std::size_t>(wanted), -1);
      const std::int64_t delivered = ring.read(read.data(), wanted);
      ASSERT_EQ(delivered, std::min(wanted, written - readSoFar));
      std::vector<float> expected = numbers(readSoFar, delivered);
      expected.resize(static_cast<std::size_t>(wanted), 0.0F);
      ASSERT_EQ(read, expected);
      readSoFar += delivered;
    }
    ASSERT_GT(readSoFar, 2 * capacity) << "the ring has gone round";
  }
}

}  // namespace
}  // namespace tallyrig
