#include "reader/CardColour.h"

#include <gtest/gtest.h>

#include "reader/ReaderStore.h"

namespace tallyrig {
namespace {

TEST(CardColour, SixDigitsAreRedGreenAndBlueAtFullOpacity) {
  EXPECT_EQ(colourFromHex("#2A3A6E"), (CardColour{42 / 255.0, 58 / 255.0, 110 / 255.0, 1.0}));
}

TEST(CardColour, EightDigitsEndWithTheOpacity) {
  EXPECT_EQ(colourFromHex("#FF000080"), (CardColour{1.0, 0.0, 0.0, 128 / 255.0}));
}

TEST(CardColour, NumberSignCaseAndSurroundingWhiteSpaceDoNotMatter) {
  const auto expected = colourFromHex("#ABCDEF");
  ASSERT_TRUE(expected);
  EXPECT_EQ(colourFromHex("abcdef"), expected);
  EXPECT_EQ(colourFromHex(" \t#AbCdEf\r\n"), expected);
}

TEST(CardColour, OtherTextsGiveNoColour) {
  for (const char* text : {"", "#", "##123456", "#12345", "#1234567", "#123456789", "#12 456", "#GGGGGG", "-12345",
                           "#12345G", "0x1234", "red"})
    EXPECT_FALSE(colourFromHex(text)) << '"' << text << '"';
}

TEST(CardColour, HexTextHasTwoUpperCaseDigitsPerComponent) {
  EXPECT_EQ(hexFromColour({1, 0.5, 0, 0.25}), "#FF8000");
  EXPECT_EQ(hexFromColour({0.001, 0.003, 0.998, 1}), "#0001FE");
}

TEST(CardColour, EveryPaletteColourSurvivesTheWayThere) {
  for (const std::string& hex : cardPalette()) EXPECT_EQ(hexFromColour(colourFromHex(hex).value()), hex);
}

TEST(CardColour, ForegroundIsDarkOnLightCardsOnly) {
  const CardColour white{1, 1, 1, 1};
  const CardColour dark{0.1, 0.1, 0.1, 1};
  EXPECT_EQ(foregroundOnHex("#8C8C8C"), white);  // 140 / 255 is 0.549
  EXPECT_EQ(foregroundOnHex("#8D8D8D"), dark);   // 141 / 255 is 0.553
  EXPECT_EQ(foregroundOnHex("#00FF00"), dark);   // 0.587
  EXPECT_EQ(foregroundOnHex("#FF00FF"), white);  // 0.413
  EXPECT_EQ(foregroundOnHex("no colour"), white);
}

TEST(CardColour, ForegroundReadsOnEveryPaletteColourAndOnTheFallback) {
  for (const std::string& hex : cardPalette())
    EXPECT_GE(contrastRatio(foregroundOnHex(hex), colourFromHex(hex).value()), kLegibleContrast) << hex;
  EXPECT_GE(contrastRatio(foregroundOnHex("none"), kFallbackCardColour), kLegibleContrast);
}

TEST(CardColour, ContrastRunsFromOneToTwentyOne) {
  EXPECT_DOUBLE_EQ(contrastRatio({0, 0, 0, 1}, {1, 1, 1, 1}), 21);
  EXPECT_DOUBLE_EQ(contrastRatio({0.3, 0.6, 0.9, 1}, {0.3, 0.6, 0.9, 1}), 1);
}

TEST(CardColour, BlendingLaysTheTopOverTheBottomByItsOpacity) {
  EXPECT_EQ(blended({1, 1, 1, 0.25}, {0, 0, 0.5, 1}), (CardColour{0.25, 0.25, 0.625, 1}));
}

TEST(CardColour, LegibleOpacityIsTheLeastThatReads) {
  const CardColour white{1, 1, 1, 1};
  for (const std::string& hex : cardPalette()) {
    const CardColour ground = colourFromHex(hex).value();
    const auto contrastAt = [&](double opacity) { return contrastRatio(blended({1, 1, 1, opacity}, ground), ground); };
    const double opacity = legibleOpacity(white, ground, 0.4);
    EXPECT_GE(contrastAt(opacity), kLegibleContrast) << hex;
    if (opacity > 0.4) {
      EXPECT_LT(contrastAt(opacity - 0.02), kLegibleContrast) << hex;
    }
  }
}

TEST(CardColour, LegibleOpacityLeavesWhatReadsAlreadyAndGivesUpAtOne) {
  EXPECT_EQ(legibleOpacity({1, 1, 1, 1}, {0, 0, 0, 1}, 0.7), 0.7);
  EXPECT_EQ(legibleOpacity({1, 1, 1, 1}, {0.9, 0.9, 0.9, 1}, 0.4), 1);
}

TEST(PlateForWhite, IsTheTintWhereWhiteReadsOnIt) {
  const CardColour card = *colourFromHex("#2A3A6E");
  const CardColour orange{1, 0.55, 0, 0.5};
  EXPECT_EQ(plateForWhite(orange, card), blended(orange, card));
}

TEST(PlateForWhite, IsDarkerWhereItWouldNot) {
  const CardColour orange{1, 0.55, 0, 0.5};
  for (const char* hex : {"#6E3D00", "#999999", "#FFFFFF", "#FFFF00"}) {
    const CardColour plate = plateForWhite(orange, *colourFromHex(hex));
    EXPECT_GE(contrastRatio({1, 1, 1, 1}, plate), kLegibleContrast) << hex;
    EXPECT_LT(contrastRatio({1, 1, 1, 1}, plate), kLegibleContrast + 0.3) << hex << ": no darker than it needs to be";
  }
}

}  // namespace
}  // namespace tallyrig
