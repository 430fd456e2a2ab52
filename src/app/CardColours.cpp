#include "app/CardColours.h"

#include "reader/CardColour.h"

namespace tallyrig {

namespace {

QColor qColor(const CardColour& colour) {
  return QColor::fromRgbF(static_cast<float>(colour.red), static_cast<float>(colour.green),
                          static_cast<float>(colour.blue), static_cast<float>(colour.opacity));
}

CardColour cardColour(const QString& hex) {
  return colourFromHex(hex.toStdString()).value_or(kFallbackCardColour);
}

CardColour atOpacity(CardColour colour, double opacity) {
  colour.opacity = opacity;
  return colour;
}

}  // namespace

QColor CardColours::background(const QString& hex) {
  return qColor(cardColour(hex));
}

QColor CardColours::foreground(const QString& hex, double opacity) {
  return qColor(atOpacity(foregroundOnHex(hex.toStdString()), opacity));
}

QColor CardColours::text(const QString& hex, double opacity, double plate) {
  const CardColour foreground = foregroundOnHex(hex.toStdString());
  const CardColour ground = blended(atOpacity(foreground, plate), cardColour(hex));
  return qColor(atOpacity(foreground, legibleOpacity(foreground, ground, opacity)));
}

QColor CardColours::plateForWhite(const QString& hex, const QColor& tint, double opacity) {
  return qColor(tallyrig::plateForWhite({tint.redF(), tint.greenF(), tint.blueF(), opacity}, cardColour(hex)));
}

}  // namespace tallyrig
