#pragma once

#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>

#include "filetools/MovieInspection.h"
#include "filetools/SourceFileState.h"
#include "filetools/TimecodeTrackError.h"
#include "filetools/TimecodeTrackFormat.h"
#include "platform/UserFiles.h"
#include "timecode/Timecode.h"

namespace tallyrig {

/// How the writing of a timecode track ended. Nothing but plain success has no text.
struct TimecodeTrackResult {
  /// A remark on a success, or why it failed; for the user. Paths in it are the bytes that the file system has.
  std::optional<std::string> text;
  bool failed = false;

  bool operator==(const TimecodeTrackResult&) const = default;
};

/// Gives the QuickTime movie at `url` one timecode track, whose value at the movie's first frame is `timecode` and
/// whose format follows from the timecode's rate; tracks of that kind that it has go.
///
/// The movie is never edited in place. A copy beside it gets the track and is verified, takes the movie's place in one
/// instant and is verified again; until then the original stays as a backup in the same folder. At every instant a
/// whole movie stands at `url`, the old one or the new. A failure after the swap puts the original back, unless
/// somebody has changed the file again: then the backup stays and the text names it.
///
/// Only this one name of the movie changes: its other hard links keep the old one. A write-protected movie is refused,
/// although its folder would let it be replaced. What a killed run leaves beside the movie is not cleared by the next
/// one: nothing tells our copy from what an exchange has just taken out of the movie's place, and that may be another
/// program's only one.
///
/// Blocking, for as long as a copy of the movie takes; any thread but a real-time one. `stop` is heeded until the swap
/// begins.
TimecodeTrackResult writeTimecodeTrack(UserFiles& files, const std::filesystem::path& url, const Timecode& timecode,
                                       const std::stop_token& stop = {});

/// The steps of it that stand for themselves.

/// The format for the pictures of the movie; see the other `resolveTrackFormat`.
TimecodeTrackError resolveTrackFormat(const UserFiles& files, const std::filesystem::path& url, MTCFrameRate frameRate,
                                      TimecodeTrackFormat& format);

/// With everything that belongs to the file. What a failure left of the copy is the caller's to remove.
TimecodeTrackError copySource(UserFiles& files, const std::filesystem::path& from, const std::filesystem::path& to);

/// Edits the movie in place, so only ever a copy. Absent on success, otherwise the text for the user.
std::optional<std::string> addTimecodeTrack(UserFiles& files, const std::filesystem::path& url,
                                            const Timecode& timecode, const TimecodeTrackFormat& format);

/// Whether the movie has kept what `inspection` found in it before and its one timecode track says what was written.
TimecodeTrackError validateMovie(const UserFiles& files, const std::filesystem::path& url, const Timecode& timecode,
                                 const TimecodeTrackFormat& format, const MovieInspection& inspection);

}  // namespace tallyrig
