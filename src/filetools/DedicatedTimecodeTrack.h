#pragma once

#include <optional>

#include "filetools/TimecodeTrackFormat.h"
#include "platform/ByteSource.h"
#include "platform/UserFiles.h"
#include "timecode/Timecode.h"

namespace tallyrig {

/// What the one timecode track of a movie says.
struct DedicatedTimecodeTrack {
  /// Of the movie's first frame. Drop frame by the flag; 24 and 30 by the quanta; all others are taken as `fps25`.
  Timecode timecode;
  FrameDuration frameDuration;
  std::uint32_t frameQuanta = 0;
  std::uint32_t timeCodeFlags = 0;

  bool operator==(const DedicatedTimecodeTrack&) const = default;
};

/// Absent unless the movie has one timecode track and no more, it is of the type "tmcd", and it has a sample that can
/// be read. Nothing of the media but that sample is read.
std::optional<DedicatedTimecodeTrack> readDedicatedTimecodeTrack(const ByteSource& movie);
std::optional<DedicatedTimecodeTrack> readDedicatedTimecodeTrack(const UserFiles& files,
                                                                 const std::filesystem::path& url);

}  // namespace tallyrig
