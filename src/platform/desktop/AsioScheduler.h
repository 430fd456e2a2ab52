#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/SerialQueue.h"
#include "platform/desktop/QtMainQueue.h"

namespace tallyrig {

class WorkerPool;

/// Queues on two worker threads per priority, and the main thread's queue. Timers that fall within each other's leeway
/// fire in one wake-up; an event that comes late stands for all that it missed.
/// Made and destroyed on the main thread. Destruction waits for the tasks that run and drops those that do not.
class AsioScheduler final : public Scheduler {
 public:
  /// Asks another program for the nice value of a thread of ours. It may wait, on a thread that nothing else needs
  /// meanwhile, but not for long: destruction waits for it. One thread is asked for at a time.
  using NiceRequest = std::function<void(pid_t thread, int niceValue)>;

  /// `ask` is for user-interactive threads that the system itself refuses their nice value.
  explicit AsioScheduler(NiceRequest ask = {});
  ~AsioScheduler() override;
  AsioScheduler(const AsioScheduler&) = delete;
  AsioScheduler& operator=(const AsioScheduler&) = delete;

  [[nodiscard]] std::shared_ptr<SerialQueue> makeQueue(std::string label, QueuePriority priority) override;
  SerialQueue& mainQueue() noexcept override { return mainQueue_; }

  /// How often a worker thread has been woken for timers. Any thread.
  std::uint64_t timerWakeUps() const noexcept;

 private:
  QtMainQueue mainQueue_;
  std::shared_ptr<WorkerPool> userInitiated_;
  std::shared_ptr<WorkerPool> userInteractive_;
};

}  // namespace tallyrig
