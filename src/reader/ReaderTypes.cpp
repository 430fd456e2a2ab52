#include "reader/ReaderTypes.h"

#include <array>
#include <cstddef>

namespace tallyrig {
namespace {

// Each table stands in the order of the enumeration's cases.
template <typename Enumeration>
struct RawValues;

template <>
struct RawValues<CardRole> {
  static constexpr std::array<std::string_view, 2> kTexts{"Reader", "Generator"};
};
template <>
struct RawValues<SourceType> {
  static constexpr std::array<std::string_view, 2> kTexts{"LTC", "MTC"};
};
template <>
struct RawValues<OutputProtocol> {
  static constexpr std::array<std::string_view, 3> kTexts{"Disabled", "LTC", "MTC"};
};
template <>
struct RawValues<OutputFrameRate> {
  static constexpr std::array<std::string_view, 5> kTexts{"Follow Input", "24", "25", "29.97 DF", "30"};
};
template <>
struct RawValues<GeneratorStartMode> {
  static constexpr std::array<std::string_view, 3> kTexts{"Manual", "Local Time", "UTC"};
};
template <>
struct RawValues<TileSize> {
  static constexpr std::array<std::string_view, 3> kTexts{"Small", "Medium", "Large"};
};
template <>
struct RawValues<TileDisplayMode> {
  static constexpr std::array<std::string_view, 3> kTexts{"full", "compact", "minimal"};
};
template <>
struct RawValues<AppearanceMode> {
  static constexpr std::array<std::string_view, 3> kTexts{"System", "Light", "Dark"};
};

template <>
struct RawValues<JamSyncState> {
  static constexpr std::array<std::string_view, 6> kTexts{"OFF",    "WAITING",      "ACQUIRING",
                                                          "LOCKED", "FREEWHEELING", "REACQUIRING"};
};

template <typename Enumeration>
std::string_view textOf(Enumeration value) {
  return RawValues<Enumeration>::kTexts.at(static_cast<std::size_t>(value));
}

}  // namespace

std::string_view rawValue(CardRole value) noexcept {
  return textOf(value);
}
std::string_view rawValue(SourceType value) noexcept {
  return textOf(value);
}
std::string_view rawValue(OutputProtocol value) noexcept {
  return textOf(value);
}
std::string_view rawValue(OutputFrameRate value) noexcept {
  return textOf(value);
}
std::string_view rawValue(GeneratorStartMode value) noexcept {
  return textOf(value);
}
std::string_view rawValue(TileSize value) noexcept {
  return textOf(value);
}
std::string_view rawValue(TileDisplayMode value) noexcept {
  return textOf(value);
}
std::string_view rawValue(AppearanceMode value) noexcept {
  return textOf(value);
}
std::string_view rawValue(JamSyncState value) noexcept {
  return textOf(value);
}

template <typename Enumeration>
std::optional<Enumeration> fromRawValue(std::string_view raw) noexcept {
  const auto& texts = RawValues<Enumeration>::kTexts;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (texts[i] == raw) return static_cast<Enumeration>(i);
  }
  return std::nullopt;
}

template std::optional<CardRole> fromRawValue(std::string_view) noexcept;
template std::optional<SourceType> fromRawValue(std::string_view) noexcept;
template std::optional<OutputProtocol> fromRawValue(std::string_view) noexcept;
template std::optional<OutputFrameRate> fromRawValue(std::string_view) noexcept;
template std::optional<GeneratorStartMode> fromRawValue(std::string_view) noexcept;
template std::optional<TileSize> fromRawValue(std::string_view) noexcept;
template std::optional<TileDisplayMode> fromRawValue(std::string_view) noexcept;
template std::optional<AppearanceMode> fromRawValue(std::string_view) noexcept;

}  // namespace tallyrig
