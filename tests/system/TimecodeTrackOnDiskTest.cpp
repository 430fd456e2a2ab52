// The writer among files, links, folders and disks as users have them.

#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <fcntl.h>

#include <random>

#include "ForkedWriter.h"
#include "filetools/DedicatedTimecodeTrack.h"
#include "filetools/TimecodeTrackWriter.h"
#include "platform/desktop/LocalUserFiles.h"
#include "support/BytesRead.h"
#include "support/TemporaryFolder.h"
#include "support/TestMovie.h"

namespace tallyrig {
namespace {

namespace fs = std::filesystem;

std::string movieBytes() {
  TestMovie movie;
  movie.tracks[0].durations = number32(1) + number32(250) + number32(24);
  return movie.bytes();
}

/// In words: "done", or the text.
std::string write(const fs::path& url) {
  LocalUserFiles files;
  const TimecodeTrackResult result = writeTimecodeTrack(files, url, {1, 0, 0, 0, MTCFrameRate::fps25});
  return result.text.value_or(result.failed ? "failed without a text" : "done");
}

bool hasTimecode(const fs::path& url) {
  const auto track = readDedicatedTimecodeTrack(LocalUserFiles(), url);
  return track && track->timecode == Timecode{1, 0, 0, 0, MTCFrameRate::fps25};
}

class TimecodeTrackOnDisk : public testing::Test {
 protected:
  TimecodeTrackOnDisk() { EXPECT_TRUE(writeWhole(url_, old_)); }

  /// All that stands in the folder, by name.
  std::vector<std::string> names() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_.path())) names.push_back(entry.path().filename());
    std::ranges::sort(names);
    return names;
  }

  void giveToOrdinaryUser(const fs::path& path) const {
    if (::geteuid() == 0) {
      EXPECT_EQ(::chown(path.c_str(), kOrdinaryUser, kOrdinaryUser), 0);
    }
  }

  /// A file that claims to be `size` bytes of one atom, and is nearly all a hole.
  void putHugeAtom(const std::string& before, const std::string& type, std::uint64_t size) const {
    ASSERT_TRUE(writeWhole(url_, before + number32(1) + type + number64(size)));
    fs::resize_file(url_, before.size() + size);
  }

  const TemporaryFolder folder_;
  const fs::path url_ = folder_ / "a.mov";
  const std::string old_ = movieBytes();
};

TEST_F(TimecodeTrackOnDisk, LeavesTheMovieAndAnEmptyHiddenFolder) {
  EXPECT_EQ(write(url_), "done");
  EXPECT_TRUE(hasTimecode(url_));
  EXPECT_EQ(names(), (std::vector<std::string>{".tallyrig-staging", "a.mov"}));
  EXPECT_TRUE(fs::is_empty(folder_ / ".tallyrig-staging"));
}

TEST_F(TimecodeTrackOnDisk, KeepsPermissionsAndAttributes) {
  ASSERT_EQ(::chmod(url_.c_str(), 0604), 0);
  const bool attributes = ::setxattr(url_.c_str(), "user.scene", "7", 1, 0) == 0;
  EXPECT_EQ(write(url_), "done");
  struct stat status {};
  ASSERT_EQ(::stat(url_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0604U);
  char value = 0;
  if (attributes) {
    EXPECT_EQ(::getxattr(url_.c_str(), "user.scene", &value, 1), 1);
    EXPECT_EQ(value, '7');
  }
}

TEST_F(TimecodeTrackOnDisk, LeavesTheOldMovieUnderItsOtherNames) {
  const fs::path other = folder_ / "other.mov";
  fs::create_hard_link(url_, other);
  EXPECT_EQ(write(url_), "done");
  EXPECT_TRUE(hasTimecode(url_));
  EXPECT_TRUE(readWhole(other) == old_);
  EXPECT_EQ(fs::hard_link_count(other), 1U);
}

TEST_F(TimecodeTrackOnDisk, RefusesALinkAndLeavesItsTarget) {
  fs::create_symlink("a.mov", folder_ / "link.mov");
  EXPECT_EQ(write(folder_ / "link.mov"), "Choose the original .mov file rather than a symbolic link.");
  EXPECT_TRUE(readWhole(url_) == old_);
  EXPECT_TRUE(fs::is_symlink(folder_ / "link.mov"));
}

TEST_F(TimecodeTrackOnDisk, WritesThroughALinkedFolder) {
  fs::create_directory_symlink(folder_.path(), folder_ / "folder");
  EXPECT_EQ(write(folder_ / "folder" / "a.mov"), "done");
  EXPECT_TRUE(hasTimecode(url_));
}

TEST_F(TimecodeTrackOnDisk, TakesNamesOfAnyBytes) {
  for (const std::string name : {"new\nline.mov", "no \xff\xfe utf8 \xc3.mov", " 'quoted\" $(x); .MOV", "-rf.mov"}) {
    ASSERT_TRUE(writeWhole(folder_ / name, old_));
    EXPECT_EQ(write(folder_ / name), "done") << name;
    EXPECT_TRUE(hasTimecode(folder_ / name));
  }
}

TEST_F(TimecodeTrackOnDisk, SaysThatAFolderCannotBeWrittenTo) {
  giveToOrdinaryUser(url_);
  giveToOrdinaryUser(folder_.path());
  fs::permissions(folder_.path(), fs::perms::owner_read | fs::perms::owner_exec);
  EXPECT_EQ(runAsOrdinaryUser([&] { return write(url_); }), "Could not safely write timecode: Permission denied");
  fs::permissions(folder_.path(), fs::perms::owner_all);
  EXPECT_TRUE(readWhole(url_) == old_);
  EXPECT_EQ(names(), std::vector<std::string>{"a.mov"});
}

TEST_F(TimecodeTrackOnDisk, RespectsAFileThatIsWriteProtected) {
  giveToOrdinaryUser(url_);
  giveToOrdinaryUser(folder_.path());
  fs::permissions(url_, fs::perms::owner_read);
  EXPECT_EQ(runAsOrdinaryUser([&] { return write(url_); }), "Could not append timecode sample: Permission denied");
  EXPECT_TRUE(readWhole(url_) == old_);
  EXPECT_TRUE(fs::is_empty(folder_ / ".tallyrig-staging"));
}

TEST_F(TimecodeTrackOnDisk, SaysThatAFileCannotBeRead) {
  giveToOrdinaryUser(url_);
  giveToOrdinaryUser(folder_.path());
  fs::permissions(url_, fs::perms::none);
  EXPECT_EQ(runAsOrdinaryUser([&] { return write(url_); }), "Could not safely write timecode: Permission denied");
  fs::permissions(url_, fs::perms::owner_read);
  EXPECT_TRUE(readWhole(url_) == old_);
}

TEST_F(TimecodeTrackOnDisk, LeavesAnOrdinaryUsersFileToThem) {
  giveToOrdinaryUser(url_);
  giveToOrdinaryUser(folder_.path());
  EXPECT_EQ(runAsOrdinaryUser([&] { return write(url_); }), "done");
  EXPECT_TRUE(hasTimecode(url_));
}

TEST_F(TimecodeTrackOnDisk, DoesNotWaitForALock) {
  const int theirs = ::open(url_.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(::flock(theirs, LOCK_SH | LOCK_NB), 0);
  EXPECT_EQ(write(url_), "Could not safely write timecode: Device or resource busy");
  EXPECT_TRUE(readWhole(url_) == old_);
  ::close(theirs);
  EXPECT_EQ(write(url_), "done");
}

TEST_F(TimecodeTrackOnDisk, RefusesWhatIsNoMovieAndNeverWaits) {
  fs::create_directory(folder_ / "folder.mov");
  ASSERT_EQ(::mkfifo((folder_ / "pipe.mov").c_str(), 0600), 0);
  ASSERT_TRUE(writeWhole(folder_ / "empty.mov", ""));
  ASSERT_TRUE(writeWhole(folder_ / "text.mov", "Dear diary, today I have not been a movie."));
  ASSERT_TRUE(writeWhole(folder_ / "zeros.mov", std::string(100'000, '\0')));
  const std::string wrap = "Could not safely write timecode: ";
  EXPECT_EQ(write(folder_ / "absent.mov"), wrap + "No such file or directory");
  EXPECT_EQ(write(folder_ / "folder.mov"), wrap + "Is a directory");
  EXPECT_EQ(write(folder_ / "pipe.mov"), wrap + "Operation not supported");
  EXPECT_EQ(write(folder_ / "empty.mov"), wrap + "The file holds no movie header.");
  EXPECT_EQ(write(folder_ / "text.mov"), wrap + "An atom of the movie is longer than the space it lies in.");
  EXPECT_EQ(write(folder_ / "zeros.mov"), wrap + "The atoms of the movie contradict each other.");
  EXPECT_EQ(write("/dev/null.mov"), wrap + "No such file or directory");
}

TEST_F(TimecodeTrackOnDisk, RefusesAMovieThatIsCutOffAtAnySixteenth) {
  for (std::size_t part = 0; part < 16; ++part) {
    const std::string cut = old_.substr(0, old_.size() * part / 16);
    ASSERT_TRUE(writeWhole(url_, cut));
    EXPECT_TRUE(write(url_).starts_with("Could not safely write timecode: ")) << part;
    EXPECT_TRUE(readWhole(url_) == cut);
  }
  EXPECT_EQ(names(), std::vector<std::string>{"a.mov"});
}

TEST_F(TimecodeTrackOnDisk, RefusesRandomBytes) {
  std::mt19937 random(5);
  for (const std::size_t size : {1U, 7U, 8U, 100U, 70'000U}) {
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    for (const std::string& start : {std::string(), number32(size + 8) + "moov", number32(0) + "moov"}) {
      ASSERT_TRUE(writeWhole(url_, start + bytes));
      EXPECT_TRUE(write(url_).starts_with("Could not safely write timecode: ")) << size;
      EXPECT_TRUE(readWhole(url_) == start + bytes);
    }
  }
  EXPECT_EQ(names(), std::vector<std::string>{"a.mov"});
}

TEST_F(TimecodeTrackOnDisk, WritesBehindMediaOfGigabytesWithoutReadingIt) {
  TestMovie movie;
  movie.tracks[0].durations = number32(1) + number32(250) + number32(24);
  putHugeAtom(atom("moov", movie.headerPayload()), "mdat", 6ULL << 30U);
  const std::uint64_t read = bytesRead();
  EXPECT_EQ(write(url_), "done");
  EXPECT_TRUE(hasTimecode(url_));
  EXPECT_LT(bytesRead() - read, 100'000U);
  struct stat status {};
  ASSERT_EQ(::stat(url_.c_str(), &status), 0);
  EXPECT_GT(status.st_size, 6LL << 30);
  EXPECT_LT(status.st_blocks, 100'000) << "in units of 512 bytes";
}

TEST_F(TimecodeTrackOnDisk, SaysThatTheDiskIsFullAndLeavesNothing) {
  const fs::path disk = folder_ / "disk";
  fs::create_directory(disk);
  if (::mount("none", disk.c_str(), "tmpfs", 0, "size=1m") != 0) GTEST_SKIP() << "only root can mount a small disk";
  TestMovie movie;
  movie.tracks[0].durations = number32(1) + number32(250) + number32(24);
  movie.media = std::string(700'000, 'm');
  EXPECT_TRUE(writeWhole(disk / "a.mov", movie.bytes()));
  EXPECT_EQ(write(disk / "a.mov"), "Could not safely write timecode: No space left on device");
  EXPECT_TRUE(readWhole(disk / "a.mov") == movie.bytes());
  EXPECT_TRUE(fs::is_empty(disk / ".tallyrig-staging"));
  EXPECT_EQ(::mount("none", disk.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, "size=1m"), 0);
  EXPECT_EQ(write(disk / "a.mov"), "Could not safely write timecode: Read-only file system");
  EXPECT_EQ(::umount(disk.c_str()), 0);
}

}  // namespace
}  // namespace tallyrig
