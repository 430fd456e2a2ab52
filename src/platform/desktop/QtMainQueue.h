#pragma once

#include <QObject>
#include <memory>
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
  const std::string label_ = "Tallyrig.Main";
  const std::thread::id thread_ = std::this_thread::get_id();
  QObject context_;
};

}  // namespace tallyrig
