#pragma once

#include <cstdint>
#include <system_error>

#include "filetools/AtomWriter.h"
#include "filetools/TimecodeTrackFormat.h"

namespace tallyrig {

/// What a timecode track is told about its movie.
struct TimecodeTrackPlace {
  std::uint32_t trackID = 0;
  /// Units in a second of `duration`, the whole movie's.
  std::uint32_t movieTimeScale = 0;
  std::uint64_t duration = 0;
  /// Where in the file the four bytes of the one sample stand.
  std::uint64_t sampleOffset = 0;
};

/// Writes the track atom of a timecode track with one sample, which lasts as long as the movie (QuickTime File Format,
/// "Timecode Media"). The sample is counted in the movie's units, or in coarser ones where it is too long for them;
/// a movie too long for whole seconds is refused.
std::error_code putTimecodeTrack(AtomWriter& writer, const TimecodeTrackFormat& format,
                                 const TimecodeTrackPlace& place);

}  // namespace tallyrig
