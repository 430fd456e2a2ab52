#include "platform/desktop/LocalUserFiles.h"

#include <linux/fs.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

#include "platform/desktop/FileCopy.h"
#include "platform/desktop/PosixFile.h"
#include "platform/desktop/RegularFile.h"
#include "platform/desktop/WorkerPool.h"

namespace tallyrig {
namespace {

using Path = UserFiles::Path;

class LocalFile final : public ByteSource {
 public:
  LocalFile(Descriptor file, std::uint64_t size) : file_(std::move(file)), size_(size) {}

  std::uint64_t size() const override { return size_; }

  std::error_code read(std::uint64_t offset, std::span<std::uint8_t> into) const override {
    // A disk or a network that does not answer must not take the threads of others, who read timecode on them.
    const WorkerPool::WaitingTask waiting;
    while (!into.empty()) {
      if (!std::in_range<off_t>(offset)) return std::make_error_code(std::errc::value_too_large);
      const ssize_t count =
          uninterrupted([&] { return ::pread(file_.number(), into.data(), into.size(), static_cast<off_t>(offset)); });
      if (count < 0) return lastError();
      if (count == 0) return std::make_error_code(std::errc::no_message_available);
      into = into.subspan(static_cast<std::size_t>(count));
      offset += static_cast<std::uint64_t>(count);
    }
    return {};
  }

 private:
  Descriptor file_;
  std::uint64_t size_;
};

/// Released when the descriptor closes, also by the end of the program.
class LocalLock final : public FileLock {
 public:
  explicit LocalLock(Descriptor file) : file_(std::move(file)) {}

 private:
  Descriptor file_;
};

FileAttributes::Kind kindOf(mode_t mode) {
  if (S_ISREG(mode)) return FileAttributes::Kind::kRegular;
  if (S_ISDIR(mode)) return FileAttributes::Kind::kDirectory;
  return S_ISLNK(mode) ? FileAttributes::Kind::kSymbolicLink : FileAttributes::Kind::kOther;
}

std::error_code resultOf(int status) {
  return status == 0 ? std::error_code{} : lastError();
}

/// A folder that only we can put anything into.
bool isOurs(const Path& folder) {
  struct stat status {};
  return ::lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::geteuid() &&
         (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

Path folderOf(const Path& file) {
  return file.has_parent_path() ? file.parent_path() : Path(".");
}

}  // namespace

std::error_code LocalUserFiles::attributes(const Path& path, FileAttributes& attributes) const {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return lastError();
  const auto modified = std::chrono::seconds(status.st_mtim.tv_sec) + std::chrono::nanoseconds(status.st_mtim.tv_nsec);
  attributes = {kindOf(status.st_mode), status.st_ino, static_cast<std::uint64_t>(status.st_size),
                FileAttributes::Time(modified)};
  return {};
}

std::error_code LocalUserFiles::openForReading(const Path& path, std::unique_ptr<ByteSource>& file) const {
  const WorkerPool::WaitingTask waiting;
  Descriptor descriptor;
  struct stat status {};
  if (const auto error = openRegularFile(path, descriptor, status)) return error;
  file = std::make_unique<LocalFile>(std::move(descriptor), static_cast<std::uint64_t>(status.st_size));
  return {};
}

std::error_code LocalUserFiles::replacementFolder(const Path& source, Path& folder) {
  constexpr mode_t kOwnerOnly = 0700;
  const Path usual = folderOf(source) / ".tallyrig-staging";
  const bool made = ::mkdir(usual.c_str(), kOwnerOnly) == 0;
  if (!made && errno != EEXIST) return lastError();
  if (made || isOurs(usual)) {
    folder = usual;
    return {};
  }
  std::string unusual = usual.string() + "-XXXXXX";
  if (::mkdtemp(unusual.data()) == nullptr) return lastError();
  folder = unusual;
  return {};
}

std::error_code LocalUserFiles::copy(const Path& from, const Path& to) {
  return copyFile(from, to);
}

std::error_code LocalUserFiles::write(const Path& path, std::uint64_t offset, std::span<const std::uint8_t> bytes) {
  Descriptor file = openFile(path, O_WRONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY);
  if (!file.isOpen()) return lastError();
  while (!bytes.empty()) {
    if (!std::in_range<off_t>(offset)) return std::make_error_code(std::errc::file_too_large);
    const ssize_t count =
        uninterrupted([&] { return ::pwrite(file.number(), bytes.data(), bytes.size(), static_cast<off_t>(offset)); });
    if (count < 0) return lastError();
    bytes = bytes.subspan(static_cast<std::size_t>(count));
    offset += static_cast<std::uint64_t>(count);
  }
  return file.close();
}

std::error_code LocalUserFiles::sync(const Path& path) {
  Descriptor file;
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return lastError();
  if (S_ISDIR(status.st_mode)) return syncFolder(path);
  if (const auto error = openRegularFile(path, file, status)) return error;
  return syncFile(file);
}

std::error_code LocalUserFiles::exchange(const Path& one, const Path& other) {
  if (::renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) == 0) return {};
  const bool unsupported = errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
  return unsupported ? std::make_error_code(std::errc::operation_not_supported) : lastError();
}

std::error_code LocalUserFiles::link(const Path& file, const Path& name) {
  if (::link(file.c_str(), name.c_str()) == 0) return {};
  // EPERM also where the system keeps users from linking each other's files.
  const bool unsupported = errno == EPERM || errno == ENOSYS || errno == EOPNOTSUPP || errno == EMLINK;
  return unsupported ? std::make_error_code(std::errc::operation_not_supported) : lastError();
}

std::error_code LocalUserFiles::rename(const Path& from, const Path& to) {
  return resultOf(::rename(from.c_str(), to.c_str()));
}

std::error_code LocalUserFiles::remove(const Path& path) {
  return resultOf(::unlink(path.c_str()));
}

std::error_code LocalUserFiles::lock(const Path& path, std::unique_ptr<FileLock>& lock) {
  Descriptor file;
  struct stat status {};
  if (const auto error = openRegularFile(path, file, status)) return error;
  if (uninterrupted([&] { return ::flock(file.number(), LOCK_EX | LOCK_NB); }) != 0) {
    if (errno == EWOULDBLOCK) return std::make_error_code(std::errc::device_or_resource_busy);
    // Network file systems without locks; some want the file open for writing, which its owner may have forbidden.
    if (errno != ENOSYS && errno != EOPNOTSUPP && errno != ENOLCK && errno != EINVAL && errno != EBADF) {
      return lastError();
    }
  }
  lock = std::make_unique<LocalLock>(std::move(file));
  return {};
}

}  // namespace tallyrig
