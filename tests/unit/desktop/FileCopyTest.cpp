#include "platform/desktop/FileCopy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "support/FileFaults.h"
#include "support/TemporaryFolder.h"

namespace tallyrig {
namespace {

using test::FileFaults;

/// Ten seconds past an instant, and a third of a second.
constexpr std::array<timespec, 2> kTimes = {timespec{1'000'000'010, 333'333'333}, timespec{1'000'000'020, 123'456'789}};

/// An access control list as the kernel keeps it: read for user 4711, and the mask that this needs.
std::string accessControlList() {
  const auto entry = [](int tag, int permissions, std::uint32_t id) {
    std::string bytes = {static_cast<char>(tag), 0, static_cast<char>(permissions), 0};
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(id >> shift & 0xff);
    return bytes;
  };
  constexpr std::uint32_t kNobody = 0xffffffff;
  return std::string("\2\0\0\0", 4) + entry(1, 6, kNobody) + entry(2, 4, 4711) + entry(4, 4, kNobody) +
         entry(16, 4, kNobody) + entry(32, 0, kNobody);
}

class FileCopyTest : public testing::Test {
 protected:
  FileCopyTest() {
    for (std::size_t i = 0; i < bytes_.size(); ++i) bytes_[i] = static_cast<char>(i * 7 + i / 251);
    EXPECT_TRUE(writeWhole(from_, bytes_));
  }

  static struct stat statusOf(const std::filesystem::path& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0);
    return status;
  }

  void setTimes() const { EXPECT_EQ(::utimensat(AT_FDCWD, from_.c_str(), kTimes.data(), 0), 0); }

  std::string bytes_ = std::string(3'000'000, '\0');
  const TemporaryFolder folder_;
  const std::filesystem::path from_ = folder_ / "from";
  const std::filesystem::path to_ = folder_ / "to";
};

TEST_F(FileCopyTest, CopiesBytesTimesAndPermissions) {
  ASSERT_EQ(::chmod(from_.c_str(), 0640), 0);
  setTimes();
  ASSERT_FALSE(copyFile(from_, to_));
  EXPECT_TRUE(readWhole(to_) == bytes_);
  const struct stat status = statusOf(to_);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
  EXPECT_EQ(status.st_mtim.tv_sec, kTimes[1].tv_sec);
  EXPECT_EQ(status.st_mtim.tv_nsec, kTimes[1].tv_nsec);
  EXPECT_NE(status.st_ino, statusOf(from_).st_ino);
}

TEST_F(FileCopyTest, CopiesAnEmptyFile) {
  ASSERT_TRUE(writeWhole(from_, ""));
  ASSERT_FALSE(copyFile(from_, to_));
  EXPECT_EQ(statusOf(to_).st_size, 0);
}

TEST_F(FileCopyTest, CopiesTheOwnerAsFarAsTheSystemLetsIt) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  ASSERT_EQ(::chown(from_.c_str(), 4711, 4712), 0);
  ASSERT_FALSE(copyFile(from_, to_));
  EXPECT_EQ(statusOf(to_).st_uid, 4711U);
  EXPECT_EQ(statusOf(to_).st_gid, 4712U);

  FileFaults faults;
  faults.onAny = [](std::string_view name, int) { return name == "fchown" ? EPERM : 0; };
  EXPECT_FALSE(copyFile(from_, folder_ / "mine"));
}

TEST_F(FileCopyTest, CopiesAttributesAndAccessControlLists) {
  const std::string list = accessControlList();
  const std::string value("from the camera\0", 16);
  if (::setxattr(from_.c_str(), "user.scene", value.data(), value.size(), 0) != 0) {
    GTEST_SKIP() << "no attributes in " << folder_.path();
  }
  ASSERT_EQ(::setxattr(from_.c_str(), "user.empty", "", 0, 0), 0);
  const bool lists = ::setxattr(from_.c_str(), "system.posix_acl_access", list.data(), list.size(), 0) == 0;
  ASSERT_FALSE(copyFile(from_, to_));
  std::array<char, 256> read;
  EXPECT_EQ(std::string(read.data(), ::getxattr(to_.c_str(), "user.scene", read.data(), read.size())), value);
  EXPECT_EQ(::getxattr(to_.c_str(), "user.empty", read.data(), read.size()), 0);
  EXPECT_EQ(statusOf(to_).st_mode, statusOf(from_).st_mode);
  if (!lists) GTEST_SKIP() << "no access control lists in " << folder_.path();
  const auto size = ::getxattr(to_.c_str(), "system.posix_acl_access", read.data(), read.size());
  EXPECT_EQ(std::string(read.data(), static_cast<std::size_t>(size)), list);
}

TEST_F(FileCopyTest, KeepsHoles) {
  constexpr off_t kSize = 1LL << 32;
  ASSERT_EQ(::truncate(from_.c_str(), kSize), 0);
  ASSERT_FALSE(copyFile(from_, to_));
  EXPECT_EQ(statusOf(to_).st_size, kSize);
  EXPECT_LT(statusOf(to_).st_blocks, 100'000) << "in units of 512 bytes";
  std::ifstream file(to_, std::ios::binary);
  std::string start(bytes_.size(), ' ');
  file.read(start.data(), static_cast<std::streamsize>(start.size()));
  EXPECT_TRUE(start == bytes_);
}

TEST_F(FileCopyTest, CopiesWhereTheKernelCannot) {
  for (const int reason : {EXDEV, EINVAL, ENOSYS, EOPNOTSUPP}) {
    FileFaults faults;
    // Neither clones, nor copies in the kernel, nor holes.
    faults.onAny = [=](std::string_view name, int) {
      return name == "ioctl" || name == "copy_file_range" || name == "lseek" ? reason : 0;
    };
    faults.largestTransfer = 65'537;
    ASSERT_FALSE(copyFile(from_, to_)) << reason;
    EXPECT_TRUE(readWhole(to_) == bytes_);
    std::filesystem::remove(to_);
  }
}

TEST_F(FileCopyTest, GoesOnAfterShortTransfers) {
  FileFaults faults;
  faults.largestTransfer = 100'003;
  ASSERT_FALSE(copyFile(from_, to_));
  EXPECT_TRUE(readWhole(to_) == bytes_);
}

TEST_F(FileCopyTest, FailsWithEachCallThatFailsUnlessItIsNotNeeded) {
  const bool attributes = ::setxattr(from_.c_str(), "user.scene", "7", 1, 0) == 0;
  std::vector<std::string> names;
  {
    FileFaults faults;
    faults.onAny = [&](std::string_view name, int) {
      names.emplace_back(name);
      return 0;
    };
    ASSERT_FALSE(copyFile(from_, to_));
  }
  EXPECT_GT(names.size(), attributes ? 12U : 8U);
  for (const int error : {ENOSPC, EIO, EDQUOT}) {
    for (std::size_t number = 0; number < names.size(); ++number) {
      std::filesystem::remove(to_);
      FileFaults faults;
      faults.onAny = [&](std::string_view, int call) { return call == static_cast<int>(number) ? error : 0; };
      const auto result = copyFile(from_, to_);
      // The source is closed last, and nobody asks how.
      const bool needless = number + 1 == names.size();
      // Where holes end is a matter of thrift.
      const bool hole = names[number] == "lseek" && !result;
      if (!needless && !hole) {
        EXPECT_EQ(result, std::error_code(error, std::generic_category())) << names[number] << " " << number;
      }
      if (!result) {
        EXPECT_TRUE(readWhole(to_) == bytes_);
      }
    }
  }
}

TEST_F(FileCopyTest, NoticesThatTheFileIsCutOffMeanwhile) {
  for (const bool kernel : {true, false}) {
    ASSERT_TRUE(writeWhole(from_, bytes_));
    std::filesystem::remove(to_);
    FileFaults faults;
    faults.largestTransfer = 1'000'000;
    bool cut = false;
    faults.onAny = [&](std::string_view name, int) {
      if (name == "copy_file_range" || name == "pread") {
        if (cut) ::truncate(from_.c_str(), 100);
        cut = true;
      }
      return name == "ioctl" || (!kernel && name == "copy_file_range") ? EOPNOTSUPP : 0;
    };
    EXPECT_EQ(copyFile(from_, to_), std::errc::no_message_available);
  }
}

TEST_F(FileCopyTest, MakesNothingOfWhatIsNoFileAndOverwritesNothing) {
  EXPECT_EQ(copyFile(folder_ / "absent", to_), std::errc::no_such_file_or_directory);
  EXPECT_EQ(copyFile(folder_.path(), to_), std::errc::is_a_directory);
  ASSERT_EQ(::mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(copyFile(folder_ / "pipe", to_), std::errc::operation_not_supported);
  std::filesystem::create_symlink(from_, folder_ / "link");
  EXPECT_EQ(copyFile(folder_ / "link", to_), std::errc::too_many_symbolic_link_levels);
  EXPECT_FALSE(std::filesystem::exists(to_));
  ASSERT_TRUE(writeWhole(to_, "theirs"));
  EXPECT_EQ(copyFile(from_, to_), std::errc::file_exists);
  EXPECT_EQ(readWhole(to_), "theirs");
}

}  // namespace
}  // namespace tallyrig
