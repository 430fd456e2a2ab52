#pragma once

#include <optional>
#include <string_view>

#include "timecode/Timecode.h"

namespace tallyrig {

// The choices that a card offers. Their raw value is what readers.json stores and what the interface shows.

enum class CardRole { reader, generator };
enum class SourceType { ltc, mtc };
enum class OutputProtocol { disabled, ltc, mtc };
enum class OutputFrameRate { followInput, fps24, fps25, fps2997, fps30 };
enum class GeneratorStartMode { manual, localTime, utc };
enum class TileSize { small, medium, large };
enum class TileDisplayMode { full, compact, minimal };
enum class AppearanceMode { system, light, dark };

/// Where a card under jam sync stands. Its raw value is what the tile shows.
enum class JamSyncState {
  off,
  /// Switched on, no input yet.
  waiting,
  /// Input arrives and has not proved stable.
  acquiring,
  /// The output was started from a stable input, which is still there.
  locked,
  /// The input has gone and the output runs on.
  freewheeling,
  /// The input is back and has not proved stable.
  reacquiring
};

std::string_view rawValue(CardRole value) noexcept;
std::string_view rawValue(SourceType value) noexcept;
std::string_view rawValue(OutputProtocol value) noexcept;
std::string_view rawValue(OutputFrameRate value) noexcept;
std::string_view rawValue(GeneratorStartMode value) noexcept;
std::string_view rawValue(TileSize value) noexcept;
std::string_view rawValue(TileDisplayMode value) noexcept;
std::string_view rawValue(AppearanceMode value) noexcept;
std::string_view rawValue(JamSyncState value) noexcept;

/// The case with exactly this raw value; absent if there is none.
template <typename Enumeration>
std::optional<Enumeration> fromRawValue(std::string_view raw) noexcept;

}  // namespace tallyrig
