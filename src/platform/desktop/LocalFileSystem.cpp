#include "platform/desktop/LocalFileSystem.h"

#include <sys/stat.h>

#include <QFile>
#include <QStandardPaths>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <random>
#include <utility>

#include "platform/Log.h"
#include "platform/desktop/PosixFile.h"

namespace tallyrig {
namespace {

namespace fs = std::filesystem;

/// A file under a name that nobody else has, gone again unless `keep` is called.
class TemporaryFile {
 public:
  ~TemporaryFile() {
    if (!path_.empty()) ::unlink(path_.c_str());
  }

  std::error_code create(const fs::path& folder, mode_t mode) {
    std::random_device random;
    do {
      const fs::path path = folder / formatted(".tallyrig-%08x%08x.tmp", random(), random());
      file_ = openFile(path, O_WRONLY | O_CREAT | O_EXCL, mode);
      if (file_.isOpen()) path_ = path;
    } while (!file_.isOpen() && errno == EEXIST);
    return file_.isOpen() ? std::error_code{} : lastError();
  }

  std::error_code write(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t count = uninterrupted([&] { return ::write(file_.number(), bytes.data(), bytes.size()); });
      if (count < 0) return lastError();
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return {};
  }

  std::error_code setMode(mode_t mode) { return ::fchmod(file_.number(), mode) == 0 ? std::error_code{} : lastError(); }

  std::error_code syncAndClose() {
    if (const auto error = syncFile(file_)) return error;
    return file_.close();
  }

  std::error_code moveTo(const fs::path& target) {
    if (::rename(path_.c_str(), target.c_str()) != 0) return lastError();
    path_.clear();
    return {};
  }

 private:
  fs::path path_;
  Descriptor file_;
};

/// Where the chain of symbolic links at `path` ends, whether or not a file stands there.
std::error_code followLinks(fs::path& path) {
  constexpr int kMostLinks = 40;
  for (int i = 0; i < kMostLinks; ++i) {
    std::error_code error;
    if (!fs::is_symlink(fs::symlink_status(path, error))) return {};
    const fs::path target = fs::read_symlink(path, error);
    if (error) return error;
    path = path.parent_path() / target;
  }
  return std::make_error_code(std::errc::too_many_symbolic_link_levels);
}

}  // namespace

std::optional<fs::path> LocalFileSystem::applicationSupportDirectory() const {
  const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
  if (folder.isEmpty()) return std::nullopt;
  return fs::path(QFile::encodeName(folder).toStdString());
}

std::error_code LocalFileSystem::readFile(const fs::path& path, std::uint64_t limit, std::string& contents) const {
  const Descriptor file = openFile(path, O_RDONLY | O_NONBLOCK);
  if (!file.isOpen()) return lastError();
  struct stat status {};
  if (::fstat(file.number(), &status) != 0) return lastError();
  if (S_ISDIR(status.st_mode)) return std::make_error_code(std::errc::is_a_directory);
  if (!S_ISREG(status.st_mode)) return std::make_error_code(std::errc::invalid_argument);
  if (static_cast<std::uint64_t>(status.st_size) > limit) return std::make_error_code(std::errc::file_too_large);

  std::string bytes;
  bytes.reserve(static_cast<std::size_t>(status.st_size));
  std::array<char, 65536> part;
  while (true) {
    const ssize_t count = uninterrupted([&] { return ::read(file.number(), part.data(), part.size()); });
    if (count < 0) return lastError();
    if (count == 0) break;
    bytes.append(part.data(), static_cast<std::size_t>(count));
    // It can grow while it is read, and some systems' files have no size at all.
    if (bytes.size() > limit) return std::make_error_code(std::errc::file_too_large);
  }
  contents = std::move(bytes);
  return {};
}

std::error_code LocalFileSystem::createDirectories(const fs::path& path) {
  std::error_code error;
  fs::create_directories(path, error);
  return error;
}

std::error_code LocalFileSystem::writeFileAtomically(const fs::path& path, std::string_view bytes) {
  fs::path target = path;
  if (const auto error = followLinks(target)) return error;
  const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");

  struct stat existing {};
  const bool exists = ::stat(target.c_str(), &existing) == 0;
  constexpr mode_t kOwnerOnly = 0600;
  constexpr mode_t kAsTheUmaskLeaves = 0666;

  TemporaryFile file;
  if (const auto error = file.create(folder, exists ? kOwnerOnly : kAsTheUmaskLeaves)) return error;
  if (const auto error = file.write(bytes)) return error;
  if (exists) {
    if (const auto error = file.setMode(existing.st_mode & 07777)) return error;
  }
  if (const auto error = file.syncAndClose()) return error;
  if (const auto error = file.moveTo(target)) return error;
  return syncFolder(folder);
}

}  // namespace tallyrig
