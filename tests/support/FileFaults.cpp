#include "support/FileFaults.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <ctime>

namespace tallyrig::test {
namespace {

thread_local FileFaults* active = nullptr;

/// Whether the call is to fail; sets errno then.
bool fails(std::function<int(int)> FileFaults::*hook, int FileFaults::*count) {
  if (active == nullptr) return false;
  const int call = (active->*count)++;
  const int error = active->*hook ? (active->*hook)(call) : 0;
  if (error != 0) errno = error;
  return error != 0;
}

/// The same for `onAny`.
bool anyFails(std::string_view name) {
  if (active == nullptr || !active->onAny) return false;
  const int error = active->onAny(name, active->all++);
  if (error != 0) errno = error;
  return error != 0;
}

std::size_t transferOf(std::size_t size) {
  return active != nullptr && active->largestTransfer > 0 ? std::min(size, active->largestTransfer) : size;
}

}  // namespace

FileFaults::FileFaults() {
  active = this;
}

FileFaults::~FileFaults() {
  active = nullptr;
}

}  // namespace tallyrig::test

// The program's own definitions of these calls come before the C library's for everything that is linked into it.
using tallyrig::test::anyFails;
using tallyrig::test::fails;
using tallyrig::test::FileFaults;
using tallyrig::test::transferOf;

// The system has structures that are named like two of them.
#pragma GCC diagnostic ignored "-Wshadow"

extern "C" int open(const char* path, int flags, ...) {
  if (anyFails("open")) return -1;
  va_list arguments;
  va_start(arguments, flags);
  const auto mode = (flags & (O_CREAT | __O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

extern "C" int close(int file) {
  const bool failing = anyFails("close");
  const auto result = static_cast<int>(syscall(SYS_close, file));
  return fails(&FileFaults::onClose, &FileFaults::closes) || failing ? -1 : result;
}

extern "C" int fstat(int file, struct stat* status) noexcept {
  return anyFails("fstat") ? -1 : static_cast<int>(syscall(SYS_fstat, file, status));
}

extern "C" int stat(const char* path, struct stat* status) noexcept {
  return anyFails("stat") ? -1 : static_cast<int>(syscall(SYS_stat, path, status));
}

extern "C" int lstat(const char* path, struct stat* status) noexcept {
  return anyFails("lstat") ? -1 : static_cast<int>(syscall(SYS_lstat, path, status));
}

extern "C" ssize_t write(int file, const void* bytes, size_t size) {
  if (fails(&FileFaults::onWrite, &FileFaults::writes)) return -1;
  return syscall(SYS_write, file, bytes, transferOf(size));
}

extern "C" ssize_t read(int file, void* bytes, size_t size) {
  if (fails(&FileFaults::onRead, &FileFaults::reads)) return -1;
  return syscall(SYS_read, file, bytes, transferOf(size));
}

extern "C" ssize_t pwrite(int file, const void* bytes, size_t size, off_t offset) {
  return anyFails("pwrite") ? -1 : syscall(SYS_pwrite64, file, bytes, transferOf(size), offset);
}

extern "C" ssize_t pread(int file, void* bytes, size_t size, off_t offset) {
  return anyFails("pread") ? -1 : syscall(SYS_pread64, file, bytes, transferOf(size), offset);
}

extern "C" off_t lseek(int file, off_t offset, int from) noexcept {
  return anyFails("lseek") ? -1 : syscall(SYS_lseek, file, offset, from);
}

extern "C" ssize_t copy_file_range(int from, off_t* fromOffset, int to, off_t* toOffset, size_t size, unsigned flags) {
  if (anyFails("copy_file_range")) return -1;
  return syscall(SYS_copy_file_range, from, fromOffset, to, toOffset, transferOf(size), flags);
}

extern "C" int ioctl(int file, unsigned long request, ...) noexcept {
  if (anyFails("ioctl")) return -1;
  va_list arguments;
  va_start(arguments, request);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  return static_cast<int>(syscall(SYS_ioctl, file, request, argument));
}

extern "C" int ftruncate(int file, off_t size) noexcept {
  return anyFails("ftruncate") ? -1 : static_cast<int>(syscall(SYS_ftruncate, file, size));
}

extern "C" int fsync(int file) {
  if (fails(&FileFaults::onSync, &FileFaults::syncs) || anyFails("fsync")) return -1;
  return static_cast<int>(syscall(SYS_fsync, file));
}

extern "C" int fchmod(int file, mode_t mode) noexcept {
  if (fails(&FileFaults::onChangeMode, &FileFaults::modeChanges) || anyFails("fchmod")) return -1;
  return static_cast<int>(syscall(SYS_fchmod, file, mode));
}

extern "C" int fchown(int file, uid_t user, gid_t group) noexcept {
  return anyFails("fchown") ? -1 : static_cast<int>(syscall(SYS_fchown, file, user, group));
}

extern "C" int futimens(int file, const struct timespec times[2]) noexcept {
  return anyFails("futimens") ? -1 : static_cast<int>(syscall(SYS_utimensat, file, nullptr, times, 0));
}

extern "C" ssize_t flistxattr(int file, char* names, size_t size) noexcept {
  return anyFails("flistxattr") ? -1 : syscall(SYS_flistxattr, file, names, size);
}

extern "C" ssize_t fgetxattr(int file, const char* name, void* value, size_t size) noexcept {
  return anyFails("fgetxattr") ? -1 : syscall(SYS_fgetxattr, file, name, value, size);
}

extern "C" int fsetxattr(int file, const char* name, const void* value, size_t size, int flags) noexcept {
  return anyFails("fsetxattr") ? -1 : static_cast<int>(syscall(SYS_fsetxattr, file, name, value, size, flags));
}

extern "C" int flock(int file, int operation) noexcept {
  return anyFails("flock") ? -1 : static_cast<int>(syscall(SYS_flock, file, operation));
}

extern "C" int mkdir(const char* path, mode_t mode) noexcept {
  return anyFails("mkdir") ? -1 : static_cast<int>(syscall(SYS_mkdir, path, mode));
}

extern "C" int rename(const char* from, const char* to) noexcept {
  if (fails(&FileFaults::onRename, &FileFaults::renames) || anyFails("rename")) return -1;
  return static_cast<int>(syscall(SYS_rename, from, to));
}

extern "C" int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) noexcept {
  return anyFails("renameat2") ? -1 : static_cast<int>(syscall(SYS_renameat2, fromFolder, from, toFolder, to, flags));
}

extern "C" int link(const char* file, const char* name) noexcept {
  return anyFails("link") ? -1 : static_cast<int>(syscall(SYS_link, file, name));
}

extern "C" int unlink(const char* path) noexcept {
  return anyFails("unlink") ? -1 : static_cast<int>(syscall(SYS_unlink, path));
}
