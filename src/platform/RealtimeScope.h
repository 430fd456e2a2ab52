#pragma once

namespace tallyrig {

/// Marks the running thread as inside a real-time callback for as long as it lives. It costs one thread-local
/// increment. Test programs carry a guard that aborts when an allocation, a lock or a system call is reached inside.
/// Any thread, real-time safe.
class RealtimeScope {
 public:
  RealtimeScope() noexcept {
    if (depth_++ == 0 && onEnter != nullptr) onEnter();
  }
  ~RealtimeScope() {
    if (--depth_ == 0 && onLeave != nullptr) onLeave();
  }
  RealtimeScope(const RealtimeScope&) = delete;
  RealtimeScope& operator=(const RealtimeScope&) = delete;

  static bool isActive() noexcept { return depth_ > 0; }

  /// Set by the guard before the first callback, never afterwards.
  static inline void (*onEnter)() noexcept = nullptr;
  static inline void (*onLeave)() noexcept = nullptr;

 private:
  static inline constinit thread_local int depth_ = 0;
};

}  // namespace tallyrig
