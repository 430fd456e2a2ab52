#include "platform/pipewire/UniversalMidi.h"

namespace tallyrig {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes bytesOf(std::vector<std::uint32_t> packet) {
  const MidiBytes message = midiBytesOf(packet);
  return {message.view().begin(), message.view().end()};
}

TEST(UniversalMidi, AQuarterFrameIsTwoBytes) {
  EXPECT_EQ(bytesOf({0x10F1'3500}), (Bytes{0xF1, 0x35}));
}

TEST(UniversalMidi, SystemMessagesHaveTheirOwnLengths) {
  EXPECT_EQ(bytesOf({0x10F2'1122}), (Bytes{0xF2, 0x11, 0x22}));
  EXPECT_EQ(bytesOf({0x10F3'1100}), (Bytes{0xF3, 0x11}));
  for (const std::uint32_t status : {0xF6U, 0xF8U, 0xFAU, 0xFBU, 0xFCU, 0xFEU, 0xFFU}) {
    EXPECT_EQ(bytesOf({0x1000'0000 | status << 16}), (Bytes{static_cast<std::uint8_t>(status)}));
  }
}

TEST(UniversalMidi, UndefinedSystemStatusesAndBareEndsAreNothing) {
  for (const std::uint32_t status : {0xF0U, 0xF4U, 0xF5U, 0xF7U, 0xF9U, 0xFDU, 0x90U}) {
    EXPECT_EQ(bytesOf({0x1000'0000 | status << 16}), Bytes{}) << std::hex << status;
  }
}

TEST(UniversalMidi, ChannelMessagesHaveTheirOwnLengthsInAnyGroup) {
  EXPECT_EQ(bytesOf({0x2593'3C40}), (Bytes{0x93, 0x3C, 0x40}));
  EXPECT_EQ(bytesOf({0x2080'3C40}), (Bytes{0x80, 0x3C, 0x40}));
  EXPECT_EQ(bytesOf({0x20C1'0500}), (Bytes{0xC1, 0x05}));
  EXPECT_EQ(bytesOf({0x20DF'0500}), (Bytes{0xDF, 0x05}));
  EXPECT_EQ(bytesOf({0x20EF'7F7F}), (Bytes{0xEF, 0x7F, 0x7F}));
  EXPECT_EQ(bytesOf({0x20F1'3500}), Bytes{});
  EXPECT_EQ(bytesOf({0x2070'3500}), Bytes{});
}

TEST(UniversalMidi, AFullFrameComesInTwoPackets) {
  EXPECT_EQ(bytesOf({0x3016'7F7F, 0x0101'6102}), (Bytes{0xF0, 0x7F, 0x7F, 0x01, 0x01, 0x61, 0x02}));
  EXPECT_EQ(bytesOf({0x3032'0304, 0x0000'0000}), (Bytes{0x03, 0x04, 0xF7}));
}

TEST(UniversalMidi, SystemExclusiveDataHaveTheirEndsWhereTheMessageHasThem) {
  EXPECT_EQ(bytesOf({0x3003'0102, 0x0300'0000}), (Bytes{0xF0, 1, 2, 3, 0xF7}));
  EXPECT_EQ(bytesOf({0x3026'0102, 0x0304'0506}), (Bytes{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(bytesOf({0x3006'0102, 0x0304'0506}), (Bytes{0xF0, 1, 2, 3, 4, 5, 6, 0xF7}));
  EXPECT_EQ(bytesOf({0x3030'0000, 0x0000'0000}), (Bytes{0xF7}));
}

TEST(UniversalMidi, ForgedSystemExclusiveDataAreNothing) {
  EXPECT_EQ(bytesOf({0x3007'0102, 0x0304'0506}), Bytes{});
  EXPECT_EQ(bytesOf({0x304F'0102, 0x0304'0506}), Bytes{});
}

TEST(UniversalMidi, OtherKindsOfPacketAreNothing) {
  EXPECT_EQ(bytesOf({0x0020'0000}), Bytes{});
  EXPECT_EQ(bytesOf({0x4090'3C00, 0x8000'0000}), Bytes{});
  EXPECT_EQ(bytesOf({0x5000'0000, 0, 0, 0}), Bytes{});
  EXPECT_EQ(bytesOf({0xF000'0000, 0, 0, 0}), Bytes{});
}

TEST(UniversalMidi, APacketCutShortIsNothing) {
  EXPECT_EQ(bytesOf({}), Bytes{});
  EXPECT_EQ(bytesOf({0x3016'7F7F}), Bytes{});
}

TEST(UniversalMidi, ThePacketsOfAStreamFollowEachOtherByTheirSizes) {
  EXPECT_EQ(universalPacketWords(0x0000'0000), 1U);
  EXPECT_EQ(universalPacketWords(0x10F1'0000), 1U);
  EXPECT_EQ(universalPacketWords(0x2090'0000), 1U);
  EXPECT_EQ(universalPacketWords(0x3000'0000), 2U);
  EXPECT_EQ(universalPacketWords(0x4000'0000), 2U);
  EXPECT_EQ(universalPacketWords(0x5000'0000), 4U);
  EXPECT_EQ(universalPacketWords(0xF000'0000), 4U);
}

}  // namespace
}  // namespace tallyrig
