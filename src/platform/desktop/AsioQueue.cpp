#include "platform/desktop/AsioQueue.h"

#include <algorithm>
#include <asio/post.hpp>
#include <atomic>
#include <future>
#include <utility>

#include "platform/desktop/RunTask.h"

namespace tallyrig {
namespace {

using std::chrono::nanoseconds;

/// What a repeating timer shares with its events.
struct RepeatingState {
  std::shared_ptr<AsioQueue> queue;
  Task task;
  std::atomic<bool> cancelled{false};
  /// An event stands in the queue and has not begun; others merge into it.
  std::atomic<bool> pending{false};
};

void beginEvent(const std::shared_ptr<RepeatingState>& state) {
  if (state->cancelled || state->pending.exchange(true)) return;
  state->queue->dispatch([state] {
    state->pending = false;
    if (!state->cancelled) state->task();
    // What the task holds goes here, in the queue, and not with whichever thread lets go of the timer last.
    if (state->cancelled) state->task = nullptr;
  });
}

class AsioTimer final : public RepeatingTimer {
 public:
  AsioTimer(std::shared_ptr<WorkerPool> pool, std::shared_ptr<TimedEvent> event, std::shared_ptr<RepeatingState> state)
      : pool_(std::move(pool)), event_(std::move(event)), state_(std::move(state)) {}
  ~AsioTimer() override {
    state_->cancelled = true;
    pool_->removeTimer(*event_);
  }

 private:
  std::shared_ptr<WorkerPool> pool_;
  std::shared_ptr<TimedEvent> event_;
  std::shared_ptr<RepeatingState> state_;
};

}  // namespace

AsioQueue::AsioQueue(std::string label, std::shared_ptr<WorkerPool> pool)
    : label_(std::move(label)), pool_(std::move(pool)), strand_(pool_->context().get_executor()) {}

auto AsioQueue::guarded(Task task) {
  return [self = shared_from_this(), task = std::move(task)] {
    if (!self->pool_->isStopping()) runTask(self->label_, task);
  };
}

void AsioQueue::post(Task task) {
  if (!pool_->isStopping()) asio::post(strand_, guarded(std::move(task)));
}

void AsioQueue::dispatch(Task task) {
  if (!pool_->isStopping()) asio::dispatch(strand_, guarded(std::move(task)));
}

void AsioQueue::postAfter(nanoseconds delay, Task task) {
  if (delay <= nanoseconds{0}) return post(std::move(task));
  const nanoseconds leeway = std::min<nanoseconds>(delay / 10, std::chrono::milliseconds{1});
  const TimerPlan plan({.interval = delay, .leeway = leeway, .first = delay}, std::chrono::steady_clock::now());
  pool_->addTimer(std::make_shared<TimedEvent>(TimedEvent{
      .plan = plan,
      .due = [self = shared_from_this(), task = std::move(task)]() mutable { self->post(std::move(task)); }}));
}

void AsioQueue::runSync(const Task& task) {
  if (isCurrent()) return runTask(label_, task);
  const WorkerPool::WaitingTask waiting;
  // A task that is dropped lets go of the promise, which ends the wait too.
  auto promise = std::make_shared<std::promise<void>>();
  const std::future<void> ended = promise->get_future();
  post([&task, promise = std::move(promise)] {
    task();
    promise->set_value();
  });
  ended.wait();
}

std::unique_ptr<RepeatingTimer> AsioQueue::repeat(TimerSchedule schedule, Task task) {
  auto state = std::make_shared<RepeatingState>();
  state->queue = shared_from_this();
  state->task = std::move(task);
  auto event = std::make_shared<TimedEvent>(TimedEvent{.plan = TimerPlan(schedule, std::chrono::steady_clock::now()),
                                                       .repeats = true,
                                                       .due = [state] { beginEvent(state); }});
  pool_->addTimer(event);
  return std::make_unique<AsioTimer>(pool_, std::move(event), std::move(state));
}

}  // namespace tallyrig
