#pragma once

#include <linux/capability.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>

namespace tallyrig {

/// For as long as it lives, the thread that made it, and threads that this one starts, may raise no priority, as an
/// ordinary user's may not.
class NoRightToRaise {
 public:
  NoRightToRaise() {
    getrlimit(RLIMIT_NICE, &limit_);
    const rlimit none{.rlim_cur = 0, .rlim_max = limit_.rlim_max};
    setrlimit(RLIMIT_NICE, &none);
    syscall(SYS_capget, &kHeader, rights_.data());
    auto fewer = rights_;
    fewer[0].effective &= ~(1U << CAP_SYS_NICE);
    syscall(SYS_capset, &kHeader, fewer.data());
  }
  ~NoRightToRaise() {
    syscall(SYS_capset, &kHeader, rights_.data());
    setrlimit(RLIMIT_NICE, &limit_);
  }
  NoRightToRaise(const NoRightToRaise&) = delete;
  NoRightToRaise& operator=(const NoRightToRaise&) = delete;

 private:
  static constexpr __user_cap_header_struct kHeader{.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};

  rlimit limit_{};
  std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> rights_{};
};

}  // namespace tallyrig
