#include "support/RealtimeGuard.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "platform/RealtimeScope.h"

namespace tallyrig::guard {

constinit thread_local volatile char selector = 0;

namespace {

constinit thread_local bool threadIsWatched = false;

void enter() noexcept {
  if (!threadIsWatched) {
    threadIsWatched = true;
    watchSystemCallsOfThread();
  }
  selector = 1;
}

void leave() noexcept {
  selector = 0;
}

/// Before main, and so before the first callback.
[[gnu::constructor]] void install() {
  watchMemory();
  watchSystemCalls();
  // The kernel does not watch the child of a fork until it is asked again.
  pthread_atfork(nullptr, nullptr, [] { threadIsWatched = false; });
  RealtimeScope::onEnter = enter;
  RealtimeScope::onLeave = leave;
}

}  // namespace

void report(const char* format, ...) noexcept {
  selector = 0;
  char what[160];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(what, sizeof(what), format, arguments);
  va_end(arguments);
  char line[224];
  const int length = std::snprintf(line, sizeof(line), "RealtimeGuard: a real-time callback %s\n", what);
  syscall(SYS_write, STDERR_FILENO, line, length);
  std::abort();
}

}  // namespace tallyrig::guard
