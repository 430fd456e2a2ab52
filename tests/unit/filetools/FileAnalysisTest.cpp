#include "filetools/FileAnalysis.h"

#include <limits>

#include "support/FrameRates.h"

namespace tallyrig {
namespace {

using testing::ElementsAre;

TEST(ProbePositions, UpToTwoSecondsAreProbedOnce) {
  for (const std::int64_t total : {0, 1, 48000, 95999, 96000}) {
    EXPECT_THAT(probePositions(total, 48000), ElementsAre(0)) << total;
  }
  EXPECT_THAT(probePositions(-5, 48000), ElementsAre(0));
}

TEST(ProbePositions, ASampleMoreIsProbedFiveTimesWithinThatSample) {
  EXPECT_THAT(probePositions(96001, 48000), ElementsAre(0, 0, 0, 0, 1));
}

TEST(ProbePositions, TheLastProbeEndsWithTheFileAndTheMiddleOnesAreTruncated) {
  EXPECT_THAT(probePositions(96000 + 4000, 48000), ElementsAre(0, 1000, 2000, 3000, 4000));
  EXPECT_THAT(probePositions(96000 + 4003, 48000), ElementsAre(0, 1000, 2001, 3002, 4003));
  EXPECT_THAT(probePositions(88200 + 7, 44100), ElementsAre(0, 1, 3, 5, 7));
}

TEST(ProbePositions, TheLengthOfAProbeIsTruncated) {
  EXPECT_EQ(probeLength(44100.3), 88200);
  EXPECT_EQ(probeLength(44100.6), 88201);
  EXPECT_THAT(probePositions(88202, 44100.6), ElementsAre(0, 0, 0, 0, 1));
}

TEST(ProbePositions, ALongFileIsNoDearerThanAShortOne) {
  EXPECT_EQ(probePositions(std::int64_t{1} << 50, 192000).size(), 5U);
}

TEST(Projection, GoesBackByTheNominalRate) {
  EXPECT_EQ(projectToFileStart(at25(1, 0, 10, 0), 480000, 48000), at25(1, 0, 0, 0));
  EXPECT_EQ(projectToFileStart(at25(1, 0, 10, 0), 479999, 48000), at25(1, 0, 0, 1));
  EXPECT_EQ(projectToFileStart(at25(1, 0, 10, 0), 481919, 48000), at25(1, 0, 0, 0));
}

TEST(Projection, WrapsAtMidnight) {
  EXPECT_EQ(projectToFileStart(at25(0, 0, 1, 0), 96000, 48000), at25(23, 59, 59, 0));
}

TEST(Projection, CountsDropFrameByItsExactRate) {
  const Timecode oneHour{1, 0, 0, 0, MTCFrameRate::fps2997};
  // 107,892 frames are an hour of drop-frame code, 3,599.9964 s.
  const auto position = static_cast<std::int64_t>(107892 * 1001.0 / 30000 * 48000) + 1;
  EXPECT_EQ(projectToFileStart(oneHour, position, 48000), (Timecode{0, 0, 0, 0, MTCFrameRate::fps2997}));
  EXPECT_EQ(exactFrameRate(MTCFrameRate::fps2997), 29.97002997002997);
}

TEST(Projection, AFrameThatBeganBeforeTheFileMovesForward) {
  EXPECT_EQ(projectToFileStart(at25(1, 0, 0, 0), -1, 48000), at25(1, 0, 0, 1));
}

TEST(MediaExtension, IsOneOfFourNamesInLowerCase) {
  for (const char* name : {"a.mov", "a.MOV", "a.b.Mp4", "a.m4v", "a.M4A"}) {
    EXPECT_TRUE(isMediaExtension(lowerCasedExtension(name))) << name;
  }
  for (const char* name : {"a.wav", "mov", ".mov", "a.mov.wav", "a.", "", "a.movie"}) {
    EXPECT_FALSE(isMediaExtension(lowerCasedExtension(name))) << name;
  }
}

TEST(TimecodeText, HasElevenBytesAndFourWholeNumbers) {
  for (const char* text : {"01:00:00:00", "::01:00:00:00", "001:000:00:0", "-1:00:00:0000", "+1:00:00:0000",
                           "01:00:00:00:", "99:99:99:99"}) {
    EXPECT_TRUE(looksLikeTimecode(text)) << text;
  }
  for (const char* text : {"", "1:2:3:4", "01:00:00;00", "01:00:00:00:00", "01:00:00:0x", "01:00:00: 0", "abcdefghijkl",
                           "+-1:00:00:0000", "12345678901", "00:00:000000", "1:1:1:99999999999999999999"}) {
    EXPECT_FALSE(looksLikeTimecode(text)) << text;
  }
}

TEST(FileAnalysisErrorText, IsForTheUser) {
  EXPECT_EQ((FileAnalysisError{FileAnalysisError::Case::assetLoadFailed, "No data"}).description(),
            "Could not load media asset: No data");
  EXPECT_EQ((FileAnalysisError{FileAnalysisError::Case::cannotReadFile, {}}).description(),
            "Could not open the file for reading.");
  EXPECT_EQ((FileAnalysisError{FileAnalysisError::Case::noLTCFound, {}}).description(),
            "No LTC timecode signal found in the file.");
  EXPECT_EQ((FileAnalysisError{FileAnalysisError::Case::cancelled, {}}).description(), "File analysis was cancelled.");
}

}  // namespace
}  // namespace tallyrig
