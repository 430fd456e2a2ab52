#pragma once

#include <cstdint>
#include <optional>
#include <system_error>
#include <vector>

#include "filetools/TimecodeTrackFormat.h"
#include "platform/ByteSource.h"
#include "timecode/Timecode.h"

namespace tallyrig {

/// What to write into a movie file, in this order, for it to have one timecode track. Media is neither moved nor
/// touched, and the old movie header stands until the new one does: between `header` and `retirement` the file must
/// reach the disk. A header that stood first, for streaming, stands last after it.
struct TimecodeTrackEdit {
  struct Write {
    std::uint64_t offset = 0;
    std::vector<std::uint8_t> bytes;
  };

  /// Gives an atom that reached to the end of the file its size. Absent where there is none.
  std::optional<Write> closing;
  /// The track's sample, at the end of the file, and the new movie header behind it.
  Write sample;
  Write header;
  /// Turns the old movie header into free space.
  Write retirement;
};

/// Plans the edit of the movie that `source` is. Every timecode track it has goes, with all references to it. The new
/// one starts with `timecode` and lasts as long as the movie; its picture tracks refer to it, or its sound tracks if it
/// has no picture. All other atoms are kept byte for byte, but for the movie's duration and next track number.
///
/// Refuses movies that cannot be edited so, with a `MovieFault`.
std::error_code planTimecodeTrack(const ByteSource& source, const Timecode& timecode, const TimecodeTrackFormat& format,
                                  TimecodeTrackEdit& edit);

}  // namespace tallyrig
