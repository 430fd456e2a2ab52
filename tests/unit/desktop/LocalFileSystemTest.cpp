#include "platform/desktop/LocalFileSystem.h"

#include <sys/stat.h>

#include <QTemporaryDir>
#include <cerrno>
#include <fstream>
#include <iterator>

#include "support/FileFaults.h"

namespace tallyrig {
namespace {

namespace fs = std::filesystem;
using test::FileFaults;

std::error_code posix(int number) {
  return {number, std::generic_category()};
}

class LocalFileSystemTest : public testing::Test {
 protected:
  static std::string bytesOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  static void put(const fs::path& path, std::string_view bytes) { std::ofstream(path, std::ios::binary) << bytes; }
  static mode_t modeOf(const fs::path& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
  }
  std::size_t entries() const {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder_), fs::directory_iterator()));
  }

  QTemporaryDir guard_;
  const fs::path folder_ = guard_.path().toStdString();
  const fs::path file_ = folder_ / "readers.json";
  LocalFileSystem files_;
};

TEST_F(LocalFileSystemTest, WhatIsWrittenIsReadBack) {
  std::string large(1'000'000, '\0');
  for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>(i * 7 + i / 251);
  for (const std::string& bytes : {std::string(), std::string("[]"), std::string("a\0b", 3), large}) {
    ASSERT_EQ(files_.writeFileAtomically(file_, bytes), std::error_code());
    std::string contents = "before";
    ASSERT_EQ(files_.readFile(file_, bytes.size(), contents), std::error_code());
    EXPECT_EQ(contents, bytes);
    EXPECT_EQ(entries(), 1);
  }
}

TEST_F(LocalFileSystemTest, AFileAboveTheLimitIsRefused) {
  put(file_, "12345");
  std::string contents = "before";
  EXPECT_EQ(files_.readFile(file_, 4, contents), std::errc::file_too_large);
  EXPECT_EQ(files_.readFile("/proc/self/maps", 16, contents), std::errc::file_too_large);
  EXPECT_EQ(contents, "before");
}

TEST_F(LocalFileSystemTest, WhatIsNoRegularFileIsRefusedWithoutWaiting) {
  std::string contents = "before";
  EXPECT_EQ(files_.readFile(folder_ / "absent", 10, contents), std::errc::no_such_file_or_directory);
  EXPECT_EQ(files_.readFile(folder_, 10, contents), std::errc::is_a_directory);
  ASSERT_EQ(::mkfifo(file_.c_str(), 0600), 0);
  EXPECT_EQ(files_.readFile(file_, 10, contents), std::errc::invalid_argument);
  EXPECT_EQ(contents, "before");
}

TEST_F(LocalFileSystemTest, AFailedReadLeavesTheContentsAsTheyWere) {
  put(file_, "12345");
  std::string contents = "before";
  FileFaults faults;
  faults.largestTransfer = 2;
  faults.onRead = [](int call) { return call == 1 ? EIO : 0; };
  EXPECT_EQ(files_.readFile(file_, 10, contents), posix(EIO));
  EXPECT_EQ(contents, "before");
}

TEST_F(LocalFileSystemTest, InterruptedAndShortTransfersGoOn) {
  const std::string bytes = "0123456789";
  FileFaults faults;
  faults.largestTransfer = 3;
  faults.onWrite = faults.onRead = faults.onSync = [](int call) { return call % 2 == 0 ? EINTR : 0; };
  ASSERT_EQ(files_.writeFileAtomically(file_, bytes), std::error_code());
  EXPECT_EQ(faults.writes, 8);
  EXPECT_EQ(faults.syncs, 4);
  std::string contents;
  ASSERT_EQ(files_.readFile(file_, 10, contents), std::error_code());
  EXPECT_EQ(contents, bytes);
}

TEST_F(LocalFileSystemTest, FileAndFolderAreBroughtToDisk) {
  FileFaults faults;
  ASSERT_EQ(files_.writeFileAtomically(file_, "[]"), std::error_code());
  EXPECT_EQ(faults.syncs, 2);
}

TEST_F(LocalFileSystemTest, AnyStepThatFailsLeavesTheOldFileAndNothingElse) {
  struct Step {
    std::function<int(int)> FileFaults::*hook;
    int call;
    int error;
  };
  const std::vector<Step> steps = {{&FileFaults::onWrite, 0, ENOSPC},     {&FileFaults::onWrite, 2, ENOSPC},
                                   {&FileFaults::onChangeMode, 0, EPERM}, {&FileFaults::onSync, 0, EIO},
                                   {&FileFaults::onClose, 0, EIO},        {&FileFaults::onRename, 0, EACCES}};
  put(file_, "old");
  for (const Step& step : steps) {
    {
      FileFaults faults;
      faults.largestTransfer = 2;
      faults.*step.hook = [&](int call) { return call == step.call ? step.error : 0; };
      EXPECT_EQ(files_.writeFileAtomically(file_, "new bytes"), posix(step.error));
    }
    EXPECT_EQ(bytesOf(file_), "old");
    EXPECT_EQ(entries(), 1);
  }
}

TEST_F(LocalFileSystemTest, AFolderThatCannotBeBroughtToDiskIsReported) {
  put(file_, "old");
  {
    FileFaults faults;
    faults.onSync = [](int call) { return call == 1 ? EIO : 0; };
    EXPECT_EQ(files_.writeFileAtomically(file_, "new"), posix(EIO));
  }
  EXPECT_EQ(bytesOf(file_), "new");
  FileFaults faults;
  faults.onSync = [](int call) { return call == 1 ? EINVAL : 0; };
  EXPECT_EQ(files_.writeFileAtomically(file_, "newer"), std::error_code());
}

TEST_F(LocalFileSystemTest, AFolderThatIsMissingIsReported) {
  EXPECT_EQ(files_.writeFileAtomically(folder_ / "absent" / "file", "x"), std::errc::no_such_file_or_directory);
}

TEST_F(LocalFileSystemTest, AFolderInThePlaceOfTheFileStays) {
  fs::create_directory(file_);
  EXPECT_EQ(files_.writeFileAtomically(file_, "x"), std::errc::is_a_directory);
  EXPECT_TRUE(fs::is_directory(file_));
  EXPECT_EQ(entries(), 1);
}

TEST_F(LocalFileSystemTest, AnExistingFileKeepsItsMode) {
  put(file_, "old");
  for (const mode_t mode : {0600, 0640, 0664, 0444}) {
    ASSERT_EQ(::chmod(file_.c_str(), mode), 0);
    ASSERT_EQ(files_.writeFileAtomically(file_, "new"), std::error_code());
    EXPECT_EQ(modeOf(file_), mode);
  }
}

TEST_F(LocalFileSystemTest, ANewFileHasTheModeThatTheUmaskLeaves) {
  const mode_t previous = ::umask(022);
  ASSERT_EQ(files_.writeFileAtomically(file_, "x"), std::error_code());
  ::umask(077);
  ASSERT_EQ(files_.writeFileAtomically(folder_ / "private", "x"), std::error_code());
  ::umask(previous);
  EXPECT_EQ(modeOf(file_), 0644);
  EXPECT_EQ(modeOf(folder_ / "private"), 0600);
}

TEST_F(LocalFileSystemTest, ASymbolicLinkStaysAndItsTargetIsReplaced) {
  fs::create_directory(folder_ / "elsewhere");
  put(folder_ / "elsewhere" / "target", "old");
  fs::create_symlink("elsewhere/second", file_);
  fs::create_symlink("target", folder_ / "elsewhere" / "second");
  ASSERT_EQ(files_.writeFileAtomically(file_, "new"), std::error_code());
  EXPECT_TRUE(fs::is_symlink(file_));
  EXPECT_TRUE(fs::is_symlink(folder_ / "elsewhere" / "second"));
  EXPECT_EQ(bytesOf(folder_ / "elsewhere" / "target"), "new");
}

TEST_F(LocalFileSystemTest, ALinkToNowhereGetsItsTarget) {
  fs::create_symlink("target", file_);
  ASSERT_EQ(files_.writeFileAtomically(file_, "new"), std::error_code());
  EXPECT_TRUE(fs::is_symlink(file_));
  EXPECT_EQ(bytesOf(folder_ / "target"), "new");
}

TEST_F(LocalFileSystemTest, ALinkInACircleIsReported) {
  fs::create_symlink(file_, file_);
  EXPECT_EQ(files_.writeFileAtomically(file_, "new"), std::errc::too_many_symbolic_link_levels);
}

TEST_F(LocalFileSystemTest, AFileNameAsLongAsTheSystemAllowsCanBeWritten) {
  const fs::path path = folder_ / std::string(255, 'n');
  ASSERT_EQ(files_.writeFileAtomically(path, "x"), std::error_code());
  EXPECT_EQ(bytesOf(path), "x");
}

TEST_F(LocalFileSystemTest, FoldersAreMadeWithTheirParents) {
  const fs::path nested = folder_ / "a" / "b" / "c";
  EXPECT_EQ(files_.createDirectories(nested), std::error_code());
  EXPECT_EQ(files_.createDirectories(nested), std::error_code());
  EXPECT_TRUE(fs::is_directory(nested));
  put(file_, "x");
  EXPECT_EQ(files_.createDirectories(file_ / "d"), std::errc::not_a_directory);
}

TEST_F(LocalFileSystemTest, ApplicationSupportIsTheUsersDataFolder) {
  const char* before = std::getenv("XDG_DATA_HOME");
  const std::string previous = before != nullptr ? before : "";
  setenv("XDG_DATA_HOME", folder_.c_str(), 1);
  EXPECT_EQ(files_.applicationSupportDirectory(), folder_);
  before != nullptr ? setenv("XDG_DATA_HOME", previous.c_str(), 1) : unsetenv("XDG_DATA_HOME");
}

}  // namespace
}  // namespace tallyrig
