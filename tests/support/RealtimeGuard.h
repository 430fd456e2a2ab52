#pragma once

#include <cstddef>

/// The real-time guard, linked into every test program: inside a `RealtimeScope` it ends the program, with one line on
/// standard error, at the first allocation, release of memory, lock or system call.
///
/// Memory: the sanitizer's hooks where the build has one, definitions that come before the C library's elsewhere.
/// Locks: definitions that come before the sanitizer's and the C library's, contended or not.
/// System calls: the kernel's dispatch to user space (Linux 5.11 and later, x86-64 and others), switched per thread. A
/// sanitizer's own calls pass. Reading the clock is no system call, unless the machine's clock source makes it one.
namespace tallyrig::guard {

/// What the kernel reads at each system call of the thread: 1 inside a scope, 0 outside.
extern constinit thread_local volatile char selector [[gnu::tls_model("initial-exec")]];

inline bool isInside() noexcept {
  return selector != 0;
}

/// Writes "RealtimeGuard: a real-time callback " and the text, and aborts.
[[noreturn, gnu::format(printf, 1, 2)]] void report(const char* format, ...) noexcept;

/// Takes the hooks for memory into use, where there are any.
void watchMemory() noexcept;

/// Sets up what all threads share for seeing system calls.
void watchSystemCalls() noexcept;
/// Makes the running thread's system calls subject to its selector. Without effect on a kernel that cannot.
void watchSystemCallsOfThread() noexcept;
/// Whether the last thread that asked for it had its system calls watched.
bool seesSystemCalls() noexcept;

}  // namespace tallyrig::guard
