#pragma once

#include <string>
#include <system_error>

namespace tallyrig {

/// Why a timecode track was not written, as far as it is this program's own judgement. The values are fixed.
enum class TimecodeTrackFault {
  kDurationUnknown = 1,
  kMovieNotPreserved = 2,
  kTrackNotVerified = 3,
  kNoIdentity = 4,
  kSourceChanged = 5,
  kCadenceMismatch = 6,
  kMixedCadences = 7,
};

/// The error domain "Tallyrig.FileAnalysis".
const std::error_category& fileAnalysisCategory() noexcept;

inline std::error_code make_error_code(TimecodeTrackFault fault) noexcept {
  return {static_cast<int>(fault), fileAnalysisCategory()};
}

}  // namespace tallyrig

template <>
struct std::is_error_code_enum<tallyrig::TimecodeTrackFault> : std::true_type {};

namespace tallyrig {

/// An error of a step with its text for the user. The domain is the code's category: this program's, that of movie
/// files, or the system's. Plain value; no error if the code is none.
struct TimecodeTrackError {
  TimecodeTrackError() = default;
  // NOLINTNEXTLINE(google-explicit-constructor): a step passes on what the step within it returned.
  TimecodeTrackError(std::error_code error) : code(error), description(error ? error.message() : std::string()) {}
  // NOLINTNEXTLINE(google-explicit-constructor)
  TimecodeTrackError(TimecodeTrackFault fault) : TimecodeTrackError(make_error_code(fault)) {}
  TimecodeTrackError(std::error_code error, std::string text) : code(error), description(std::move(text)) {}

  std::error_code code;
  std::string description;

  explicit operator bool() const noexcept { return static_cast<bool>(code); }
  bool operator==(const TimecodeTrackError&) const = default;
};

}  // namespace tallyrig
