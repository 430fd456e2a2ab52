#include "platform/simulated/SimulatedQueue.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace tallyrig {
namespace {

/// For a heap with the earliest event in front, and the first posted among those of one instant.
constexpr auto kLater = [](const auto& left, const auto& right) {
  return left.due != right.due ? left.due > right.due : left.number > right.number;
};

}  // namespace

struct SimulatedQueue::TimerState {
  std::int64_t interval;
  std::int64_t leeway;
  std::int64_t deadline;
  Task task;
  bool isRunning = false;
  bool isCancelled = false;

  void cancel() {
    isCancelled = true;
    if (!isRunning) task = nullptr;
  }
};

class SimulatedQueue::Timer : public RepeatingTimer {
 public:
  explicit Timer(std::shared_ptr<TimerState> state) : state_(std::move(state)) {}
  ~Timer() override { state_->cancel(); }

 private:
  std::shared_ptr<TimerState> state_;
};

SimulatedQueue::SimulatedQueue(SimulatedScheduler& scheduler, std::string label)
    : scheduler_(scheduler), label_(std::move(label)) {}

void SimulatedQueue::post(Task task) {
  add(now(), std::move(task), nullptr);
}

void SimulatedQueue::postAfter(std::chrono::nanoseconds delay, Task task) {
  add(now() + std::max<std::int64_t>(delay.count(), 0), std::move(task), nullptr);
}

void SimulatedQueue::runSync(const Task& task) {
  if (isCurrent()) {
    task();
    return;
  }
  if (this == scheduler_.mainQueue_ || isRunning()) {
    std::fprintf(stderr, "SimulatedQueue: runSync on \"%s\" would wait for its own caller\n", label_.c_str());
    std::abort();
  }
  const std::uint64_t own = scheduler_.nextEvent_++;
  while (!events_.empty() && firstDue() <= now() && events_.front().number < own) scheduler_.runFirst(*this);
  scheduler_.running_.push_back(this);
  task();
  scheduler_.running_.pop_back();
}

bool SimulatedQueue::isCurrent() const noexcept {
  const auto& running = scheduler_.running_;
  return running.empty() ? this == scheduler_.mainQueue_ : running.back() == this;
}

std::unique_ptr<RepeatingTimer> SimulatedQueue::repeat(TimerSchedule schedule, Task task) {
  if (schedule.interval.count() <= 0) {
    std::fprintf(stderr, "SimulatedQueue: a timer on \"%s\" has no interval\n", label_.c_str());
    std::abort();
  }
  auto state = std::make_shared<TimerState>(
      TimerState{schedule.interval.count(), std::max<std::int64_t>(schedule.leeway.count(), 0),
                 now() + std::max<std::int64_t>(schedule.first.count(), 0), std::move(task)});
  addTimer(state);
  return std::make_unique<Timer>(std::move(state));
}

std::int64_t SimulatedQueue::now() const noexcept {
  return scheduler_.clock_.nanos().count();
}

void SimulatedQueue::add(std::int64_t due, Task task, std::shared_ptr<TimerState> timer) {
  const bool isFirst = events_.empty() || due < firstDue();
  events_.push_back({due, scheduler_.nextEvent_++, std::move(task), std::move(timer)});
  std::push_heap(events_.begin(), events_.end(), kLater);
  if (isFirst) scheduler_.enter(*this);
}

void SimulatedQueue::addTimer(std::shared_ptr<TimerState> timer) {
  std::int64_t due = timer->deadline;
  if (timer->leeway > 0) {
    due += static_cast<std::int64_t>(scheduler_.random_() % (static_cast<std::uint64_t>(timer->leeway) + 1));
  }
  add(std::max(due, now()), nullptr, std::move(timer));
}

void SimulatedQueue::runTimer(std::shared_ptr<TimerState> timer) {
  if (timer->isCancelled) return;
  ++scheduler_.eventsRun_;
  timer->isRunning = true;
  timer->task();
  timer->isRunning = false;
  if (timer->isCancelled) {
    timer->task = nullptr;
    return;
  }
  timer->deadline += timer->interval;
  addTimer(std::move(timer));
}

SimulatedQueue::Event SimulatedQueue::takeFirst() {
  std::pop_heap(events_.begin(), events_.end(), kLater);
  Event event = std::move(events_.back());
  events_.pop_back();
  return event;
}

bool SimulatedQueue::isRunning() const noexcept {
  const auto& running = scheduler_.running_;
  return std::find(running.begin(), running.end(), this) != running.end();
}

}  // namespace tallyrig
