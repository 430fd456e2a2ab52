#pragma once

#include <string>

namespace tallyrig {

/// Why a timecode track does not fit its movie. Plain value.
struct TimecodeTrackError {
  /// The numbers count in the error domain "Tallyrig.FileAnalysis".
  enum class Code { cadenceMismatch = 6, mixedCadences = 7 };

  Code code = Code::cadenceMismatch;
  /// For the user.
  std::string description;

  bool operator==(const TimecodeTrackError&) const = default;
};

}  // namespace tallyrig
