#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "platform/UserFiles.h"

namespace tallyrig {

/// A volume in memory whose every operation can be made to fail, which others change at any moment, and whose power can
/// be cut. Folders are there when they are named. The world's thread.
///
/// Names reach the disk in the order in which they changed, at the latest when their folder is synced; bytes in any
/// order and in pieces, at the latest when their file is. A copy or a write that fails leaves half of it.
class SimulatedUserFiles final : public UserFiles {
 public:
  enum class Operation {
    kAttributes,
    kOpen,
    kRead,
    kReplacementFolder,
    kCopy,
    kWrite,
    kSync,
    kExchange,
    kLink,
    kRename,
    kRemove,
    kLock
  };

  /// Called before each operation, which fails with the error that it returns.
  using Hook = std::function<std::error_code(Operation operation, const Path& path)>;

  /// What the volume can.
  struct Abilities {
    bool exchange = true;
    bool link = true;
    /// Files have numbers.
    bool numbers = true;
  };

  SimulatedUserFiles() = default;
  explicit SimulatedUserFiles(Abilities abilities) : abilities_(abilities) {}

  std::error_code attributes(const Path& path, FileAttributes& attributes) const override;
  std::error_code openForReading(const Path& path, std::unique_ptr<ByteSource>& file) const override;
  std::error_code replacementFolder(const Path& source, Path& folder) override;
  std::error_code copy(const Path& from, const Path& to) override;
  std::error_code write(const Path& path, std::uint64_t offset, std::span<const std::uint8_t> bytes) override;
  std::error_code sync(const Path& path) override;
  std::error_code exchange(const Path& one, const Path& other) override;
  std::error_code link(const Path& file, const Path& name) override;
  std::error_code rename(const Path& from, const Path& to) override;
  std::error_code remove(const Path& path) override;
  std::error_code lock(const Path& path, std::unique_ptr<FileLock>& lock) override;

  void setHook(Hook hook) { hook_ = std::move(hook); }

  /// What other programs do; it never fails, and all of it is on the disk.
  void put(const Path& path, std::string_view bytes, FileAttributes::Kind kind = FileAttributes::Kind::kRegular);
  void append(const Path& path, std::string_view bytes);
  void truncate(const Path& path, std::size_t size);
  void touch(const Path& path);
  void take(const Path& path);
  /// Somebody else has the lock.
  void holdLock(const Path& path);

  /// Absent if there is no such file.
  std::optional<std::string> contents(const Path& path) const;
  std::vector<Path> paths() const;

  /// What a cut of the power at this moment leaves, as the seed decides.
  std::map<Path, std::string> afterPowerCut(std::uint32_t seed) const;

 private:
  struct Node {
    std::uint64_t number = 0;
    FileAttributes::Kind kind = FileAttributes::Kind::kRegular;
    FileAttributes::Time modified;
    std::string bytes;
    std::string onDisk;
    bool locked = false;
  };
  using NodePointer = std::shared_ptr<Node>;
  using Names = std::map<Path, NodePointer>;
  /// A change of names that is whole or not at all. A name without a node goes.
  using Change = std::vector<std::pair<Path, NodePointer>>;

  class File;
  class Lock;

  std::error_code enter(Operation operation, const Path& path) const;
  NodePointer find(const Path& path) const;
  NodePointer make(const Path& path, FileAttributes::Kind kind);
  FileAttributes::Time tick() const;
  void change(Change change);
  static void apply(const Change& change, Names& names);
  static std::string torn(const Node& node, std::mt19937& random);

  Abilities abilities_;
  Hook hook_;
  Names names_;
  Names namesOnDisk_;
  std::vector<Change> changes_;
  std::uint64_t lastNumber_ = 0;
  mutable std::int64_t time_ = 0;
};

}  // namespace tallyrig
