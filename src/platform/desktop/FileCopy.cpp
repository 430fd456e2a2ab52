#include "platform/desktop/FileCopy.h"

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/desktop/PosixFile.h"
#include "platform/desktop/RegularFile.h"

namespace tallyrig {
namespace {

/// Whether a call failed because this file system, or this pair of them, does not have it.
bool isUnsupported(int error) {
  return error == EXDEV || error == EINVAL || error == ENOSYS || error == EOPNOTSUPP || error == ENOTTY ||
         error == ETXTBSY || error == EPERM;
}

/// The file ended before its end: somebody cut it off in the meantime.
std::error_code cutOff() {
  return std::make_error_code(std::errc::no_message_available);
}

/// From `offset` on to the same place in the other file.
std::error_code copyThroughMemory(const Descriptor& from, const Descriptor& to, off_t offset, off_t count) {
  constexpr std::size_t kPart = 1U << 20U;
  const auto part = std::make_unique_for_overwrite<char[]>(kPart);
  while (count > 0) {
    const std::size_t wanted = std::min<std::size_t>(kPart, static_cast<std::size_t>(count));
    const ssize_t got = uninterrupted([&] { return ::pread(from.number(), part.get(), wanted, offset); });
    if (got < 0) return lastError();
    if (got == 0) return cutOff();
    for (ssize_t done = 0; done < got;) {
      const ssize_t put = uninterrupted([&] {
        return ::pwrite(to.number(), part.get() + done, static_cast<std::size_t>(got - done), offset + done);
      });
      if (put < 0) return lastError();
      done += put;
    }
    offset += got;
    count -= got;
  }
  return {};
}

std::error_code copyRange(const Descriptor& from, const Descriptor& to, off_t offset, off_t count) {
  constexpr off_t kPart = 1 << 30;
  while (count > 0) {
    off_t source = offset;
    off_t target = offset;
    const auto wanted = static_cast<std::size_t>(std::min(kPart, count));
    const ssize_t done =
        uninterrupted([&] { return ::copy_file_range(from.number(), &source, to.number(), &target, wanted, 0); });
    if (done < 0 && !isUnsupported(errno)) return lastError();
    // Some file systems answer "nothing" instead of "cannot"; a file that was cut off is found out by reading.
    if (done <= 0) return copyThroughMemory(from, to, offset, count);
    offset += done;
    count -= done;
  }
  return {};
}

/// Where the next bytes from `offset` on begin and end; from `offset` to `size` where the file system knows no holes.
std::error_code nextData(const Descriptor& file, off_t offset, off_t size, off_t& begin, off_t& end) {
  begin = ::lseek(file.number(), offset, SEEK_DATA);
  if (begin < 0 && errno == ENXIO) {
    begin = end = size;
    return {};
  }
  if (begin < 0 && !isUnsupported(errno)) return lastError();
  begin = std::max(begin, offset);
  end = ::lseek(file.number(), begin, SEEK_HOLE);
  if (end <= begin) end = size;
  begin = std::min(begin, size);
  end = std::min(end, size);
  return {};
}

std::error_code copyBytes(const Descriptor& from, const Descriptor& to, off_t size) {
  if (::ioctl(to.number(), FICLONE, from.number()) == 0) return {};
  if (!isUnsupported(errno)) return lastError();
  for (off_t offset = 0; offset < size;) {
    off_t begin = 0;
    off_t end = 0;
    if (const auto error = nextData(from, offset, size, begin, end)) return error;
    if (const auto error = copyRange(from, to, begin, end - begin)) return error;
    offset = end;
  }
  // A hole at the end is a matter of the size alone.
  return uninterrupted([&] { return ::ftruncate(to.number(), size); }) == 0 ? std::error_code{} : lastError();
}

/// An ordinary user cannot give a file away, and then it stays theirs.
std::error_code copyOwner(const Descriptor& to, const struct stat& status) {
  if (::fchown(to.number(), status.st_uid, status.st_gid) == 0) return {};
  if (errno != EPERM) return lastError();
  constexpr auto kAsItIs = static_cast<uid_t>(-1);
  return ::fchown(to.number(), kAsItIs, status.st_gid) == 0 || errno == EPERM ? std::error_code{} : lastError();
}

std::error_code copyAttribute(const Descriptor& from, const Descriptor& to, const char* name) {
  const ssize_t size = ::fgetxattr(from.number(), name, nullptr, 0);
  if (size < 0) return errno == ENODATA || isUnsupported(errno) ? std::error_code{} : lastError();
  std::vector<char> value(static_cast<std::size_t>(size) + 1);
  const ssize_t count = ::fgetxattr(from.number(), name, value.data(), value.size());
  if (count < 0) return errno == ENODATA ? std::error_code{} : lastError();
  if (::fsetxattr(to.number(), name, value.data(), static_cast<std::size_t>(count), 0) == 0) return {};
  const bool ofTheUser = std::string_view(name).starts_with("user.");
  return isUnsupported(errno) || (errno == EACCES && !ofTheUser) ? std::error_code{} : lastError();
}

/// Access control lists are among them.
std::error_code copyAttributes(const Descriptor& from, const Descriptor& to) {
  const ssize_t size = ::flistxattr(from.number(), nullptr, 0);
  if (size < 0) return isUnsupported(errno) ? std::error_code{} : lastError();
  std::vector<char> names(static_cast<std::size_t>(size) + 1);
  const ssize_t count = ::flistxattr(from.number(), names.data(), names.size() - 1);
  if (count < 0) return lastError();
  for (const char* name = names.data(); name < names.data() + count; name += std::string_view(name).size() + 1) {
    if (const auto error = copyAttribute(from, to, name)) return error;
  }
  return {};
}

std::error_code copyStatus(const Descriptor& to, const struct stat& status) {
  if (::fchmod(to.number(), status.st_mode & 07777) != 0) return lastError();
  const struct timespec times[] = {status.st_atim, status.st_mtim};
  return ::futimens(to.number(), times) == 0 ? std::error_code{} : lastError();
}

}  // namespace

std::error_code copyFile(const std::filesystem::path& from, const std::filesystem::path& to) {
  Descriptor source;
  struct stat status {};
  if (const auto error = openRegularFile(from, source, status)) return error;
  constexpr mode_t kOwnerOnly = 0600;
  Descriptor target = openFile(to, O_WRONLY | O_CREAT | O_EXCL, kOwnerOnly);
  if (!target.isOpen()) return lastError();
  if (const auto error = copyBytes(source, target, status.st_size)) return error;
  if (const auto error = copyOwner(target, status)) return error;
  if (const auto error = copyAttributes(source, target)) return error;
  if (const auto error = copyStatus(target, status)) return error;
  return target.close();
}

}  // namespace tallyrig
