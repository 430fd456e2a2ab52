#include "reader/CardColour.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>

#include "platform/Log.h"

namespace tallyrig {

namespace {

constexpr CardColour kWhite{1, 1, 1, 1};
constexpr CardColour kDarkForeground{0.1, 0.1, 0.1, 1};
constexpr double kLightBackground = 0.55;
/// What painting with eight bits a component may take from a contrast.
constexpr double kRoundingLoss = 0.05;
constexpr double kEnoughContrast = kLegibleContrast + kRoundingLoss;

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";
  const auto first = text.find_first_not_of(kWhiteSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

unsigned byteOf(double component) {
  return static_cast<unsigned>(std::lround(std::clamp(component, 0.0, 1.0) * 255.0));
}

double linear(double component) {
  return component <= 0.04045 ? component / 12.92 : std::pow((component + 0.055) / 1.055, 2.4);
}

double relativeLuminance(const CardColour& colour) {
  return 0.2126 * linear(colour.red) + 0.7152 * linear(colour.green) + 0.0722 * linear(colour.blue);
}

}  // namespace

std::optional<CardColour> colourFromHex(std::string_view hex) {
  std::string_view digits = trimmed(hex);
  if (digits.starts_with('#')) digits.remove_prefix(1);
  if (digits.size() != 6 && digits.size() != 8) return std::nullopt;
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
  if (error != std::errc{} || end != digits.data() + digits.size()) return std::nullopt;
  if (digits.size() == 6) value = value << 8 | 0xFF;
  const auto component = [value](int shift) { return static_cast<double>(value >> shift & 0xFF) / 255.0; };
  return CardColour{component(24), component(16), component(8), component(0)};
}

std::string hexFromColour(const CardColour& colour) {
  return formatted("#%02X%02X%02X", byteOf(colour.red), byteOf(colour.green), byteOf(colour.blue));
}

CardColour foregroundOnHex(std::string_view hex) {
  const auto background = colourFromHex(hex);
  if (!background) return kWhite;
  const double brightness = 0.299 * background->red + 0.587 * background->green + 0.114 * background->blue;
  return brightness > kLightBackground ? kDarkForeground : kWhite;
}

CardColour blended(const CardColour& top, const CardColour& bottom) {
  const auto mix = [&](double over, double under) { return over * top.opacity + under * (1 - top.opacity); };
  return {mix(top.red, bottom.red), mix(top.green, bottom.green), mix(top.blue, bottom.blue), 1};
}

double contrastRatio(const CardColour& first, const CardColour& second) {
  const auto [darker, lighter] = std::minmax({relativeLuminance(first), relativeLuminance(second)});
  return (lighter + 0.05) / (darker + 0.05);
}

double legibleOpacity(const CardColour& text, const CardColour& background, double wanted) {
  const auto contrastAt = [&](double opacity) {
    return contrastRatio(blended({text.red, text.green, text.blue, opacity}, background), background);
  };
  if (contrastAt(wanted) >= kEnoughContrast) return wanted;
  for (int hundredths = static_cast<int>(std::ceil(wanted * 100)); hundredths < 100; ++hundredths)
    if (contrastAt(hundredths / 100.0) >= kEnoughContrast) return hundredths / 100.0;
  return 1;
}

CardColour plateForWhite(const CardColour& tint, const CardColour& background) {
  const CardColour tinted = blended(tint, background);
  CardColour plate = tinted;
  for (int hundredths = 1; contrastRatio(kWhite, plate) < kEnoughContrast; ++hundredths)
    plate = blended({0, 0, 0, hundredths / 100.0}, tinted);
  return plate;
}

}  // namespace tallyrig
