#pragma once

#include <asio/io_context.hpp>
#include <asio/strand.hpp>
#include <memory>
#include <string>

#include "platform/SerialQueue.h"
#include "platform/desktop/WorkerPool.h"

namespace tallyrig {

/// A serial queue as a strand on a pool's threads. It lives until its last task and timer have gone, whoever lets go of
/// it. A delayed task may come late by a tenth of its delay, at most 1 ms, to share a wake-up with its neighbours.
class AsioQueue final : public SerialQueue, public std::enable_shared_from_this<AsioQueue> {
 public:
  AsioQueue(std::string label, std::shared_ptr<WorkerPool> pool);

  const std::string& label() const noexcept override { return label_; }
  void post(Task task) override;
  /// As `post`, but on a thread of the pool the task runs within the call unless another of the queue is running.
  void dispatch(Task task);
  void postAfter(std::chrono::nanoseconds delay, Task task) override;
  void runSync(const Task& task) override;
  bool isCurrent() const noexcept override { return strand_.running_in_this_thread(); }
  [[nodiscard]] std::unique_ptr<RepeatingTimer> repeat(TimerSchedule schedule, Task task) override;

 private:
  /// The task as the strand runs it: not once the pool is stopping.
  auto guarded(Task task);

  const std::string label_;
  const std::shared_ptr<WorkerPool> pool_;
  asio::strand<asio::io_context::executor_type> strand_;
};

}  // namespace tallyrig
