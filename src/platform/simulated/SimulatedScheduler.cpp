#include "platform/simulated/SimulatedScheduler.h"

#include <algorithm>
#include <utility>

#include "platform/simulated/SimulatedQueue.h"

namespace tallyrig {
namespace {

/// For a heap with the earliest claim in front.
constexpr auto kLater = [](const auto& left, const auto& right) {
  return left.due != right.due ? left.due > right.due : left.draw > right.draw;
};

}  // namespace

SimulatedScheduler::SimulatedScheduler(SimulatedClock& clock, std::uint64_t seed) : clock_(clock), random_(seed) {
  queues_.push_back(std::make_unique<SimulatedQueue>(*this, "main"));
  mainQueue_ = queues_.front().get();
}

SimulatedScheduler::~SimulatedScheduler() {
  discardPending();
}

std::shared_ptr<SerialQueue> SimulatedScheduler::makeQueue(std::string label, QueuePriority) {
  auto& queue = queues_.emplace_back(std::make_unique<SimulatedQueue>(*this, std::move(label)));
  return {queue.get(), [this](SimulatedQueue* released) { release(released); }};
}

SerialQueue& SimulatedScheduler::mainQueue() noexcept {
  return *mainQueue_;
}

bool SimulatedScheduler::runNext(std::chrono::nanoseconds limit) {
  while (!claims_.empty()) {
    const Claim claim = claims_.front();
    if (claim.due > limit.count()) return false;
    std::pop_heap(claims_.begin(), claims_.end(), kLater);
    claims_.pop_back();
    if (claim.queue == nullptr || claim.queue->ticket_ != claim.ticket) continue;
    if (claim.due > clock_.nanos().count()) clock_.set(std::chrono::nanoseconds{claim.due});
    runFirst(*claim.queue);
    destroyIfUnused(*claim.queue);
    return true;
  }
  return false;
}

void SimulatedScheduler::discardPending() {
  for (bool found = true; found;) {
    found = false;
    for (std::size_t i = 0; i < queues_.size(); ++i) {
      auto events = std::exchange(queues_[i]->events_, {});
      queues_[i]->ticket_ = 0;
      found = found || !events.empty();
    }
  }
  claims_.clear();
  std::erase_if(queues_, [](const auto& queue) { return !queue->isHeld_; });
}

/// Draws the queue's place among those that are due at the same instant as its first event.
void SimulatedScheduler::enter(SimulatedQueue& queue) {
  queue.ticket_ = nextTicket_++;
  claims_.push_back({queue.firstDue(), random_(), queue.ticket_, &queue});
  std::push_heap(claims_.begin(), claims_.end(), kLater);
}

void SimulatedScheduler::runFirst(SimulatedQueue& queue) {
  SimulatedQueue::Event event = queue.takeFirst();
  queue.ticket_ = 0;
  if (!queue.events_.empty()) enter(queue);
  running_.push_back(&queue);
  if (event.task) {
    ++eventsRun_;
    event.task();
    event.task = nullptr;
  } else {
    queue.runTimer(std::move(event.timer));
  }
  running_.pop_back();
}

void SimulatedScheduler::release(SimulatedQueue* queue) {
  queue->isHeld_ = false;
  destroyIfUnused(*queue);
}

/// A queue that nobody holds any more still runs what it has, as its tasks hold it.
void SimulatedScheduler::destroyIfUnused(SimulatedQueue& queue) {
  if (queue.isHeld_ || !queue.events_.empty() || queue.isRunning()) return;
  for (Claim& claim : claims_) {
    if (claim.queue == &queue) claim.queue = nullptr;
  }
  std::erase_if(queues_, [&](const auto& owned) { return owned.get() == &queue; });
}

}  // namespace tallyrig
