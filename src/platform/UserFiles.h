#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <system_error>

#include "platform/ByteSource.h"

namespace tallyrig {

/// What a file system knows of a file besides its bytes.
struct FileAttributes {
  enum class Kind { kRegular, kDirectory, kSymbolicLink, kOther };
  using Time = std::chrono::sys_time<std::chrono::nanoseconds>;

  Kind kind = Kind::kOther;
  /// What the volume calls the file, however it is named; 0 if it has no such number.
  std::uint64_t number = 0;
  std::uint64_t size = 0;
  Time modified;
};

/// Held on a file for as long as this lives.
class FileLock {
 public:
  virtual ~FileLock() = default;
};

/// The steps of which a safe replacement of a user's file is made. Nothing here follows a symbolic link at the end of a
/// path, and nothing waits for anything but the disk. Blocking; any thread but a real-time one, and more than one at a
/// time.
///
/// An operation that fails leaves what was there as it was, except where it says otherwise.
class UserFiles {
 public:
  using Path = std::filesystem::path;

  virtual ~UserFiles() = default;

  virtual std::error_code attributes(const Path& path, FileAttributes& attributes) const = 0;
  /// Regular files only. The size is that of this moment; bytes that are gone when they are read are an error.
  virtual std::error_code openForReading(const Path& path, std::unique_ptr<ByteSource>& file) const = 0;

  /// A folder from which files can be moved to the place of `source` without being copied. It stays when the files in
  /// it have gone, and is given again.
  virtual std::error_code replacementFolder(const Path& source, Path& folder) = 0;
  /// A new file with the bytes, times, permissions, owner and extended attributes of another; sharing its bytes where
  /// the volume can. A failure can leave a part of it.
  virtual std::error_code copy(const Path& from, const Path& to) = 0;
  /// Into a file that is there; the bytes may begin at its end. A failure can leave a part of them.
  virtual std::error_code write(const Path& path, std::uint64_t offset, std::span<const std::uint8_t> bytes) = 0;

  /// To the disk: a file's bytes and size, or the names in a folder, which may be a link to one.
  virtual std::error_code sync(const Path& path) = 0;

  /// The two files change places in one instant. `std::errc::operation_not_supported` where the volume cannot.
  virtual std::error_code exchange(const Path& one, const Path& other) = 0;
  /// A second name for a file. `std::errc::operation_not_supported` where the volume has no such thing.
  virtual std::error_code link(const Path& file, const Path& name) = 0;
  /// In one instant also where a file stands at `to`, which is then gone.
  virtual std::error_code rename(const Path& from, const Path& to) = 0;
  virtual std::error_code remove(const Path& path) = 0;

  /// Keeps others out who ask for a lock as well; `std::errc::device_or_resource_busy` if one of them has it. Where the
  /// volume has no locks there is nothing to be held, and it succeeds.
  virtual std::error_code lock(const Path& path, std::unique_ptr<FileLock>& lock) = 0;
};

}  // namespace tallyrig
