#pragma once

#include <cstdint>
#include <filesystem>

#include "filetools/TimecodeTrackError.h"
#include "platform/UserFiles.h"

namespace tallyrig {

/// The identity of a file on disk. Two states are equal when all is.
struct SourceFileState {
  /// The file system's number of the file.
  std::int64_t fileNumber = 0;
  /// Bytes.
  std::int64_t size = 0;
  FileAttributes::Time modificationDate;

  bool operator==(const SourceFileState&) const = default;
};

/// `TimecodeTrackFault::kNoIdentity` where the volume does not tell a file from another.
TimecodeTrackError sourceFileState(const UserFiles& files, const std::filesystem::path& url, SourceFileState& state);

/// `TimecodeTrackFault::kSourceChanged` unless the file still is what it was.
TimecodeTrackError verifySourceUnchanged(const UserFiles& files, const std::filesystem::path& url,
                                         const SourceFileState& expected);

TimecodeTrackError isSymbolicLink(const UserFiles& files, const std::filesystem::path& url, bool& answer);

}  // namespace tallyrig
