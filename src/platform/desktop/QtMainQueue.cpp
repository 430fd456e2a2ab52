#include "platform/desktop/QtMainQueue.h"

#include <QCoreApplication>
#include <QEvent>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <exception>
#include <utility>

#include "platform/desktop/RunTask.h"
#include "platform/desktop/TimerPlan.h"

namespace tallyrig {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;

class MainTimer;

/// What a timer on the event loop shares with its handle.
struct MainTimerState {
  Task task;
  std::atomic<bool> cancelled{false};
  /// Main thread only; null before the timer is made and after it has gone.
  MainTimer* timer = nullptr;
};

/// One timer on the event loop, a child of the queue's context. Main thread.
class MainTimer final : public QTimer {
 public:
  MainTimer(QObject* context, const std::string& label, TimerPlan plan, bool repeats,
            std::shared_ptr<MainTimerState> state)
      : QTimer(context), label_(label), plan_(plan), repeats_(repeats), state_(std::move(state)) {
    state_->timer = this;
    setSingleShot(true);
    setTimerType(Qt::PreciseTimer);
    callOnTimeout([this] { onTimeout(); });
    arm();
  }
  ~MainTimer() override { state_->timer = nullptr; }

 private:
  void arm() {
    // An expiry further away than Qt counts comes in steps.
    constexpr milliseconds kLongest = std::chrono::hours{24};
    const auto ahead = std::chrono::ceil<milliseconds>(plan_.expiry() - steady_clock::now());
    start(std::clamp(ahead, milliseconds{0}, kLongest));
  }

  void onTimeout() {
    if (state_->cancelled) return deleteLater();
    const auto now = steady_clock::now();
    if (now < plan_.expiry()) return arm();
    // The task may end the queue and with it this timer.
    const auto state = state_;
    const std::string label = label_;
    if (repeats_) {
      plan_.advance(now);
      arm();
    } else {
      deleteLater();
    }
    runTask(label, state->task);
  }

  const std::string label_;
  TimerPlan plan_;
  const bool repeats_;
  const std::shared_ptr<MainTimerState> state_;
};

/// Off the main thread a cancelled timer stays until its next expiry, and goes then without an event.
class MainTimerHandle final : public RepeatingTimer {
 public:
  MainTimerHandle(std::shared_ptr<MainTimerState> state, std::thread::id mainThread)
      : state_(std::move(state)), mainThread_(mainThread) {}
  ~MainTimerHandle() override {
    state_->cancelled = true;
    if (std::this_thread::get_id() != mainThread_ || state_->timer == nullptr) return;
    state_->timer->stop();
    state_->timer->deleteLater();
  }

 private:
  const std::shared_ptr<MainTimerState> state_;
  const std::thread::id mainThread_;
};

}  // namespace

QtMainQueue::QtMainQueue() = default;
QtMainQueue::~QtMainQueue() = default;

void QtMainQueue::post(Task task) {
  auto event = std::make_unique<QEvent>(QEvent::User);
  {
    const std::scoped_lock lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  QCoreApplication::postEvent(&context_, event.release());
}

void QtMainQueue::runNext() {
  std::unique_lock lock(mutex_);
  const Task task = std::move(tasks_.front());
  tasks_.pop_front();
  lock.unlock();
  runTask(label_, task);
}

void QtMainQueue::Context::customEvent(QEvent*) {
  queue_.runNext();
}

void QtMainQueue::postAfter(nanoseconds delay, Task task) {
  const TimerPlan plan({.interval = delay, .first = delay}, steady_clock::now());
  auto state = std::make_shared<MainTimerState>();
  state->task = std::move(task);
  auto make = [this, plan, state = std::move(state)] { new MainTimer(&context_, label_, plan, false, state); };
  isCurrent() ? make() : post(std::move(make));
}

void QtMainQueue::runSync(const Task& task) {
  if (isCurrent()) return runTask(label_, task);
  std::fprintf(stderr, "SerialQueue: %s was waited for from another thread\n", label_.c_str());
  std::terminate();
}

std::unique_ptr<RepeatingTimer> QtMainQueue::repeat(TimerSchedule schedule, Task task) {
  const TimerPlan plan(schedule, steady_clock::now());
  auto state = std::make_shared<MainTimerState>();
  state->task = std::move(task);
  auto handle = std::make_unique<MainTimerHandle>(state, thread_);
  auto make = [this, plan, state = std::move(state)] {
    if (!state->cancelled) new MainTimer(&context_, label_, plan, true, state);
  };
  isCurrent() ? make() : post(std::move(make));
  return handle;
}

}  // namespace tallyrig
