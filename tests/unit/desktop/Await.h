#pragma once

#include <QCoreApplication>
#include <QTimer>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

namespace tallyrig::test {

/// How long a test waits before it fails for what must come.
inline constexpr std::chrono::seconds kDeadline{60};

/// Counts events on any thread, and waits on another for a number of them.
class EventCount {
 public:
  void add() {
    const std::lock_guard lock(mutex_);
    ++count_;
    changed_.notify_all();
  }
  int value() const {
    const std::lock_guard lock(mutex_);
    return count_;
  }
  /// False if the deadline passes first.
  bool reaches(int count) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kDeadline, [&] { return count_ >= count; });
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  int count_ = 0;
};

/// Runs the main thread's event loop until `condition` holds; false if the deadline passes first.
inline bool runMainUntil(const std::function<bool()>& condition) {
  QTimer deadline;
  deadline.setSingleShot(true);
  deadline.start(kDeadline);
  while (!condition()) {
    if (!deadline.isActive()) return false;
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
  return true;
}

}  // namespace tallyrig::test
