#pragma once

#include <cstdint>
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
  AsioScheduler();
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
