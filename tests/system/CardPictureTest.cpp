#include "system/CardPicture.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "system/WatchedProcess.h"

namespace tallyrig {
namespace {

const QColor kCardColour("#104080");

/// A card's surface with a text in the middle, painted by ImageMagick.
QImage paintCard(const std::string& text, int pointSize, const std::string& font = "DejaVu Sans Mono:bold") {
  const std::string file = testing::TempDir() + "card-picture.png";
  const auto fontFile = runCommand({"fc-match", "--format=%{file}", font}, currentEnvironment());
  if (!fontFile) return {};
  const auto painted = runCommand({"convert",
                                   "-size",
                                   "640x320",
                                   "xc:#202020",
                                   "-fill",
                                   "#104080",
                                   "-stroke",
                                   "#33D966",
                                   "-strokewidth",
                                   "6",
                                   "-draw",
                                   "roundrectangle 20,20 620,300 16,16",
                                   "-fill",
                                   "white",
                                   "-stroke",
                                   "none",
                                   "-font",
                                   *fontFile,
                                   "-pointsize",
                                   std::to_string(pointSize),
                                   "-gravity",
                                   "center",
                                   "-annotate",
                                   "+0+0",
                                   text,
                                   "-pointsize",
                                   "13",
                                   "-gravity",
                                   "northwest",
                                   "-annotate",
                                   "+40+30",
                                   "Reader 8",
                                   file},
                                  currentEnvironment());
  if (!painted) return {};
  return QImage(QString::fromStdString(file)).convertToFormat(QImage::Format_RGB32);
}

class CardPictureSize : public testing::TestWithParam<int> {};

TEST_P(CardPictureSize, ReadsEveryDigit) {
  for (const std::string text : {"01:23:45:06", "17:28:39:04", "00:00:00:00", "08:18:58:28"}) {
    const QImage picture = paintCard(text, GetParam());
    const auto card = findCard(picture, kCardColour);
    ASSERT_TRUE(card);
    EXPECT_EQ(readDigits(picture, *card), text);
  }
}

INSTANTIATE_TEST_SUITE_P(Sizes, CardPictureSize, testing::Values(22, 32, 48));

TEST(CardPicture, ACardWithoutTimecodeHasNoDigits) {
  const QImage picture = paintCard("--:--:--:--", 32);
  const auto card = findCard(picture, kCardColour);
  ASSERT_TRUE(card);
  EXPECT_FALSE(readDigits(picture, *card));
}

TEST(CardPicture, LettersAreNotTakenForDigits) {
  const QImage picture = paintCard("AB:CD:EF:GH", 32);
  const auto card = findCard(picture, kCardColour);
  ASSERT_TRUE(card);
  EXPECT_FALSE(readDigits(picture, *card));
}

TEST(CardPicture, FindsNoCardOfAnotherColour) {
  EXPECT_FALSE(findCard(paintCard("01:23:45:06", 32), QColor("#803010")));
}

TEST(CardPicture, TellsTheBordersColour) {
  const QImage picture = paintCard("01:23:45:06", 32);
  const auto card = findCard(picture, kCardColour);
  ASSERT_TRUE(card);
  EXPECT_GT(borderShare(picture, *card, kSignalGreen), 0.95);
  EXPECT_EQ(borderShare(picture, *card, kIdleRed), 0);
}

}  // namespace
}  // namespace tallyrig
