#pragma once

#include <dlfcn.h>

namespace tallyrig::guard {

/// Calls the definition of `name` that the dynamic linker would have found without ours: a sanitizer's or the C
/// library's. `next` keeps it, and starts as null. Any thread.
template <typename Result, typename... Arguments>
Result callNext(void*& next, const char* name, Arguments... arguments) {
  void* function = __atomic_load_n(&next, __ATOMIC_RELAXED);
  if (function == nullptr) {
    function = dlsym(RTLD_NEXT, name);
    __atomic_store_n(&next, function, __ATOMIC_RELAXED);
  }
  return reinterpret_cast<Result (*)(Arguments...)>(function)(arguments...);
}

}  // namespace tallyrig::guard
