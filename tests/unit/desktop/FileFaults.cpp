#include "FileFaults.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

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
using tallyrig::test::fails;
using tallyrig::test::FileFaults;
using tallyrig::test::transferOf;

extern "C" ssize_t write(int file, const void* bytes, size_t size) {
  if (fails(&FileFaults::onWrite, &FileFaults::writes)) return -1;
  return syscall(SYS_write, file, bytes, transferOf(size));
}

extern "C" ssize_t read(int file, void* bytes, size_t size) {
  if (fails(&FileFaults::onRead, &FileFaults::reads)) return -1;
  return syscall(SYS_read, file, bytes, transferOf(size));
}

extern "C" int fsync(int file) {
  if (fails(&FileFaults::onSync, &FileFaults::syncs)) return -1;
  return static_cast<int>(syscall(SYS_fsync, file));
}

extern "C" int close(int file) {
  const auto result = static_cast<int>(syscall(SYS_close, file));
  return fails(&FileFaults::onClose, &FileFaults::closes) ? -1 : result;
}

extern "C" int rename(const char* from, const char* to) noexcept {
  if (fails(&FileFaults::onRename, &FileFaults::renames)) return -1;
  return static_cast<int>(syscall(SYS_rename, from, to));
}

extern "C" int fchmod(int file, mode_t mode) noexcept {
  if (fails(&FileFaults::onChangeMode, &FileFaults::modeChanges)) return -1;
  return static_cast<int>(syscall(SYS_fchmod, file, mode));
}
