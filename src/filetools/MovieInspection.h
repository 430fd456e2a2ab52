#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "filetools/TimecodeTrackError.h"
#include "platform/ByteSource.h"
#include "platform/UserFiles.h"

namespace tallyrig {

/// What must survive when a movie is given a timecode track.
struct MovieInspection {
  double durationSeconds = 0;
  std::int64_t audioTrackCount = 0;
  std::int64_t videoTrackCount = 0;

  bool operator==(const MovieInspection&) const = default;
};

/// Reads the movie's header and no media. `TimecodeTrackFault::kDurationUnknown` if it does not tell its duration; zero
/// is one. A file that is no movie or cannot be edited gives its `MovieFault`.
TimecodeTrackError inspectMovie(const ByteSource& movie, MovieInspection& inspection);
TimecodeTrackError inspectMovie(const UserFiles& files, const std::filesystem::path& url, MovieInspection& inspection);

/// The picture tracks' own measure of their rate, frames over duration, in frames per second and in their order; 0
/// where a track has neither.
TimecodeTrackError pictureFrameRates(const ByteSource& movie, std::vector<double>& rates);

}  // namespace tallyrig
