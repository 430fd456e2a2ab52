#include "filetools/FileReplacement.h"

#include <memory>

namespace tallyrig {
namespace {

using Path = std::filesystem::path;

bool isUnsupported(std::error_code error) {
  return error == std::errc::operation_not_supported;
}

/// Whether the file is the one that `expected` tells of; not where that cannot be told.
bool isStill(const UserFiles& files, const Path& path, const SourceFileState& expected) {
  return !verifySourceUnchanged(files, path, expected);
}

/// One replacement under way. Every step that fails takes back what was done before it.
class Replacement {
 public:
  Replacement(UserFiles& files, const Path& source, const Path& staged, const Path& backup,
              const SourceFileState& expected)
      : files_(files), source_(source), staged_(staged), backup_(backup), expected_(expected) {}

  TimecodeTrackError run() {
    if (auto error = nameOldFile()) return error;
    if (auto error = swap()) {
      files_.remove(backup_);
      return error;
    }
    return {};
  }

 private:
  /// The old file under its second name, if the volume has such; that it is the old file is then certain.
  TimecodeTrackError nameOldFile() {
    const auto error = files_.link(source_, backup_);
    if (isUnsupported(error)) return {};
    if (error) return error;
    named_ = true;
    TimecodeTrackError fault = verifySourceUnchanged(files_, backup_, expected_);
    if (!fault) fault = files_.sync(folder());
    if (fault) files_.remove(backup_);
    return fault;
  }

  TimecodeTrackError swap() {
    // Without a second name the old file gets the backup's name by the exchange itself.
    const Path& other = named_ ? staged_ : backup_;
    if (!named_) {
      if (const auto error = files_.rename(staged_, backup_)) return error;
    }
    const auto error = files_.exchange(other, source_);
    if (isUnsupported(error)) return renameOver();
    if (error) return error;
    if (!isStill(files_, other, expected_)) return takeBack(other, TimecodeTrackFault::kSourceChanged);
    if (const auto failure = files_.sync(folder())) return takeBack(other, failure);
    if (named_) files_.remove(staged_);
    return {};
  }

  TimecodeTrackError renameOver() {
    if (!named_) {
      if (const auto error = files_.rename(backup_, staged_)) return error;
      if (const auto error = files_.copy(source_, backup_)) return error;
      if (const auto error = files_.sync(backup_)) return error;
      if (const auto error = files_.sync(folder())) return error;
    }
    if (auto error = verifySourceUnchanged(files_, source_, expected_)) return error;
    if (const auto error = files_.rename(staged_, source_)) return error;
    const auto error = files_.sync(folder());
    // Where even this fails the new file stands and the backup stays.
    if (!error || files_.rename(backup_, source_)) return {};
    files_.sync(folder());
    return error;
  }

  /// What came out of the source's place goes back, whoever's it is. Where even that fails the new file stands, and
  /// what came out becomes the backup.
  TimecodeTrackError takeBack(const Path& other, TimecodeTrackError error) {
    if (files_.exchange(other, source_)) {
      // Where both are names of the old file, renaming one to the other leaves both.
      if (named_ && !files_.rename(staged_, backup_)) files_.remove(staged_);
      return {};
    }
    files_.sync(folder());
    return error;
  }

  Path folder() const { return source_.has_parent_path() ? source_.parent_path() : Path("."); }

  UserFiles& files_;
  const Path& source_;
  const Path& staged_;
  const Path& backup_;
  const SourceFileState& expected_;
  /// The old file has its second name.
  bool named_ = false;
};

}  // namespace

TimecodeTrackError replaceSource(UserFiles& files, const Path& source, const Path& staged,
                                 const std::string& backupName, const SourceFileState& expected) {
  std::unique_ptr<FileLock> lock;
  if (const auto error = files.lock(source, lock)) return error;
  if (auto error = verifySourceUnchanged(files, source, expected)) return error;
  const Path backup = source.parent_path() / backupName;
  return Replacement(files, source, staged, backup, expected).run();
}

TimecodeTrackError restoreSource(UserFiles& files, const Path& source, const Path& backup,
                                 const SourceFileState& expected) {
  std::unique_ptr<FileLock> lock;
  if (const auto error = files.lock(source, lock)) return error;
  if (auto error = verifySourceUnchanged(files, source, expected)) return error;
  const auto error = files.exchange(backup, source);
  if (isUnsupported(error)) {
    if (const auto failure = files.rename(backup, source)) return failure;
  } else if (error) {
    return error;
  } else if (isStill(files, backup, expected)) {
    files.remove(backup);
  } else if (!files.exchange(backup, source)) {
    return TimecodeTrackFault::kSourceChanged;
  }
  // The original stands whether or not this disk wants to hear of it.
  files.sync(source.has_parent_path() ? source.parent_path() : Path("."));
  return {};
}

}  // namespace tallyrig
