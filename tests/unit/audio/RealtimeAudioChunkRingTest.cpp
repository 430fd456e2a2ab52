#include "audio/RealtimeAudioChunkRing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace tallyrig {
namespace {

bool pushNumber(RealtimeAudioChunkRing& ring, int number) {
  RealtimeAudioChunkRing::Slot* slot = ring.beginPush();
  if (slot == nullptr) return false;
  slot->samples[0] = static_cast<float>(number);
  slot->count = 1;
  ring.endPush();
  return true;
}

TEST(AudioChunkRing, ANewSlotIsEmptyButForItsBuffer) {
  RealtimeAudioChunkRing ring(64, 8192);
  EXPECT_EQ(ring.maximumFrames(), 8192);
  EXPECT_EQ(ring.front(), nullptr);
  const RealtimeAudioChunkRing::Slot* slot = ring.beginPush();
  ASSERT_NE(slot, nullptr);
  EXPECT_NE(slot->samples, nullptr);
  EXPECT_EQ(slot->count, 0);
  EXPECT_EQ(slot->sampleRate, 0);
  EXPECT_EQ(slot->hostTime, HostTime{0});
  EXPECT_FALSE(slot->hasHostTime);
  EXPECT_EQ(slot->peak, 0.0F);
}

TEST(AudioChunkRing, WithoutAConsumerAllSlotsButOneAreTakenAndTheRestIsCounted) {
  RealtimeAudioChunkRing ring(64, 4);
  for (int number = 0; number < 63; ++number) EXPECT_TRUE(pushNumber(ring, number));
  for (int number = 63; number < 70; ++number) EXPECT_FALSE(pushNumber(ring, number));
  EXPECT_EQ(ring.takeDroppedCount(), 7U);
  EXPECT_EQ(ring.takeDroppedCount(), 0U);
  for (int number = 0; number < 63; ++number) {
    ASSERT_NE(ring.front(), nullptr);
    EXPECT_EQ(ring.front()->samples[0], static_cast<float>(number));
    ring.pop();
  }
  EXPECT_EQ(ring.front(), nullptr);
}

TEST(AudioChunkRing, AChunkArrivesWithAllItsFieldsInPlace) {
  RealtimeAudioChunkRing ring(3, 8);
  RealtimeAudioChunkRing::Slot* written = ring.beginPush();
  for (int index = 0; index < 8; ++index) written->samples[index] = static_cast<float>(index) / 8;
  written->count = 8;
  written->sampleRate = 44100;
  written->hostTime = {123};
  written->hasHostTime = true;
  written->peak = 0.875F;
  EXPECT_EQ(ring.front(), nullptr) << "not published yet";
  ring.endPush();
  const RealtimeAudioChunkRing::Slot* read = ring.front();
  ASSERT_EQ(read, written) << "nothing is copied";
  EXPECT_EQ(read->samples[7], 0.875F);
  EXPECT_EQ(read->count, 8);
  EXPECT_EQ(read->sampleRate, 44100);
  EXPECT_EQ(read->hostTime, HostTime{123});
  EXPECT_TRUE(read->hasHostTime);
  EXPECT_EQ(read->peak, 0.875F);
  EXPECT_EQ(ring.front(), read) << "looking takes nothing away";
}

TEST(AudioChunkRing, ASlotIsFreeOnlyWhenTheConsumerIsDoneWithIt) {
  RealtimeAudioChunkRing ring(2, 1);
  EXPECT_TRUE(pushNumber(ring, 1));
  ASSERT_NE(ring.front(), nullptr);
  EXPECT_FALSE(pushNumber(ring, 2));
  EXPECT_EQ(ring.front()->samples[0], 1.0F);
  ring.pop();
  EXPECT_TRUE(pushNumber(ring, 3));
  EXPECT_EQ(ring.front()->samples[0], 3.0F);
  EXPECT_EQ(ring.takeDroppedCount(), 1U);
}

TEST(AudioChunkRing, EverySlotHasABufferOfItsOwn) {
  RealtimeAudioChunkRing ring(5, 16);
  std::set<const float*> buffers;
  for (int number = 0; number < 10; ++number) {
    RealtimeAudioChunkRing::Slot* slot = ring.beginPush();
    ASSERT_NE(slot, nullptr);
    std::fill_n(slot->samples, 16, static_cast<float>(number));
    buffers.insert(slot->samples);
    ring.endPush();
    ring.pop();
  }
  EXPECT_EQ(buffers.size(), 5U) << "the ring goes round its five slots";
  for (auto buffer = buffers.begin(); std::next(buffer) != buffers.end(); ++buffer) {
    EXPECT_GE(*std::next(buffer) - *buffer, 16);
  }
}

TEST(AudioChunkRing, DiscardForgetsWhatWaitsAndTheRingGoesOn) {
  RealtimeAudioChunkRing ring(4, 1);
  pushNumber(ring, 1);
  pushNumber(ring, 2);
  ring.discard();
  EXPECT_EQ(ring.front(), nullptr);
  for (int number = 3; number < 6; ++number) EXPECT_TRUE(pushNumber(ring, number));
  EXPECT_FALSE(pushNumber(ring, 6));
  EXPECT_EQ(ring.front()->samples[0], 3.0F);
}

}  // namespace
}  // namespace tallyrig
