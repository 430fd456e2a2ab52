#pragma once

#include <sys/types.h>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/desktop/TimerTable.h"

namespace tallyrig {

/// The worker threads that the queues of one priority share, and those queues' timers. Any thread.
class WorkerPool {
 public:
  /// Told of each thread that the system has refused the nice value, on that thread before its first task, without
  /// locks. Must not wait.
  using RefusalHandler = std::function<void(pid_t thread)>;

  /// Threads are called `threadName` and a number. A nice value that the system refuses is gone without.
  WorkerPool(std::string threadName, int niceValue, RefusalHandler refused = {});
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  asio::io_context& context() noexcept { return context_; }

  void addTimer(std::shared_ptr<TimedEvent> event);
  void removeTimer(const TimedEvent& event);

  /// How often a thread has been woken for timers.
  std::uint64_t timerWakeUps() const noexcept { return timerWakeUps_; }

  /// Lets the running tasks end, drops all others on the queues they were posted to, and joins the threads.
  /// Not from a thread of the pool.
  void stop();
  bool isStopping() const noexcept { return stopping_; }

  /// Surrounds a wait of a task for another queue, or for a file. While tasks wait, further threads take their place,
  /// so that waiting tasks can never occupy the whole pool. Without effect on a thread outside the pool.
  class WaitingTask {
   public:
    WaitingTask();
    ~WaitingTask();
    WaitingTask(const WaitingTask&) = delete;
    WaitingTask& operator=(const WaitingTask&) = delete;

   private:
    WorkerPool* pool_;
  };

 private:
  /// Two, so that one long task does not hold up every timer.
  static constexpr std::size_t kThreads = 2;
  static thread_local WorkerPool* current_;

  void startThread();
  void runThread(std::size_t number);
  void setAlarm();
  void fireTimers();

  const std::string threadName_;
  const int niceValue_;
  const RefusalHandler refused_;
  std::atomic<bool> stopping_{false};
  std::atomic<std::uint64_t> timerWakeUps_{0};

  asio::io_context context_;
  asio::executor_work_guard<asio::io_context::executor_type> work_;

  std::mutex timerMutex_;
  TimerTable timers_;
  /// Taken out of the table and not begun.
  std::deque<std::shared_ptr<TimedEvent>> due_;
  /// Absent once the pool is stopping.
  std::optional<asio::steady_timer> alarm_;
  std::optional<TimerTable::Instant> alarmTime_;

  std::mutex threadMutex_;
  std::vector<std::thread> threads_;
  std::size_t threadCount_ = 0;
  std::size_t waitingCount_ = 0;
};

}  // namespace tallyrig
