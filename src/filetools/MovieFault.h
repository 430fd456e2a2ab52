#pragma once

#include <system_error>

namespace tallyrig {

/// Why a file is not a movie whose atoms can be edited. Each has a text for the user, through `message`.
enum class MovieFault {
  kNoMovieHeader = 1,
  kAtomTooLong,
  kContradiction,
  kTooManyAtoms,
  kHeaderTooLarge,
  kCompressedHeader,
  kFragmented,
  kUnknownDuration,
  kDurationTooLong,
  kOpenEndedMedia,
  kTimecodeOutOfRange,
};

const std::error_category& movieFaultCategory() noexcept;

inline std::error_code make_error_code(MovieFault fault) noexcept {
  return {static_cast<int>(fault), movieFaultCategory()};
}

}  // namespace tallyrig

template <>
struct std::is_error_code_enum<tallyrig::MovieFault> : std::true_type {};
