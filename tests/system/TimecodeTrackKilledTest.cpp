// The writer is killed at every call that it makes to the system, and every call fails, on the files of a temporary
// file system.

#include <signal.h>

#include <cerrno>
#include <cstring>
#include <set>

#include "ForkedWriter.h"
#include "filetools/TimecodeTrackWriter.h"
#include "platform/desktop/LocalUserFiles.h"
#include "support/EditedMovie.h"
#include "support/FileFaults.h"
#include "support/TemporaryFolder.h"
#include "support/TestMovie.h"

namespace tallyrig {
namespace {

namespace fs = std::filesystem;
using test::FileFaults;

/// What the volume lacks: a call that it answers with this error.
struct Volume {
  std::string name;
  std::set<std::string, std::less<>> missing;
};

const std::vector<Volume> kVolumes = {{"Complete", {}},
                                      {"WithoutExchange", {"renameat2"}},
                                      {"WithoutLinks", {"link"}},
                                      {"WithoutEither", {"renameat2", "link"}}};

/// In memory where there is such a place: what is synced thousands of times should not go to a disk.
fs::path parentFolder() {
  const fs::path memory = "/dev/shm";
  return fs::is_directory(memory) ? memory : fs::temp_directory_path();
}

class TimecodeTrackKilled : public testing::TestWithParam<Volume> {
 protected:
  TimecodeTrackKilled() {
    TestMovie movie;
    movie.tracks[0].durations = number32(1) + number32(250) + number32(24);
    movie.media = std::string(100'000, 'm');
    old_ = movie.bytes();
    TimecodeTrackEdit edit;
    EXPECT_FALSE(planTimecodeTrack(MemoryBytes(old_), timecode_, timecodeTrackFormat(MTCFrameRate::fps25), edit));
    new_ = withEdit(old_, edit);
  }

  /// Writes into the movie, while `onCall` decides on every call.
  TimecodeTrackResult write(const fs::path& url, const std::function<int(std::string_view, int)>& onCall) const {
    LocalUserFiles files;
    FileFaults faults;
    faults.onAny = [&](std::string_view name, int call) {
      if (const int error = onCall(name, call); error != 0) return error;
      return GetParam().missing.contains(name) ? EOPNOTSUPP : 0;
    };
    return writeTimecodeTrack(files, url, timecode_);
  }

  std::vector<std::string> callsOfASuccess() const {
    const TemporaryFolder folder(parentFolder());
    EXPECT_TRUE(writeWhole(folder / "a.mov", old_));
    std::vector<std::string> calls;
    const TimecodeTrackResult result = write(folder / "a.mov", [&](std::string_view name, int) {
      calls.emplace_back(name);
      return 0;
    });
    EXPECT_EQ(result, TimecodeTrackResult{}) << result.text.value_or("");
    EXPECT_TRUE(readWhole(folder / "a.mov") == new_);
    return calls;
  }

  bool isOldOrNew(const fs::path& url) const {
    const std::string bytes = readWhole(url);
    return bytes == old_ || bytes == new_;
  }

  /// Everything in the folder and the folder below it but the movie itself.
  static std::vector<fs::path> others(const TemporaryFolder& folder) {
    std::vector<fs::path> paths;
    for (const auto& entry : fs::recursive_directory_iterator(folder.path())) {
      if (entry.is_regular_file() && entry.path() != folder / "a.mov") paths.push_back(entry.path());
    }
    return paths;
  }

  const Timecode timecode_{1, 0, 0, 0, MTCFrameRate::fps25};
  std::string old_;
  std::string new_;
};

TEST_P(TimecodeTrackKilled, AtAnyCallLeavesAWholeMovieThatCanBeWrittenAgain) {
  const std::vector<std::string> calls = callsOfASuccess();
  ASSERT_GT(calls.size(), 60U);
  std::set<bool> outcomes;
  for (std::size_t killed = 0; killed < calls.size(); ++killed) {
    SCOPED_TRACE("killed before call " + std::to_string(killed) + ", " + calls[killed]);
    const TemporaryFolder folder(parentFolder());
    const fs::path url = folder / "a.mov";
    ASSERT_TRUE(writeWhole(url, old_));
    const ForkedRun run = runForked([&] {
      write(url, [&](std::string_view, int call) {
        if (call == static_cast<int>(killed)) ::kill(::getpid(), SIGKILL);
        return 0;
      });
      return std::string();
    });
    ASSERT_TRUE(WIFSIGNALED(run.status) && WTERMSIG(run.status) == SIGKILL);

    ASSERT_TRUE(isOldOrNew(url)) << "the movie is neither the old nor the new one";
    const bool isNew = readWhole(url) == new_;
    outcomes.insert(isNew);
    bool hasOld = !isNew;
    for (const fs::path& path : others(folder)) hasOld = hasOld || readWhole(path) == old_;
    // The backup goes with the last call but those that close files.
    EXPECT_TRUE(hasOld || calls.size() - killed < 8);

    EXPECT_EQ(write(url, [](auto, int) { return 0; }), TimecodeTrackResult{}) << "nobody holds a lock any more";
    if (HasFailure()) return;
  }
  EXPECT_EQ(outcomes.size(), 2U);
}

TEST_P(TimecodeTrackKilled, WithACallThatFailsTellsTheTruth) {
  const std::vector<std::string> calls = callsOfASuccess();
  for (const int error : {ENOSPC, EIO, EACCES, EROFS, EDQUOT}) {
    int failures = 0;
    for (std::size_t failing = 0; failing < calls.size(); ++failing) {
      SCOPED_TRACE(std::string(std::strerror(error)) + " at call " + std::to_string(failing) + ", " + calls[failing]);
      const TemporaryFolder folder(parentFolder());
      const fs::path url = folder / "a.mov";
      ASSERT_TRUE(writeWhole(url, old_));
      const TimecodeTrackResult result =
          write(url, [&](std::string_view, int call) { return call == static_cast<int>(failing) ? error : 0; });
      const std::string text = result.text.value_or("");
      failures += result.failed ? 1 : 0;
      ASSERT_TRUE(isOldOrNew(url)) << text;
      const std::vector<fs::path> left = others(folder);
      if (text.find("retained at") != std::string::npos) {
        ASSERT_EQ(left.size(), 1U) << text;
        EXPECT_EQ(left[0].parent_path(), folder.path());
        EXPECT_NE(text.find(left[0].filename().string()), std::string::npos) << text;
        EXPECT_TRUE(readWhole(left[0]) == old_) << text;
      } else {
        // Only where the removal itself fails something stays.
        EXPECT_TRUE(left.empty() || calls[failing] == "unlink") << text << " " << left[0];
        EXPECT_TRUE(readWhole(url) == (result.failed ? old_ : new_)) << text;
      }
      if (HasFailure()) return;
    }
    EXPECT_GT(failures, 40);
  }
}

INSTANTIATE_TEST_SUITE_P(Volumes, TimecodeTrackKilled, testing::ValuesIn(kVolumes),
                         [](const auto& volume) { return volume.param.name; });

}  // namespace
}  // namespace tallyrig
