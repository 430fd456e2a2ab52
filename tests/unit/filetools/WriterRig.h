#pragma once

#include <algorithm>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "filetools/TimecodeTrackWriter.h"
#include "platform/simulated/SimulatedUserFiles.h"
#include "support/EditedMovie.h"
#include "support/TestMovie.h"

namespace tallyrig {

/// A picture track that lasts ten seconds at a frame rate of value / scale.
inline TestTrack pictureAt(std::uint32_t id, std::uint32_t scale, std::uint32_t value) {
  TestTrack track{.id = id, .mediaTimeScale = scale};
  track.durations = number32(1) + number32(10 * scale / value) + number32(value);
  return track;
}

inline TestMovie movieAt(std::uint32_t scale, std::uint32_t value) {
  TestMovie movie;
  movie.tracks = {pictureAt(1, scale, value), {.id = 2, .mediaType = "soun"}};
  movie.nextTrackID = 3;
  return movie;
}

inline bool isBackup(const std::filesystem::path& path) {
  return path.filename().string().starts_with(".tallyrig-backup-");
}

/// A movie on a simulated volume and somebody who writes timecode into it.
class WriterRig {
 public:
  using Operation = SimulatedUserFiles::Operation;
  using Path = std::filesystem::path;

  explicit WriterRig(const TestMovie& movie = movieAt(25, 1), SimulatedUserFiles::Abilities abilities = {})
      : WriterRig(movie.bytes(), abilities) {}
  explicit WriterRig(std::string bytes, SimulatedUserFiles::Abilities abilities = {})
      : files(abilities), old(std::move(bytes)) {
    files.put(url, old);
    TimecodeTrackEdit edit;
    if (!planTimecodeTrack(MemoryBytes(old), timecode, timecodeTrackFormat(timecode.frameRate), edit)) {
      edited = withEdit(old, edit);
    }
  }

  TimecodeTrackResult run(const std::stop_token& stop = {}) { return writeTimecodeTrack(files, url, timecode, stop); }

  std::string source() const { return files.contents(url).value_or("nothing"); }

  /// What bytes are, in words: a difference between two movies is of no use to anybody.
  std::string wordFor(const std::optional<std::string>& bytes) const {
    if (!bytes) return "nothing";
    if (*bytes == old) return "the old movie";
    return *bytes == edited ? "the new movie" : "something else: " + bytes->substr(0, 30);
  }
  std::string sourceIs() const { return wordFor(files.contents(url)); }

  /// All that stands beside the movie.
  std::vector<Path> others() const {
    std::vector<Path> paths = files.paths();
    std::erase(paths, url);
    return paths;
  }

  /// The backup, if it is all that stands beside the movie.
  std::optional<Path> backup() const {
    const std::vector<Path> paths = others();
    return paths.size() == 1 && isBackup(paths[0]) && paths[0].parent_path() == url.parent_path()
               ? std::optional(paths[0])
               : std::nullopt;
  }

  const Path url = "/shows/Take 1.mov";
  const Timecode timecode{1, 0, 0, 0, MTCFrameRate::fps25};
  SimulatedUserFiles files;
  const std::string old;
  /// The movie as it is when all goes well.
  std::string edited = "cannot be edited";
};

inline const std::string kOldMovie = "the old movie";
inline const std::string kNewMovie = "the new movie";

inline void PrintTo(const TimecodeTrackResult& result, std::ostream* stream) {
  *stream << (result.failed ? "failed: " : "done: ") << result.text.value_or("no text");
}

inline std::string wrapped(const std::string& description) {
  return "Could not safely write timecode: " + description;
}

inline TimecodeTrackResult failedWith(std::string text) {
  return {std::move(text), true};
}

}  // namespace tallyrig
