#include "platform/desktop/AsioScheduler.h"

#include <utility>

#include "platform/desktop/AsioQueue.h"
#include "platform/desktop/WorkerPool.h"

namespace tallyrig {
namespace {

/// What a desktop's own sound and display services ask for.
constexpr int kInteractiveNice = -10;

/// Asks on `pool`, since the thread that was refused serves time and must not wait for an answer.
WorkerPool::RefusalHandler askingOn(std::shared_ptr<WorkerPool> pool, AsioScheduler::NiceRequest ask) {
  if (!ask) return {};
  return
      [queue = std::make_shared<AsioQueue>("Tallyrig.Priority", std::move(pool)), ask = std::move(ask)](pid_t thread) {
        queue->post([ask, thread] {
          const WorkerPool::WaitingTask waiting;
          ask(thread, kInteractiveNice);
        });
      };
}

}  // namespace

AsioScheduler::AsioScheduler(NiceRequest ask)
    : userInitiated_(std::make_shared<WorkerPool>("initiated", 0)),
      userInteractive_(
          std::make_shared<WorkerPool>("interactive", kInteractiveNice, askingOn(userInitiated_, std::move(ask)))) {}

AsioScheduler::~AsioScheduler() {
  userInitiated_->stop();
  userInteractive_->stop();
}

std::shared_ptr<SerialQueue> AsioScheduler::makeQueue(std::string label, QueuePriority priority) {
  return std::make_shared<AsioQueue>(std::move(label),
                                     priority == QueuePriority::kUserInteractive ? userInteractive_ : userInitiated_);
}

std::uint64_t AsioScheduler::timerWakeUps() const noexcept {
  return userInitiated_->timerWakeUps() + userInteractive_->timerWakeUps();
}

}  // namespace tallyrig
