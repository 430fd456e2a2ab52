// Reads cards from a picture of the screen, for shell scripts.

#include <QImage>
#include <cstdio>

#include "system/CardPicture.h"

namespace {

using namespace tallyrig;

const char* borderName(const QImage& picture, const QRect& card) {
  constexpr double kMost = 0.9;
  if (borderShare(picture, card, kSignalGreen) > kMost) return "green";
  if (borderShare(picture, card, kIdleRed) > kMost) return "red";
  return borderShare(picture, card, kJamOrange) > kMost ? "orange" : "changing";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fputs(
        "Usage: card_picture PICTURE COLOUR...\n"
        "Prints a line for each card: its border's colour, its digits or \"none\", and the place of its START or\n"
        "JAM SYNC button. Fails where there is no card of that colour.\n",
        stderr);
    return 2;
  }
  const QImage picture = QImage(argv[1]).convertToFormat(QImage::Format_RGB32);
  for (int index = 2; index < argc; ++index) {
    const auto card = findCard(picture, QColor(argv[index]));
    if (!card) {
      std::fprintf(stderr, "card_picture: no card of the colour %s\n", argv[index]);
      return 1;
    }
    const QPoint button = actionButton(*card);
    std::printf("%s %s %d %d\n", borderName(picture, *card), readDigits(picture, *card).value_or("none").c_str(),
                button.x(), button.y());
  }
  return 0;
}
