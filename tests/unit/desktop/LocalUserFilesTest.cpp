#include "platform/desktop/LocalUserFiles.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <future>

#include "Await.h"
#include "platform/desktop/AsioScheduler.h"
#include "support/FileFaults.h"
#include "support/TemporaryFolder.h"

namespace tallyrig {
namespace {

namespace fs = std::filesystem;
using test::FileFaults;
using Kind = FileAttributes::Kind;

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

class LocalUserFilesTest : public testing::Test {
 protected:
  FileAttributes attributesOf(const fs::path& path) const {
    FileAttributes attributes;
    EXPECT_FALSE(files_.attributes(path, attributes));
    return attributes;
  }

  const TemporaryFolder folder_;
  const fs::path file_ = folder_ / "a.mov";
  const fs::path other_ = folder_ / "b.mov";
  LocalUserFiles files_;
};

TEST_F(LocalUserFilesTest, TellWhatAFileIs) {
  ASSERT_TRUE(writeWhole(file_, "12345"));
  const std::array<timespec, 2> times = {timespec{1, 0}, timespec{1'000'000'020, 123'456'789}};
  ASSERT_EQ(::utimensat(AT_FDCWD, file_.c_str(), times.data(), 0), 0);
  const FileAttributes attributes = attributesOf(file_);
  EXPECT_EQ(attributes.kind, Kind::kRegular);
  EXPECT_EQ(attributes.size, 5U);
  EXPECT_EQ(attributes.modified.time_since_epoch().count(), 1'000'000'020'123'456'789);
  struct stat status {};
  ASSERT_EQ(::stat(file_.c_str(), &status), 0);
  EXPECT_EQ(attributes.number, status.st_ino);

  fs::create_symlink("a.mov", other_);
  EXPECT_EQ(attributesOf(other_).kind, Kind::kSymbolicLink);
  EXPECT_EQ(attributesOf(folder_.path()).kind, Kind::kDirectory);
  EXPECT_EQ(attributesOf("/dev/null").kind, Kind::kOther);
  FileAttributes none;
  EXPECT_EQ(files_.attributes(folder_ / "absent", none), std::errc::no_such_file_or_directory);
  EXPECT_EQ(files_.attributes(file_ / "below", none), std::errc::not_a_directory);
}

TEST_F(LocalUserFilesTest, ReadAnyPlaceOfAFile) {
  ASSERT_TRUE(writeWhole(file_, "12345678"));
  std::unique_ptr<ByteSource> open;
  ASSERT_FALSE(files_.openForReading(file_, open));
  EXPECT_EQ(open->size(), 8U);
  std::string part(4, ' ');
  const std::span into(reinterpret_cast<std::uint8_t*>(part.data()), part.size());
  FileFaults faults;
  faults.largestTransfer = 3;
  ASSERT_FALSE(open->read(4, into));
  EXPECT_EQ(part, "5678");
  EXPECT_EQ(open->read(5, into), std::errc::no_message_available);
  EXPECT_EQ(open->read(~std::uint64_t{0}, into), std::errc::value_too_large);
  faults.onAny = [](std::string_view name, int) { return name == "pread" ? EIO : 0; };
  EXPECT_EQ(open->read(0, into), std::errc::io_error);
}

TEST_F(LocalUserFilesTest, GoOnReadingAFileThatVanishedAndNoticeOneThatShrank) {
  ASSERT_TRUE(writeWhole(file_, "12345678"));
  std::unique_ptr<ByteSource> open;
  ASSERT_FALSE(files_.openForReading(file_, open));
  fs::resize_file(file_, 4);
  fs::remove(file_);
  std::array<std::uint8_t, 4> into{};
  EXPECT_FALSE(open->read(0, into));
  EXPECT_EQ(open->read(1, into), std::errc::no_message_available);
}

TEST_F(LocalUserFilesTest, LeaveTheThreadsToOthersWhileADiskDoesNotAnswer) {
  ASSERT_TRUE(writeWhole(file_, "12345"));
  std::unique_ptr<ByteSource> source;
  ASSERT_FALSE(files_.openForReading(file_, source));
  for (const std::string_view stuck : {"open", "pread"}) {
    constexpr int kStuckTasks = 3;
    test::EventCount hanging;
    test::EventCount answered;
    test::EventCount others;
    std::promise<void> disk;
    AsioScheduler scheduler;
    const auto answer = disk.get_future().share();
    for (int i = 0; i < kStuckTasks; ++i) {
      scheduler.makeQueue("file tool", QueuePriority::kUserInitiated)->post([&] {
        FileFaults faults;
        faults.onAny = [&](std::string_view call, int) {
          if (call != stuck) return 0;
          hanging.add();
          answer.wait();
          return 0;
        };
        std::unique_ptr<ByteSource> open;
        std::array<std::uint8_t, 3> bytes{};
        EXPECT_FALSE(files_.openForReading(file_, open));
        EXPECT_FALSE(source->read(1, bytes));
        EXPECT_EQ(bytes[2], '4');
        answered.add();
      });
    }
    EXPECT_TRUE(hanging.reaches(kStuckTasks)) << stuck;
    const auto card = scheduler.makeQueue("card", QueuePriority::kUserInitiated);
    const auto timer = card->repeat({.interval = std::chrono::milliseconds(2)}, [&] { others.add(); });
    EXPECT_TRUE(others.reaches(10)) << "nothing else runs while '" << stuck << "' hangs";
    EXPECT_EQ(answered.value(), 0);
    disk.set_value();
    EXPECT_TRUE(answered.reaches(kStuckTasks));
  }
}

TEST_F(LocalUserFilesTest, NeverWaitForAPipe) {
  ASSERT_EQ(::mkfifo(file_.c_str(), 0600), 0);
  std::unique_ptr<ByteSource> open;
  std::unique_ptr<FileLock> lock;
  EXPECT_EQ(files_.openForReading(file_, open), std::errc::operation_not_supported);
  EXPECT_EQ(files_.write(file_, 0, bytesOf("x")), std::errc::no_such_device_or_address);
  EXPECT_EQ(files_.sync(file_), std::errc::operation_not_supported);
  EXPECT_EQ(files_.lock(file_, lock), std::errc::operation_not_supported);
  EXPECT_EQ(files_.copy(file_, other_), std::errc::operation_not_supported);
}

TEST_F(LocalUserFilesTest, FollowNoLinkAtTheEndOfAPath) {
  ASSERT_TRUE(writeWhole(other_, "target"));
  fs::create_symlink(other_, file_);
  std::unique_ptr<ByteSource> open;
  EXPECT_EQ(files_.openForReading(file_, open), std::errc::too_many_symbolic_link_levels);
  EXPECT_EQ(files_.write(file_, 0, bytesOf("x")), std::errc::too_many_symbolic_link_levels);
  EXPECT_FALSE(files_.remove(file_));
  EXPECT_EQ(readWhole(other_), "target");
}

TEST_F(LocalUserFilesTest, WriteIntoAFileAndBehindItsEnd) {
  ASSERT_TRUE(writeWhole(file_, "12345678"));
  FileFaults faults;
  faults.largestTransfer = 2;
  ASSERT_FALSE(files_.write(file_, 2, bytesOf("abc")));
  ASSERT_FALSE(files_.write(file_, 8, bytesOf("end")));
  EXPECT_EQ(readWhole(file_), "12abc678end");
  EXPECT_EQ(files_.write(other_, 0, bytesOf("x")), std::errc::no_such_file_or_directory);
  for (const char* call : {"open", "pwrite", "close"}) {
    faults.onAny = [=](std::string_view name, int) { return name == call ? EDQUOT : 0; };
    EXPECT_EQ(files_.write(file_, 0, bytesOf("x")), std::error_code(EDQUOT, std::generic_category())) << call;
  }
}

TEST_F(LocalUserFilesTest, SyncFilesAndFolders) {
  ASSERT_TRUE(writeWhole(file_, "1"));
  FileFaults faults;
  ASSERT_FALSE(files_.sync(file_));
  ASSERT_FALSE(files_.sync(folder_.path()));
  EXPECT_EQ(faults.syncs, 2);
  faults.onSync = [](int) { return EIO; };
  EXPECT_EQ(files_.sync(file_), std::errc::io_error);
  EXPECT_EQ(files_.sync(folder_.path()), std::errc::io_error);
  faults.onSync = [](int) { return EINVAL; };
  EXPECT_EQ(files_.sync(file_), std::errc::invalid_argument);
  EXPECT_FALSE(files_.sync(folder_.path())) << "some file systems have nothing to do for a folder";
}

TEST_F(LocalUserFilesTest, ExchangeLinkRenameAndRemove) {
  ASSERT_TRUE(writeWhole(file_, "one") && writeWhole(other_, "two"));
  const FileAttributes one = attributesOf(file_);
  ASSERT_FALSE(files_.exchange(file_, other_));
  EXPECT_EQ(readWhole(file_), "two");
  EXPECT_EQ(attributesOf(other_).number, one.number);
  EXPECT_EQ(attributesOf(other_).modified, one.modified);
  ASSERT_FALSE(files_.link(other_, folder_ / "c"));
  EXPECT_EQ(attributesOf(folder_ / "c").number, one.number);
  EXPECT_EQ(files_.link(other_, file_), std::errc::file_exists);
  ASSERT_FALSE(files_.rename(file_, other_));
  EXPECT_EQ(readWhole(other_), "two");
  ASSERT_FALSE(files_.remove(other_));
  EXPECT_EQ(files_.remove(other_), std::errc::no_such_file_or_directory);
  EXPECT_EQ(files_.exchange(file_, other_), std::errc::no_such_file_or_directory);
}

TEST_F(LocalUserFilesTest, TellWhatTheVolumeCannotFromWhatFailed) {
  ASSERT_TRUE(writeWhole(file_, "one") && writeWhole(other_, "two"));
  FileFaults faults;
  int error = 0;
  faults.onAny = [&](std::string_view name, int) { return name == "renameat2" || name == "link" ? error : 0; };
  for (const int reason : {EINVAL, ENOSYS, EOPNOTSUPP}) {
    error = reason;
    EXPECT_EQ(files_.exchange(file_, other_), std::errc::operation_not_supported) << reason;
  }
  for (const int reason : {EPERM, ENOSYS, EOPNOTSUPP, EMLINK}) {
    error = reason;
    EXPECT_EQ(files_.link(file_, folder_ / "c"), std::errc::operation_not_supported) << reason;
  }
  for (const int reason : {ENOSPC, EIO, EACCES, EROFS, EDQUOT}) {
    error = reason;
    EXPECT_EQ(files_.exchange(file_, other_), std::error_code(reason, std::generic_category()));
    EXPECT_EQ(files_.link(file_, folder_ / "c"), std::error_code(reason, std::generic_category()));
  }
}

TEST_F(LocalUserFilesTest, LockOutOthersUntilTheLockGoes) {
  ASSERT_TRUE(writeWhole(file_, "one"));
  const int theirs = ::open(file_.c_str(), O_RDONLY | O_CLOEXEC);
  std::unique_ptr<FileLock> lock;
  ASSERT_FALSE(files_.lock(file_, lock));
  EXPECT_EQ(::flock(theirs, LOCK_EX | LOCK_NB), -1);
  lock.reset();
  EXPECT_EQ(::flock(theirs, LOCK_EX | LOCK_NB), 0);
  EXPECT_EQ(files_.lock(file_, lock), std::errc::device_or_resource_busy);
  EXPECT_FALSE(lock);
  ::close(theirs);
}

TEST_F(LocalUserFilesTest, GoOnWhereThereAreNoLocks) {
  ASSERT_TRUE(writeWhole(file_, "one"));
  FileFaults faults;
  int error = 0;
  faults.onAny = [&](std::string_view name, int) { return name == "flock" ? error : 0; };
  for (const int reason : {ENOSYS, EOPNOTSUPP, ENOLCK, EBADF}) {
    error = reason;
    std::unique_ptr<FileLock> lock;
    EXPECT_FALSE(files_.lock(file_, lock)) << reason;
  }
  error = EIO;
  std::unique_ptr<FileLock> lock;
  EXPECT_EQ(files_.lock(file_, lock), std::errc::io_error);
}

TEST_F(LocalUserFilesTest, StageBesideTheSourceInAFolderThatOnlyTheOwnerSees) {
  fs::path first;
  fs::path second;
  ASSERT_FALSE(files_.replacementFolder(file_, first));
  ASSERT_FALSE(files_.replacementFolder(file_, second));
  EXPECT_EQ(first, folder_ / ".tallyrig-staging");
  EXPECT_EQ(second, first);
  EXPECT_EQ(fs::status(first).permissions(), fs::perms::owner_all);
}

TEST_F(LocalUserFilesTest, StageElsewhereIfSomebodyElseHasThatName) {
  const fs::path usual = folder_ / ".tallyrig-staging";
  const auto expectElsewhere = [&] {
    fs::path folder;
    ASSERT_FALSE(files_.replacementFolder(file_, folder));
    EXPECT_NE(folder, usual);
    EXPECT_EQ(folder.parent_path(), folder_.path());
    EXPECT_TRUE(fs::is_directory(folder));
    EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all);
  };
  ASSERT_TRUE(writeWhole(usual, "a file"));
  expectElsewhere();
  fs::remove(usual);
  fs::create_directory(folder_ / "trap");
  fs::create_directory_symlink("trap", usual);
  expectElsewhere();
  fs::remove(usual);
  fs::create_directory(usual);
  fs::permissions(usual, fs::perms::all);
  expectElsewhere();
}

TEST_F(LocalUserFilesTest, SayWhyThereIsNoPlaceToStage) {
  FileFaults faults;
  fs::path folder;
  for (const int reason : {ENOSPC, EIO, EACCES, EROFS, EDQUOT}) {
    faults.onAny = [=](std::string_view name, int) { return name == "mkdir" ? reason : 0; };
    EXPECT_EQ(files_.replacementFolder(file_, folder), std::error_code(reason, std::generic_category()));
  }
  EXPECT_TRUE(folder.empty());
}

TEST_F(LocalUserFilesTest, TakeNamesOfAnyBytes) {
  const fs::path odd = folder_ / "new\nline \xff\xfe \xc3.mov";
  ASSERT_TRUE(writeWhole(odd, "one"));
  ASSERT_FALSE(files_.copy(odd, folder_ / "copy \x80\n"));
  EXPECT_EQ(readWhole(folder_ / "copy \x80\n"), "one");
  ASSERT_FALSE(files_.exchange(odd, folder_ / "copy \x80\n"));
  ASSERT_FALSE(files_.remove(odd));
}

}  // namespace
}  // namespace tallyrig
