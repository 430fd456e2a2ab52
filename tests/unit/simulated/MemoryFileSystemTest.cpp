#include "platform/simulated/MemoryFileSystem.h"

#include <cerrno>

namespace tallyrig {
namespace {

using Operation = MemoryFileSystem::Operation;
using std::errc;

TEST(MemoryFileSystem, WritesAndReadsBackAFile) {
  MemoryFileSystem files;
  EXPECT_FALSE(files.createDirectories("/data/app"));
  EXPECT_FALSE(files.writeFileAtomically("/data/app/cards.json", "[]"));
  EXPECT_FALSE(files.writeFileAtomically("/data/app/../app/cards.json", "[1]"));
  std::string contents;
  EXPECT_FALSE(files.readFile("/data/app/cards.json", 3, contents));
  EXPECT_EQ(contents, "[1]");
  EXPECT_EQ(files.writeCount(), 2);
}

TEST(MemoryFileSystem, RefusesWhatARealOneRefuses) {
  MemoryFileSystem files;
  files.put("/a/file", "12345");
  std::string contents = "kept";
  EXPECT_EQ(files.readFile("/a/none", 100, contents), errc::no_such_file_or_directory);
  EXPECT_EQ(files.readFile("/a", 100, contents), errc::is_a_directory);
  EXPECT_EQ(files.readFile("/a/file", 4, contents), errc::file_too_large);
  EXPECT_EQ(contents, "kept");
  EXPECT_EQ(files.writeFileAtomically("/b/file", "x"), errc::no_such_file_or_directory);
  EXPECT_EQ(files.writeFileAtomically("/a/file/x", "x"), errc::not_a_directory);
  EXPECT_EQ(files.writeFileAtomically("/a", "x"), errc::is_a_directory);
  EXPECT_EQ(files.createDirectories("/a/file/x"), errc::not_a_directory);
  EXPECT_EQ(files.createDirectories("/a/file"), errc::file_exists);
  EXPECT_FALSE(files.isDirectory("/a/file/x"));
  EXPECT_EQ(files.writeCount(), 0);
}

TEST(MemoryFileSystem, CreatesAllParentsAndAcceptsAnExistingFolder) {
  MemoryFileSystem files;
  EXPECT_FALSE(files.createDirectories("/x/y/z/"));
  EXPECT_TRUE(files.isDirectory("/x/y"));
  EXPECT_TRUE(files.isDirectory("/x/y/z"));
  EXPECT_FALSE(files.createDirectories("/x/y/z"));
}

TEST(MemoryFileSystem, FailsEachOperationOnDemandAndChangesNothing) {
  MemoryFileSystem files;
  files.put("/a/file", "old");
  files.fail(Operation::kWriteFile, ENOSPC);
  files.fail(Operation::kReadFile, EIO);
  files.fail(Operation::kCreateDirectories, EACCES);
  std::string contents;
  EXPECT_EQ(files.writeFileAtomically("/a/file", "new"), errc::no_space_on_device);
  EXPECT_EQ(files.readFile("/a/file", 100, contents), errc::io_error);
  EXPECT_EQ(files.createDirectories("/b"), errc::permission_denied);
  EXPECT_EQ(files.contents("/a/file"), "old");
  EXPECT_FALSE(files.isDirectory("/b"));
  EXPECT_EQ(files.callCount(Operation::kWriteFile), 1);
  EXPECT_EQ(files.writeCount(), 0);

  files.fail(Operation::kWriteFile, 0);
  EXPECT_FALSE(files.writeFileAtomically("/a/file", "new"));
  EXPECT_EQ(files.contents("/a/file"), "new");
}

TEST(MemoryFileSystem, RemovesAFolderWithAllThatIsInIt) {
  MemoryFileSystem files;
  files.put("/a/b/one", "1");
  files.put("/ab", "2");
  files.remove("/a");
  EXPECT_EQ(files.contents("/a/b/one"), std::nullopt);
  EXPECT_FALSE(files.isDirectory("/a/b"));
  EXPECT_EQ(files.contents("/ab"), "2");
}

TEST(MemoryFileSystem, CanNameNoApplicationSupportFolder) {
  MemoryFileSystem files;
  ASSERT_TRUE(files.applicationSupportDirectory());
  EXPECT_TRUE(files.isDirectory(*files.applicationSupportDirectory()));
  files.setApplicationSupportDirectory(std::nullopt);
  EXPECT_FALSE(files.applicationSupportDirectory());
}

}  // namespace
}  // namespace tallyrig
