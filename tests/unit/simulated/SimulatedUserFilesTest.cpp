#include "platform/simulated/SimulatedUserFiles.h"

#include <set>

namespace tallyrig {
namespace {

using Operation = SimulatedUserFiles::Operation;

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

FileAttributes attributesOf(const SimulatedUserFiles& files, const std::filesystem::path& path) {
  FileAttributes attributes;
  EXPECT_FALSE(files.attributes(path, attributes));
  return attributes;
}

/// What a cut of the power can leave of a file.
std::set<std::string> possibleRemains(const SimulatedUserFiles& files, const std::filesystem::path& path) {
  std::set<std::string> remains;
  for (std::uint32_t seed = 0; seed < 100; ++seed) {
    const auto left = files.afterPowerCut(seed);
    remains.insert(left.contains(path) ? left.at(path) : "absent");
  }
  return remains;
}

TEST(SimulatedUserFiles, KeepAFileThroughItsNames) {
  SimulatedUserFiles files;
  files.put("/a", "one");
  files.put("/b", "two");
  const std::uint64_t number = attributesOf(files, "/a").number;
  ASSERT_FALSE(files.link("/a", "/c"));
  ASSERT_FALSE(files.exchange("/a", "/b"));
  EXPECT_EQ(files.contents("/a"), "two");
  EXPECT_EQ(attributesOf(files, "/b").number, number);
  EXPECT_EQ(attributesOf(files, "/c").number, number);
  ASSERT_FALSE(files.rename("/b", "/c"));
  EXPECT_EQ(files.contents("/b"), "one") << "two names of one file both stay";
  ASSERT_FALSE(files.rename("/a", "/c"));
  EXPECT_EQ(files.contents("/c"), "two");
  EXPECT_FALSE(files.contents("/a"));
  EXPECT_EQ(files.remove("/a"), std::errc::no_such_file_or_directory);
}

TEST(SimulatedUserFiles, ChangeTheirDateWithTheirBytes) {
  SimulatedUserFiles files;
  files.put("/a", "one");
  ASSERT_FALSE(files.copy("/a", "/b"));
  const FileAttributes before = attributesOf(files, "/b");
  EXPECT_EQ(before.modified, attributesOf(files, "/a").modified);
  ASSERT_FALSE(files.write("/b", 3, bytesOf("two")));
  EXPECT_EQ(files.contents("/b"), "onetwo");
  EXPECT_GT(attributesOf(files, "/b").modified, before.modified);
  EXPECT_EQ(files.copy("/a", "/b"), std::errc::file_exists);
}

TEST(SimulatedUserFiles, LeaveHalfOfAWriteOrCopyThatFails) {
  SimulatedUserFiles files;
  files.put("/a", "12345678");
  files.setHook([](auto, const auto&) { return std::make_error_code(std::errc::io_error); });
  EXPECT_EQ(files.copy("/a", "/b"), std::errc::io_error);
  EXPECT_EQ(files.contents("/b"), "1234");
  EXPECT_EQ(files.write("/a", 0, bytesOf("abcd")), std::errc::io_error);
  EXPECT_EQ(files.contents("/a"), "ab345678");
  EXPECT_EQ(files.remove("/a"), std::errc::io_error);
  EXPECT_TRUE(files.contents("/a"));
}

TEST(SimulatedUserFiles, ReadWhatIsStillThere) {
  SimulatedUserFiles files;
  files.put("/a", "12345678");
  std::unique_ptr<ByteSource> file;
  ASSERT_FALSE(files.openForReading("/a", file));
  std::string part(4, ' ');
  const std::span into(reinterpret_cast<std::uint8_t*>(part.data()), part.size());
  files.take("/a");
  ASSERT_FALSE(file->read(4, into));
  EXPECT_EQ(part, "5678");
  EXPECT_EQ(file->read(5, into), std::errc::no_message_available);
  EXPECT_EQ(file->read(~std::uint64_t{0}, into), std::errc::no_message_available);
}

TEST(SimulatedUserFiles, LoseAtAPowerCutWhatWasNotSynced) {
  SimulatedUserFiles files;
  files.put("/folder/a", "old");
  ASSERT_FALSE(files.write("/folder/a", 0, bytesOf("new")));
  EXPECT_EQ(possibleRemains(files, "/folder/a"), (std::set<std::string>{"old", "new"}));
  ASSERT_FALSE(files.sync("/folder/a"));
  EXPECT_EQ(possibleRemains(files, "/folder/a"), std::set<std::string>{"new"});

  ASSERT_FALSE(files.rename("/folder/a", "/folder/b"));
  EXPECT_EQ(possibleRemains(files, "/folder/b"), (std::set<std::string>{"absent", "new"}));
  ASSERT_FALSE(files.sync("/folder"));
  EXPECT_EQ(possibleRemains(files, "/folder/b"), std::set<std::string>{"new"});
  EXPECT_EQ(possibleRemains(files, "/folder/a"), std::set<std::string>{"absent"});
}

TEST(SimulatedUserFiles, KeepTheOrderOfNamesAtAPowerCut) {
  SimulatedUserFiles files;
  files.put("/a", "one");
  ASSERT_FALSE(files.link("/a", "/b"));
  ASSERT_FALSE(files.remove("/a"));
  for (std::uint32_t seed = 0; seed < 100; ++seed) {
    const auto left = files.afterPowerCut(seed);
    EXPECT_TRUE(left.contains("/a") || left.contains("/b")) << seed;
  }
}

TEST(SimulatedUserFiles, LockForOneAtATime) {
  SimulatedUserFiles files;
  files.put("/a", "one");
  std::unique_ptr<FileLock> first;
  std::unique_ptr<FileLock> second;
  ASSERT_FALSE(files.lock("/a", first));
  EXPECT_EQ(files.lock("/a", second), std::errc::device_or_resource_busy);
  first.reset();
  EXPECT_FALSE(files.lock("/a", second));
}

TEST(SimulatedUserFiles, RefuseWhatTheVolumeCannot) {
  SimulatedUserFiles files({.exchange = false, .link = false, .numbers = false});
  files.put("/a", "one");
  files.put("/b", "two");
  EXPECT_EQ(files.exchange("/a", "/b"), std::errc::operation_not_supported);
  EXPECT_EQ(files.link("/a", "/c"), std::errc::operation_not_supported);
  EXPECT_EQ(attributesOf(files, "/a").number, 0U);
}

}  // namespace
}  // namespace tallyrig
