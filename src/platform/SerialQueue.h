#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace tallyrig {

using Task = std::function<void()>;

/// A repeating timer. Destroying it cancels it: destroyed on its own queue no further event runs; destroyed elsewhere
/// an event that has already begun may still finish. Events therefore hold their owners weakly.
class RepeatingTimer {
 public:
  virtual ~RepeatingTimer() = default;
};

/// When a repeating timer fires.
struct TimerSchedule {
  std::chrono::nanoseconds interval;
  /// How late an event may come, so that neighbouring timers share one wake-up. The schedule itself does not drift.
  std::chrono::nanoseconds leeway{0};
  /// Delay of the first event.
  std::chrono::nanoseconds first{0};
};

/// A serial queue: tasks run one at a time, in the order they were posted. Any thread may call it unless a member
/// says otherwise; nothing here is real-time safe. A task that throws ends the program: tasks catch what they call.
class SerialQueue {
 public:
  virtual ~SerialQueue() = default;

  virtual const std::string& label() const noexcept = 0;
  virtual void post(Task task) = 0;
  virtual void postAfter(std::chrono::nanoseconds delay, Task task) = 0;

  /// Runs `task` on the queue and returns when it has ended; at once if the caller stands on the queue already.
  /// The main queue is never waited for: on it this may be called from the main thread only.
  virtual void runSync(const Task& task) = 0;

  virtual bool isCurrent() const noexcept = 0;
  [[nodiscard]] virtual std::unique_ptr<RepeatingTimer> repeat(TimerSchedule schedule, Task task) = 0;
};

/// How soon a queue's tasks must run when the machine is busy.
enum class QueuePriority { kUserInitiated, kUserInteractive };

/// Makes serial queues, and holds the queue of the main thread. A queue must not outlive its scheduler.
class Scheduler {
 public:
  virtual ~Scheduler() = default;

  [[nodiscard]] virtual std::shared_ptr<SerialQueue> makeQueue(std::string label, QueuePriority priority) = 0;
  virtual SerialQueue& mainQueue() noexcept = 0;
};

}  // namespace tallyrig
