#include "filetools/TimecodeTrackWriter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <string_view>
#include <utility>

#include "filetools/DedicatedTimecodeTrack.h"
#include "filetools/FileReplacement.h"
#include "filetools/MovieFault.h"
#include "filetools/TimecodeTrackEdit.h"
#include "platform/Log.h"

namespace tallyrig {
namespace {

using Path = std::filesystem::path;

constexpr const char* kOnlyQuickTime = "Timecode writing currently supports QuickTime .mov files only.";

bool isQuickTime(const Path& url) {
  std::string extension = url.extension().string();
  const auto lower = [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter;
  };
  std::ranges::transform(extension, extension.begin(), lower);
  return extension == ".mov";
}

/// A random UUID (RFC 4122, version 4).
std::string newUUID() {
  std::random_device random;
  return formatted("%08X-%04X-4%03X-%04X-%04X%08X", random(), random() & 0xffffU, random() & 0xfffU,
                   (random() & 0x3fffU) | 0x8000U, random() & 0xffffU, random());
}

TimecodeTrackResult failure(std::string text) {
  return {std::move(text), true};
}

TimecodeTrackResult wrapped(const TimecodeTrackError& error) {
  return failure("Could not safely write timecode: " + error.description);
}

/// A file that goes when the work on it ends, however that ends.
class StagedFile {
 public:
  StagedFile(UserFiles& files, Path path) : files_(files), path_(std::move(path)) {}
  StagedFile(const StagedFile&) = delete;
  StagedFile& operator=(const StagedFile&) = delete;
  ~StagedFile() {
    if (!path_.empty()) files_.remove(path_);
  }

  const Path& path() const { return path_; }
  void letGo() { path_.clear(); }

 private:
  UserFiles& files_;
  Path path_;
};

/// One run of `writeTimecodeTrack`.
class Transaction {
 public:
  Transaction(UserFiles& files, const Path& url, const Timecode& timecode, const std::stop_token& stop)
      : files_(files), url_(url), timecode_(timecode), stop_(stop) {}

  TimecodeTrackResult run() {
    if (!isQuickTime(url_)) return failure(kOnlyQuickTime);
    if (stop_.stop_requested()) return cancelled();
    if (auto refusal = look()) return *refusal;
    if (stop_.stop_requested()) return cancelled();

    Path folder;
    if (const auto error = files_.replacementFolder(url_, folder)) return wrapped(error);
    StagedFile staged(files_, folder / (newUUID() + ".mov"));
    if (auto refusal = stage(staged.path())) return *refusal;
    if (stop_.stop_requested()) return cancelled();

    backupName_ = ".tallyrig-backup-" + newUUID() + ".mov";
    backupURL_ = url_.parent_path() / backupName_;
    if (const auto error = replaceSource(files_, url_, staged.path(), backupName_, sourceState_)) return wrapped(error);
    staged.letGo();
    return verify();
  }

 private:
  static TimecodeTrackResult cancelled() {
    return failure("Timecode writing was cancelled before the original file changed.");
  }

  /// What the source is and which format its track must have; absent unless that ends the matter.
  std::optional<TimecodeTrackResult> look() {
    bool link = false;
    if (const auto error = isSymbolicLink(files_, url_, link)) return wrapped(error);
    if (link) return failure("Choose the original .mov file rather than a symbolic link.");
    if (const auto error = sourceFileState(files_, url_, sourceState_)) return wrapped(error);
    // Open until the end: some file systems number a file anew when nobody has had it open for a while.
    if (const auto error = files_.openForReading(url_, source_)) return wrapped(error);
    if (const auto error = inspectMovie(files_, url_, inspection_)) return wrapped(error);
    if (const auto error = resolveTrackFormat(files_, url_, timecode_.frameRate, format_)) return wrapped(error);
    return std::nullopt;
  }

  /// The copy with the track in it.
  std::optional<TimecodeTrackResult> stage(const Path& staged) {
    if (const auto error = copySource(files_, url_, staged)) return wrapped(error);
    if (stop_.stop_requested()) return cancelled();
    if (auto text = addTimecodeTrack(files_, staged, timecode_, format_)) return failure(std::move(*text));
    if (const auto error = validateMovie(files_, staged, timecode_, format_, inspection_)) return wrapped(error);
    if (const auto error = sourceFileState(files_, staged, stagedState_)) return wrapped(error);
    return std::nullopt;
  }

  TimecodeTrackResult verify() {
    SourceFileState replaced;
    std::unique_ptr<ByteSource> open;
    if (const auto error = sourceFileState(files_, url_, replaced)) return recover(error, std::nullopt);
    if (replaced != stagedState_) return recover(TimecodeTrackFault::kSourceChanged, stagedState_);
    files_.openForReading(url_, open);
    if (const auto error = validateMovie(files_, url_, timecode_, format_, inspection_))
      return recover(error, replaced);
    if (const auto error = verifySourceUnchanged(files_, url_, replaced)) return recover(error, replaced);
    if (removeBackup()) return {};
    return {"Timecode track was written, but the safety backup was retained at " + backupURL_.string() + ".", false};
  }

  /// Not if somebody who had the original open has written into it since it was copied.
  bool removeBackup() {
    FileAttributes backup;
    if (files_.attributes(backupURL_, backup)) return false;
    const bool written =
        static_cast<std::int64_t>(backup.size) != sourceState_.size || backup.modified != sourceState_.modificationDate;
    return !written && !files_.remove(backupURL_);
  }

  TimecodeTrackResult recover(const TimecodeTrackError& cause, const std::optional<SourceFileState>& expected) {
    FileAttributes backup;
    if (files_.attributes(backupURL_, backup) == std::errc::no_such_file_or_directory) return wrapped(cause);
    SourceFileState current;
    const bool known = !sourceFileState(files_, url_, current);
    if (!expected || !known || current != *expected) {
      return failure(
          "Timecode writing failed after replacement. The source changed again, so it was not restored. Your original "
          "is retained at " +
          backupName_ + ".");
    }
    if (restoreSource(files_, url_, backupURL_, *expected)) {
      return failure("Timecode writing failed after replacement. Your original is retained at " + backupName_ + ".");
    }
    return failure("Timecode writing failed validation. The original file was restored.");
  }

  UserFiles& files_;
  const Path& url_;
  const Timecode& timecode_;
  const std::stop_token& stop_;
  std::unique_ptr<ByteSource> source_;
  SourceFileState sourceState_;
  /// The copy as it was before it took the source's place: what others did to it since must be spared.
  SourceFileState stagedState_;
  MovieInspection inspection_;
  TimecodeTrackFormat format_;
  std::string backupName_;
  Path backupURL_;
};

/// What the user is told of a movie that the edit of its atoms refuses.
std::string refusalText(std::error_code error) {
  if (error == MovieFault::kTooManyAtoms) return "Could not add timecode track.";
  if (error == MovieFault::kDurationTooLong) {
    return "Could not insert timecode media range into the movie timeline.";
  }
  if (error == MovieFault::kTimecodeOutOfRange || error == MovieFault::kOpenEndedMedia) {
    return "Could not append timecode sample: " + error.message();
  }
  const bool unread = error.category() != movieFaultCategory();
  return (unread ? "Could not load duration: " : "Could not write movie header: ") + error.message();
}

std::error_code writePart(UserFiles& files, const Path& url, const TimecodeTrackEdit::Write& part) {
  return files.write(url, part.offset, part.bytes);
}

std::error_code writeSample(UserFiles& files, const Path& url, const TimecodeTrackEdit& edit) {
  if (edit.closing) {
    if (const auto error = writePart(files, url, *edit.closing)) return error;
  }
  return writePart(files, url, edit.sample);
}

std::error_code writeHeader(UserFiles& files, const Path& url, const TimecodeTrackEdit& edit) {
  if (const auto error = writePart(files, url, edit.header)) return error;
  if (const auto error = files.sync(url)) return error;
  if (const auto error = writePart(files, url, edit.retirement)) return error;
  return files.sync(url);
}

bool canBeDescribed(const TimecodeTrackFormat& format) {
  constexpr std::uint32_t kMostQuanta = 255;
  return format.frameQuanta >= 1 && format.frameQuanta <= kMostQuanta && format.frameDuration.value >= 1 &&
         format.frameDuration.timescale >= 1;
}

/// By value: 1001/30000 is 2002/60000.
bool isSameDuration(const FrameDuration& one, const FrameDuration& other) {
  return std::uint64_t{one.value} * other.timescale == std::uint64_t{other.value} * one.timescale &&
         one.timescale != 0 && other.timescale != 0;
}

}  // namespace

TimecodeTrackResult writeTimecodeTrack(UserFiles& files, const Path& url, const Timecode& timecode,
                                       const std::stop_token& stop) {
  return Transaction(files, url, timecode, stop).run();
}

TimecodeTrackError resolveTrackFormat(const UserFiles& files, const Path& url, MTCFrameRate frameRate,
                                      TimecodeTrackFormat& format) {
  std::unique_ptr<ByteSource> movie;
  std::vector<double> rates;
  if (const auto error = files.openForReading(url, movie)) return error;
  if (auto error = pictureFrameRates(*movie, rates)) return error;
  return resolveTrackFormat(frameRate, rates, format);
}

TimecodeTrackError copySource(UserFiles& files, const Path& from, const Path& to) {
  return files.copy(from, to);
}

std::optional<std::string> addTimecodeTrack(UserFiles& files, const Path& url, const Timecode& timecode,
                                            const TimecodeTrackFormat& format) {
  constexpr int kInvalidParameter = -12710;
  if (!isQuickTime(url)) return kOnlyQuickTime;
  if (!canBeDescribed(format)) {
    return formatted("Could not create timecode format description. OSStatus %d.", kInvalidParameter);
  }
  std::unique_ptr<ByteSource> movie;
  MovieInspection inspection;
  TimecodeTrackError unread = files.openForReading(url, movie);
  if (!unread) unread = inspectMovie(*movie, inspection);
  if (unread) return "Could not load duration: " + unread.description;

  TimecodeTrackEdit edit;
  if (const auto error = planTimecodeTrack(*movie, timecode, format, edit)) return refusalText(error);
  movie.reset();
  if (const auto error = writeSample(files, url, edit)) return "Could not append timecode sample: " + error.message();
  if (const auto error = writeHeader(files, url, edit)) return "Could not write movie header: " + error.message();
  return std::nullopt;
}

TimecodeTrackError validateMovie(const UserFiles& files, const Path& url, const Timecode& timecode,
                                 const TimecodeTrackFormat& format, const MovieInspection& inspection) {
  constexpr double kTolerance = 0.05;
  MovieInspection found;
  if (auto error = inspectMovie(files, url, found)) return error;
  const bool kept = std::abs(found.durationSeconds - inspection.durationSeconds) < kTolerance &&
                    found.audioTrackCount == inspection.audioTrackCount &&
                    found.videoTrackCount == inspection.videoTrackCount;
  if (!kept) return TimecodeTrackFault::kMovieNotPreserved;

  const auto track = readDedicatedTimecodeTrack(files, url);
  const bool written =
      track && track->timecode == timecode && track->frameQuanta == format.frameQuanta &&
      (track->timeCodeFlags & kTimeCodeFlagDropFrame) == (format.timeCodeFlags & kTimeCodeFlagDropFrame) &&
      isSameDuration(track->frameDuration, format.frameDuration);
  return written ? TimecodeTrackError{} : TimecodeTrackFault::kTrackNotVerified;
}

}  // namespace tallyrig
