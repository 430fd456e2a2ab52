#include "platform/desktop/AsioScheduler.h"

#include <utility>

#include "platform/desktop/AsioQueue.h"
#include "platform/desktop/WorkerPool.h"

namespace tallyrig {
namespace {

/// What a desktop's own sound and display services ask for.
constexpr int kInteractiveNice = -10;

}  // namespace

AsioScheduler::AsioScheduler()
    : userInitiated_(std::make_shared<WorkerPool>("initiated", 0)),
      userInteractive_(std::make_shared<WorkerPool>("interactive", kInteractiveNice)) {}

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
