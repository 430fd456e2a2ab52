#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/SerialQueue.h"
#include "platform/simulated/SimulatedScheduler.h"

namespace tallyrig {

/// A queue of a `SimulatedScheduler`, which owns it.
class SimulatedQueue : public SerialQueue {
 public:
  SimulatedQueue(SimulatedScheduler& scheduler, std::string label);

  const std::string& label() const noexcept override { return label_; }
  void post(Task task) override;
  void postAfter(std::chrono::nanoseconds delay, Task task) override;
  void runSync(const Task& task) override;
  bool isCurrent() const noexcept override;
  [[nodiscard]] std::unique_ptr<RepeatingTimer> repeat(TimerSchedule schedule, Task task) override;

 private:
  friend class SimulatedScheduler;
  class Timer;
  struct TimerState;

  struct Event {
    std::int64_t due;
    std::uint64_t number;
    Task task;
    std::shared_ptr<TimerState> timer;
  };

  std::int64_t now() const noexcept;
  void add(std::int64_t due, Task task, std::shared_ptr<TimerState> timer);
  void addTimer(std::shared_ptr<TimerState> timer);
  void runTimer(std::shared_ptr<TimerState> timer);
  Event takeFirst();
  bool isRunning() const noexcept;
  std::int64_t firstDue() const noexcept { return events_.front().due; }

  SimulatedScheduler& scheduler_;
  const std::string label_;
  /// A heap, the first event in front.
  std::vector<Event> events_;
  /// Of the scheduler's claim that stands for the first event; 0 for none.
  std::uint64_t ticket_ = 0;
  bool isHeld_ = true;
};

}  // namespace tallyrig
