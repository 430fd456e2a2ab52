#pragma once

#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/SerialQueue.h"

namespace tallyrig {

/// A queue whose timers fire and whose tasks run when the test says so, on the test's own thread.
class ManualQueue : public SerialQueue {
 public:
  explicit ManualQueue(std::string label) : label_(std::move(label)) {}

  const std::string& label() const noexcept override { return label_; }
  void post(Task task) override { tasks.push_back(std::move(task)); }
  void postAfter(std::chrono::nanoseconds, Task task) override { tasks.push_back(std::move(task)); }
  void runSync(const Task& task) override { task(); }
  bool isCurrent() const noexcept override { return false; }
  std::unique_ptr<RepeatingTimer> repeat(TimerSchedule schedule, Task task) override {
    auto timer = std::make_unique<ManualTimer>(timers_);
    timers_->push_back({timer.get(), schedule, std::move(task)});
    return timer;
  }

  void fireTimers() {
    for (const auto& entry : std::vector(*timers_)) entry.task();
  }
  void runTasks() {
    while (!tasks.empty()) std::exchange(tasks.front(), nullptr)(), tasks.pop_front();
  }
  std::vector<TimerSchedule> schedules() const {
    std::vector<TimerSchedule> all;
    for (const auto& entry : *timers_) all.push_back(entry.schedule);
    return all;
  }

  /// Waiting tasks in order. A test may reorder them.
  std::deque<Task> tasks;

 private:
  struct Entry {
    const RepeatingTimer* timer;
    TimerSchedule schedule;
    Task task;
  };
  using Entries = std::shared_ptr<std::vector<Entry>>;

  class ManualTimer : public RepeatingTimer {
   public:
    explicit ManualTimer(Entries entries) : entries_(std::move(entries)) {}
    ~ManualTimer() override {
      std::erase_if(*entries_, [this](const Entry& entry) { return entry.timer == this; });
    }

   private:
    Entries entries_;
  };

  std::string label_;
  Entries timers_ = std::make_shared<std::vector<Entry>>();
};

/// Hands out `ManualQueue`s and remembers them.
class ManualScheduler : public Scheduler {
 public:
  std::shared_ptr<SerialQueue> makeQueue(std::string label, QueuePriority priority) override {
    queues.push_back(std::make_shared<ManualQueue>(std::move(label)));
    priorities.push_back(priority);
    return queues.back();
  }
  SerialQueue& mainQueue() noexcept override { return main; }

  ManualQueue main{"main"};
  std::vector<std::shared_ptr<ManualQueue>> queues;
  std::vector<QueuePriority> priorities;
};

}  // namespace tallyrig
