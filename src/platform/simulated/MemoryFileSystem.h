#pragma once

#include <array>
#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>

#include "platform/FileSystem.h"

namespace tallyrig {

/// A file system in memory whose operations fail on demand. Paths are taken as they are written, without links.
/// The root and the application support folder exist from the start. The world's thread.
class MemoryFileSystem : public FileSystem {
 public:
  enum class Operation { kReadFile, kCreateDirectories, kWriteFile };

  std::optional<std::filesystem::path> applicationSupportDirectory() const override { return applicationSupport_; }
  std::error_code readFile(const std::filesystem::path& path, std::uint64_t limit,
                           std::string& contents) const override;
  std::error_code createDirectories(const std::filesystem::path& path) override;
  std::error_code writeFileAtomically(const std::filesystem::path& path, std::string_view bytes) override;

  /// From now on the operation fails with this errno value and changes nothing; 0 lets it work again.
  void fail(Operation operation, int errorNumber);
  /// Calls of the operation so far, failed ones included.
  int callCount(Operation operation) const;
  /// Files written so far by `writeFileAtomically`, failed calls left out.
  int writeCount() const { return writeCount_; }

  /// Absent: the system names no such folder.
  void setApplicationSupportDirectory(std::optional<std::filesystem::path> path);
  /// Puts a file there, with the folders it needs, as another program would.
  void put(const std::filesystem::path& path, std::string_view bytes);
  /// Takes away a file, or a folder with all that is in it.
  void remove(const std::filesystem::path& path);
  /// Absent if there is no such file.
  std::optional<std::string> contents(const std::filesystem::path& path) const;
  bool isDirectory(const std::filesystem::path& path) const;

 private:
  struct Behaviour {
    int errorNumber = 0;
    mutable int calls = 0;
  };

  /// Counts the call; its failure, if one is set.
  std::error_code enter(Operation operation) const;
  const Behaviour& behaviour(Operation operation) const { return behaviours_[static_cast<std::size_t>(operation)]; }

  std::optional<std::filesystem::path> applicationSupport_ = "/home/user/.local/share";
  std::map<std::filesystem::path, std::string> files_;
  std::set<std::filesystem::path> directories_ = {"/", "/home", "/home/user", "/home/user/.local",
                                                  "/home/user/.local/share"};
  std::array<Behaviour, 3> behaviours_;
  int writeCount_ = 0;
};

}  // namespace tallyrig
