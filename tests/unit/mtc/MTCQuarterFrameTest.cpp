#include "mtc/MTCQuarterFrame.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace tallyrig {
namespace {

using enum MTCFrameRate;
using Bytes = std::vector<std::uint8_t>;

constexpr std::array kRates{fps24, fps25, fps2997, fps30};

TEST(MTCQuarterFrame, FourPassInEachFrameOfRealTime) {
  EXPECT_EQ(quarterFramesPerSecond(fps24), 96.0);
  EXPECT_EQ(quarterFramesPerSecond(fps25), 100.0);
  EXPECT_EQ(quarterFramesPerSecond(fps2997), 119.88011988011988);
  EXPECT_EQ(quarterFramesPerSecond(fps30), 120.0);
}

TEST(MTCQuarterFrame, ThePeriodIsTheNearestNanosecond) {
  EXPECT_EQ(quarterFrameNanos(fps24), 10416667U);
  EXPECT_EQ(quarterFrameNanos(fps25), 10000000U);
  EXPECT_EQ(quarterFrameNanos(fps2997), 8341667U);
  EXPECT_EQ(quarterFrameNanos(fps30), 8333333U);
}

TEST(MTCQuarterFrame, ADataByteHoldsPieceAndNibbleAndItsTopBitSaysNothing) {
  EXPECT_EQ(quarterFramePiece(0x7F), 7);
  EXPECT_EQ(quarterFrameNibble(0x7F), 15);
  EXPECT_EQ(quarterFramePiece(0xB4), 3);
  EXPECT_EQ(quarterFrameNibble(0xB4), 4);
  EXPECT_EQ(quarterFramePiece(0x80), 0);
}

TEST(MTCQuarterFrame, EachPieceCarriesItsPartOfTheTimecode) {
  const Timecode timecode{23, 59, 58, 29, fps2997};
  Bytes data;
  for (int piece = 0; piece < kQuarterFramePieces; ++piece) data.push_back(quarterFrameData(timecode, piece));
  // 29 is 1D, 58 is 3A, 59 is 3B, 23 is 17; the last nibble is the hours' 1 and rate code 2 above it.
  EXPECT_EQ(data, (Bytes{0x0D, 0x11, 0x2A, 0x33, 0x4B, 0x53, 0x67, 0x75}));
}

TEST(MTCQuarterFrame, TheLastPieceCarriesTheRateCodeInBitsOneAndTwo) {
  for (const MTCFrameRate rate : kRates) {
    EXPECT_EQ(quarterFrameData({0, 0, 0, 0, rate}, 7), 0x70 | static_cast<int>(rate) << 1);
    EXPECT_EQ(quarterFrameData({16, 0, 0, 0, rate}, 7), 0x70 | static_cast<int>(rate) << 1 | 1);
  }
}

TEST(MTCQuarterFrame, AFieldTooLargeForItsBitsLosesTheUpperOnes) {
  const Timecode timecode{32 + 3, 64 + 1, -1, 32 + 16, fps24};
  EXPECT_EQ(quarterFrameData(timecode, 0), 0x00);
  EXPECT_EQ(quarterFrameData(timecode, 1), 0x11);
  EXPECT_EQ(quarterFrameData(timecode, 2), 0x2F);
  EXPECT_EQ(quarterFrameData(timecode, 3), 0x33);
  EXPECT_EQ(quarterFrameData(timecode, 4), 0x41);
  EXPECT_EQ(quarterFrameData(timecode, 5), 0x50);
  EXPECT_EQ(quarterFrameData(timecode, 6), 0x63);
  EXPECT_EQ(quarterFrameData(timecode, 7), 0x70);
}

TEST(MTCQuarterFrame, EightPiecesGiveTheTimecodeBack) {
  for (const MTCFrameRate rate : kRates) {
    for (std::int64_t count = 0; count < framesPerDay(rate); count += 997) {
      const Timecode timecode = Timecode::fromTotalFrames(count, rate);
      QuarterFrameNibbles nibbles{};
      for (int piece = 0; piece < kQuarterFramePieces; ++piece) {
        const std::uint8_t data = quarterFrameData(timecode, piece);
        ASSERT_EQ(quarterFramePiece(data), piece);
        nibbles.at(static_cast<std::size_t>(piece)) = quarterFrameNibble(data);
      }
      ASSERT_EQ(timecodeFromQuarterFrames(nibbles), timecode);
    }
  }
}

TEST(MTCQuarterFrame, PiecesAreTakenAsTheyStand) {
  QuarterFrameNibbles nibbles;
  nibbles.fill(15);
  EXPECT_EQ(timecodeFromQuarterFrames(nibbles), (Timecode{31, 255, 255, 255, fps30}));
}

TEST(MTCQuarterFrame, AFullFrameCallsAllDevices) {
  const auto message = fullFrameMessage({23, 59, 58, 29, fps2997});
  EXPECT_THAT(message, testing::ElementsAre(0xF0, 0x7F, 0x7F, 0x01, 0x01, 0x57, 59, 58, 29, 0xF7));
}

TEST(MTCQuarterFrame, AFullFrameGivesTheTimecodeBack) {
  for (const MTCFrameRate rate : kRates) {
    for (std::int64_t count = 0; count < framesPerDay(rate); count += 997) {
      const Timecode timecode = Timecode::fromTotalFrames(count, rate);
      ASSERT_EQ(timecodeFromFullFrame(fullFrameMessage(timecode)), timecode);
    }
  }
}

TEST(MTCQuarterFrame, AFullFrameOfAnyDeviceIsRead) {
  auto message = fullFrameMessage({1, 2, 3, 4, fps25});
  message[2] = 0x10;
  EXPECT_EQ(timecodeFromFullFrame(message), (Timecode{1, 2, 3, 4, fps25}));
}

TEST(MTCQuarterFrame, FieldsOutOfRangeMakeNoFullFrame) {
  for (const MTCFrameRate rate : kRates) {
    const auto last = maxFrameField(rate);
    EXPECT_TRUE(timecodeFromFullFrame(fullFrameMessage({23, 59, 59, last, rate})));
    EXPECT_FALSE(timecodeFromFullFrame(fullFrameMessage({24, 0, 0, 0, rate})));
    EXPECT_FALSE(timecodeFromFullFrame(fullFrameMessage({0, 60, 0, 0, rate})));
    EXPECT_FALSE(timecodeFromFullFrame(fullFrameMessage({0, 0, 60, 0, rate})));
    EXPECT_FALSE(timecodeFromFullFrame(fullFrameMessage({0, 0, 0, last + 1, rate})));
  }
}

TEST(MTCQuarterFrame, MinutesSecondsAndFramesOfAFullFrameAreNotMasked) {
  for (const std::size_t field : {6U, 7U, 8U}) {
    auto message = fullFrameMessage({1, 2, 3, 4, fps25});
    message.at(field) |= 0x40;
    EXPECT_FALSE(timecodeFromFullFrame(message)) << field;
  }
}

TEST(MTCQuarterFrame, TheTopBitOfTheHoursIsPassedOver) {
  auto message = fullFrameMessage({1, 2, 3, 4, fps25});
  message[5] |= 0x80;
  EXPECT_EQ(timecodeFromFullFrame(message), (Timecode{1, 2, 3, 4, fps25}));
}

TEST(MTCQuarterFrame, ADroppedLabelIsReadAsItStands) {
  const Timecode dropped{0, 1, 0, 0, fps2997};
  EXPECT_EQ(timecodeFromFullFrame(fullFrameMessage(dropped)), dropped);
}

TEST(MTCQuarterFrame, OnlyAFullFramesHeadAndEndMakeAFullFrame) {
  for (const std::size_t place : {0U, 1U, 3U, 4U, 9U}) {
    auto message = fullFrameMessage({1, 2, 3, 4, fps25});
    message.at(place) ^= 0x02;
    EXPECT_FALSE(timecodeFromFullFrame(message)) << place;
  }
}

TEST(MTCQuarterFrame, AShortMessageIsNoFullFrameAndALongerOneIs) {
  EXPECT_FALSE(timecodeFromFullFrame({}));
  EXPECT_FALSE(timecodeFromFullFrame(Bytes{0xF0, 0x7F, 0x7F, 0x01, 0x01, 1, 2, 3, 0xF7}));
  EXPECT_EQ(timecodeFromFullFrame(Bytes{0xF0, 0x7F, 0x7F, 0x01, 0x01, 1, 2, 3, 4, 5, 6, 0xF7}),
            (Timecode{1, 2, 3, 4, fps24}));
}

}  // namespace
}  // namespace tallyrig
