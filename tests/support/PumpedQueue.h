#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "platform/SerialQueue.h"

namespace tallyrig {

/// The main queue of a test that talks to real services: its tasks run on the test's own thread while it waits.
class PumpedQueue : public SerialQueue {
 public:
  const std::string& label() const noexcept override { return label_; }

  void post(Task task) override {
    const std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
    posted_.notify_all();
  }

  void runSync(const Task& task) override { task(); }
  bool isCurrent() const noexcept override { return std::this_thread::get_id() == thread_; }

  void postAfter(std::chrono::nanoseconds, Task) override { throw std::logic_error("no timers here"); }
  std::unique_ptr<RepeatingTimer> repeat(TimerSchedule, Task) override { throw std::logic_error("no timers here"); }

  /// Runs tasks until `condition` holds; false if it does not within `limit`. The condition is looked at after each
  /// task, and every millisecond.
  bool runUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit = std::chrono::seconds(5)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      runOne();
    }
    return true;
  }

 private:
  void runOne() {
    std::unique_lock lock(mutex_);
    posted_.wait_for(lock, std::chrono::milliseconds(1), [this] { return !tasks_.empty(); });
    if (tasks_.empty()) return;
    const Task task = std::move(tasks_.front());
    tasks_.pop_front();
    lock.unlock();
    task();
  }

  const std::string label_ = "main";
  const std::thread::id thread_ = std::this_thread::get_id();
  std::mutex mutex_;
  std::condition_variable posted_;
  std::deque<Task> tasks_;
};

}  // namespace tallyrig
