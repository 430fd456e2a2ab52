#pragma once

#include <QObject>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/SerialQueue.h"

namespace tallyrig {

/// The main thread's queue: its tasks are events of the thread's Qt event loop, in step with Qt's own.
/// Made and destroyed on the main thread. Destruction drops the tasks that have not run.
class QtMainQueue final : public SerialQueue {
 public:
  QtMainQueue();
  ~QtMainQueue() override;
  QtMainQueue(const QtMainQueue&) = delete;
  QtMainQueue& operator=(const QtMainQueue&) = delete;

  const std::string& label() const noexcept override { return label_; }
  void post(Task task) override;
  void postAfter(std::chrono::nanoseconds delay, Task task) override;
  /// From the main thread only; ends the program elsewhere.
  void runSync(const Task& task) override;
  bool isCurrent() const noexcept override { return std::this_thread::get_id() == thread_; }
  /// Events come on whole milliseconds of Qt's timers, never early.
  [[nodiscard]] std::unique_ptr<RepeatingTimer> repeat(TimerSchedule schedule, Task task) override;

 private:
  /// Gets one event for each task, and owns the timers.
  class Context final : public QObject {
   public:
    explicit Context(QtMainQueue& queue) : queue_(queue) {}

   protected:
    void customEvent(QEvent* event) override;

   private:
    QtMainQueue& queue_;
  };

  void runNext();

  const std::string label_ = "Tallyrig.Main";
  const std::thread::id thread_ = std::this_thread::get_id();
  std::mutex mutex_;
  /// Under `mutex_`. Kept here and not in the events, so that a checker that does not know Qt's locks can follow them.
  std::deque<Task> tasks_;
  Context context_{*this};
};

}  // namespace tallyrig
