#include <link.h>
#include <linux/prctl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <cstring>

#include "support/RealtimeGuard.h"

/// The C library's own sigaction, past a sanitizer's, which may put a handler off until the next call of its own.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the name is given
extern "C" int __sigaction(int signal, const struct sigaction* action, struct sigaction* previous) noexcept;

namespace tallyrig::guard {
namespace {

/// Code whose system calls always pass: a sanitizer's run-time library.
struct CodeRange {
  unsigned long start = 0;
  unsigned long length = 0;
};
CodeRange exempt;
bool seen = false;

int findSanitizer(dl_phdr_info* library, std::size_t, void*) {
  if (std::strstr(library->dlpi_name, "/libtsan.so") == nullptr &&
      std::strstr(library->dlpi_name, "/libasan.so") == nullptr) {
    return 0;
  }
  for (int i = 0; i < library->dlpi_phnum; ++i) {
    const auto& part = library->dlpi_phdr[i];
    if (part.p_type == PT_LOAD && (part.p_flags & PF_X) != 0)
      exempt = {library->dlpi_addr + part.p_vaddr, part.p_memsz};
  }
  return 1;
}

const char* nameOf(int number) {
  switch (number) {
    case SYS_read:
      return "read";
    case SYS_write:
      return "write";
    case SYS_writev:
      return "writev";
    case SYS_openat:
      return "openat";
    case SYS_close:
      return "close";
    case SYS_mmap:
      return "mmap";
    case SYS_munmap:
      return "munmap";
    case SYS_mprotect:
      return "mprotect";
    case SYS_madvise:
      return "madvise";
    case SYS_brk:
      return "brk";
    case SYS_futex:
      return "futex";
    case SYS_nanosleep:
      return "nanosleep";
    case SYS_clock_nanosleep:
      return "clock_nanosleep";
    case SYS_clock_gettime:
      return "clock_gettime";
    case SYS_sched_yield:
      return "sched_yield";
    case SYS_ioctl:
      return "ioctl";
    case SYS_ppoll:
      return "ppoll";
    case SYS_getpid:
      return "getpid";
    case SYS_gettid:
      return "gettid";
    case SYS_getrandom:
      return "getrandom";
    default:
      return "see <asm/unistd.h>";
  }
}

void refused(int, siginfo_t* info, void*) {
  report("made system call %d (%s)", info->si_syscall, nameOf(info->si_syscall));
}

}  // namespace

void watchSystemCalls() noexcept {
  dl_iterate_phdr(findSanitizer, nullptr);
  struct sigaction action {};
  action.sa_sigaction = refused;
  action.sa_flags = SA_SIGINFO;
  __sigaction(SIGSYS, &action, nullptr);
}

void watchSystemCallsOfThread() noexcept {
  const int result = prctl(PR_SET_SYSCALL_USER_DISPATCH, PR_SYS_DISPATCH_ON, exempt.start, exempt.length, &selector);
  __atomic_store_n(&seen, result == 0, __ATOMIC_RELAXED);
}

bool seesSystemCalls() noexcept {
  return __atomic_load_n(&seen, __ATOMIC_RELAXED);
}

}  // namespace tallyrig::guard
