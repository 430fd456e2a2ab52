#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tallyrig {

/// A card's colour: sRGB components and opacity, each 0 to 1. Plain value.
struct CardColour {
  double red = 0;
  double green = 0;
  double blue = 0;
  double opacity = 1;

  bool operator==(const CardColour&) const = default;
};

/// What a card is painted in when its colour text gives no colour.
inline constexpr CardColour kFallbackCardColour{0.1, 0.1, 0.1, 1};

/// The contrast that small text needs to be read (WCAG 2.1, success criterion 1.4.3).
inline constexpr double kLegibleContrast = 4.5;

/// From "RRGGBB" or "RRGGBBAA" in hexadecimal, with or without one leading number sign and surrounding white space.
/// Absent for anything else.
std::optional<CardColour> colourFromHex(std::string_view hex);

/// "#RRGGBB", each component rounded to the nearest byte. The opacity is left out.
std::string hexFromColour(const CardColour& colour);

/// What text and icons on a card of this colour are drawn in: near-black on a light card, white on any other and where
/// `hex` gives no colour.
CardColour foregroundOnHex(std::string_view hex);

/// `top` laid over an opaque `bottom`.
CardColour blended(const CardColour& top, const CardColour& bottom);

/// Contrast ratio of two opaque colours, 1 to 21 (WCAG 2.1).
double contrastRatio(const CardColour& first, const CardColour& second);

/// The least opacity, in hundredths and not below `wanted`, at which `text` surely stands out from an opaque
/// `background` by `kLegibleContrast` when painted; 1 if none does.
double legibleOpacity(const CardColour& text, const CardColour& background, double wanted);

/// `tint` laid over an opaque `background` for white text to stand on: darkened as far as the text needs to be read.
CardColour plateForWhite(const CardColour& tint, const CardColour& background);

}  // namespace tallyrig
