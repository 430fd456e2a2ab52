#include "support/RealtimeGuard.h"

#include <cerrno>
#include <cstdint>

#if TALLYRIG_GUARD_SANITIZER

#include "support/GuardInterposition.h"

// From the sanitizers' run-time library; its header is not part of the compiler's package.
// NOLINTBEGIN(bugprone-reserved-identifier): the names are given
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*allocated)(const volatile void* memory,
                                                                           std::size_t size),
                                                         void (*freeing)(const volatile void* memory));
// NOLINTEND(bugprone-reserved-identifier)

namespace tallyrig::guard {

void watchMemory() noexcept {
  __sanitizer_install_malloc_and_free_hooks(
      [](const volatile void*, std::size_t size) {
        if (isInside()) report("allocated %zu bytes", size);
      },
      [](const volatile void* memory) {
        if (isInside() && memory != nullptr) report("freed memory");
      });
}

}  // namespace tallyrig::guard

namespace {

using tallyrig::guard::callNext;
using tallyrig::guard::isInside;
using tallyrig::guard::report;

void* alignedBy(void*& next, const char* name, std::size_t first, std::size_t second, std::size_t size) {
  if (isInside()) report("allocated %zu bytes", size);
  return callNext<void*>(next, name, first, second);
}

}  // namespace

// The thread checker does not tell its hooks of aligned memory.

extern "C" int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
  static void* next = nullptr;
  if (isInside()) report("allocated %zu bytes", size);
  return callNext<int>(next, "posix_memalign", memory, alignment, size);
}

extern "C" void* aligned_alloc(std::size_t alignment, std::size_t size) {
  static void* next = nullptr;
  return alignedBy(next, "aligned_alloc", alignment, size, size);
}

extern "C" void* memalign(std::size_t alignment, std::size_t size) {
  static void* next = nullptr;
  return alignedBy(next, "memalign", alignment, size, size);
}

// operator new(std::size_t, std::align_val_t) and the same for arrays, by their linker names: they must go on to the
// sanitizer's own, which knows them as new.
extern "C" void* alignedNew(std::size_t size, std::size_t alignment) asm("_ZnwmSt11align_val_t");
extern "C" void* alignedNew(std::size_t size, std::size_t alignment) {
  static void* next = nullptr;
  return alignedBy(next, "_ZnwmSt11align_val_t", size, alignment, size);
}

extern "C" void* alignedNewArray(std::size_t size, std::size_t alignment) asm("_ZnamSt11align_val_t");
extern "C" void* alignedNewArray(std::size_t size, std::size_t alignment) {
  static void* next = nullptr;
  return alignedBy(next, "_ZnamSt11align_val_t", size, alignment, size);
}

#else

// NOLINTBEGIN(bugprone-reserved-identifier): the names are given
extern "C" {
void* __libc_malloc(std::size_t size);
void __libc_free(void* memory);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace tallyrig::guard {
namespace {

void allocating(std::size_t size) {
  if (isInside()) report("allocated %zu bytes", size);
}

}  // namespace

void watchMemory() noexcept {}

}  // namespace tallyrig::guard

using tallyrig::guard::allocating;
using tallyrig::guard::isInside;
using tallyrig::guard::report;

// operator new and delete come to these.
extern "C" void* malloc(std::size_t size) {
  allocating(size);
  return __libc_malloc(size);
}

extern "C" void free(void* memory) {
  if (isInside() && memory != nullptr) report("freed memory");
  __libc_free(memory);
}

extern "C" void* calloc(std::size_t count, std::size_t size) {
  allocating(count * size);
  return __libc_calloc(count, size);
}

extern "C" void* realloc(void* memory, std::size_t size) {
  allocating(size);
  return __libc_realloc(memory, size);
}

extern "C" void* memalign(std::size_t alignment, std::size_t size) {
  allocating(size);
  return __libc_memalign(alignment, size);
}

extern "C" void* aligned_alloc(std::size_t alignment, std::size_t size) {
  allocating(size);
  return __libc_memalign(alignment, size);
}

extern "C" int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
  allocating(size);
  if (alignment % sizeof(void*) != 0 || (alignment & (alignment - 1)) != 0 || alignment == 0) return EINVAL;
  void* const result = __libc_memalign(alignment, size);
  if (result == nullptr) return ENOMEM;
  *memory = result;
  return 0;
}

#endif
