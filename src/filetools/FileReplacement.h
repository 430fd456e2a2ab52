#pragma once

#include <filesystem>
#include <string>

#include "filetools/SourceFileState.h"
#include "filetools/TimecodeTrackError.h"
#include "platform/UserFiles.h"

namespace tallyrig {

/// Puts the file `staged` in the place of `source`, if that still is as `expected`, and keeps the old one beside it
/// under the name `backupName`. At every instant, a power cut included, a whole file stands at `source`. On an error
/// the old one does, `staged` may be gone, and there is no backup.
///
/// On volumes that can exchange two names nothing that others put at `source` in the meantime is lost either: what
/// comes out of its place and is not as expected goes back. Where they cannot, the backup is a second name of the old
/// file, and where there are no second names a copy; the new file is then renamed over it, after a last look at it.
TimecodeTrackError replaceSource(UserFiles& files, const std::filesystem::path& source,
                                 const std::filesystem::path& staged, const std::string& backupName,
                                 const SourceFileState& expected);

/// Puts `backup` in the place of `source`, if that still is as `expected`, which is then gone.
TimecodeTrackError restoreSource(UserFiles& files, const std::filesystem::path& source,
                                 const std::filesystem::path& backup, const SourceFileState& expected);

}  // namespace tallyrig
