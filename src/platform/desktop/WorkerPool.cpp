#include "platform/desktop/WorkerPool.h"

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace tallyrig {

thread_local WorkerPool* WorkerPool::current_ = nullptr;

WorkerPool::WorkerPool(std::string threadName, int niceValue, RefusalHandler refused)
    : threadName_(std::move(threadName)),
      niceValue_(niceValue),
      refused_(std::move(refused)),
      work_(context_.get_executor()),
      alarm_(std::in_place, context_) {
  const std::lock_guard lock(threadMutex_);
  for (std::size_t i = 0; i < kThreads; ++i) startThread();
}

WorkerPool::~WorkerPool() {
  stop();
}

void WorkerPool::startThread() {
  threads_.emplace_back([this, number = ++threadCount_] { runThread(number); });
}

void WorkerPool::runThread(std::size_t number) {
  pthread_setname_np(pthread_self(), (threadName_ + "-" + std::to_string(number)).c_str());
  const pid_t thread = gettid();
  if (niceValue_ != 0 && setpriority(PRIO_PROCESS, static_cast<id_t>(thread), niceValue_) != 0 && refused_)
    refused_(thread);
  current_ = this;
  context_.run();
}

void WorkerPool::addTimer(std::shared_ptr<TimedEvent> event) {
  const std::lock_guard lock(timerMutex_);
  if (stopping_) return;
  timers_.add(std::move(event));
  setAlarm();
}

void WorkerPool::removeTimer(const TimedEvent& event) {
  const std::lock_guard lock(timerMutex_);
  timers_.remove(event);
}

/// Needs the lock. An alarm that comes too early, since its timer has been removed, is harmless and set anew.
void WorkerPool::setAlarm() {
  const auto earliest = timers_.earliest();
  if (!earliest || (alarmTime_ && *alarmTime_ <= *earliest)) return;
  alarmTime_ = earliest;
  alarm_->expires_at(*earliest);
  alarm_->async_wait([this](const asio::error_code& error) {
    if (!error) fireTimers();
  });
}

/// The tasks of repeating timers run within, one after the other: to have each picked up by whichever thread is free
/// cost more than the tasks. If one of them takes long, the thread that answers the next alarm goes on with the rest.
void WorkerPool::fireTimers() {
  std::unique_lock lock(timerMutex_);
  if (stopping_) return;
  ++timerWakeUps_;
  alarmTime_.reset();
  std::ranges::move(timers_.takeDue(std::chrono::steady_clock::now()), std::back_inserter(due_));
  setAlarm();
  while (!due_.empty()) {
    auto event = std::move(due_.front());
    due_.pop_front();
    lock.unlock();
    event->due();
    event.reset();
    lock.lock();
  }
}

void WorkerPool::stop() {
  std::vector<std::shared_ptr<TimedEvent>> dropped;
  {
    const std::lock_guard lock(timerMutex_);
    stopping_ = true;
    dropped = timers_.takeAll();
    std::ranges::move(std::exchange(due_, {}), std::back_inserter(dropped));
    alarm_.reset();
  }
  dropped.clear();
  work_.reset();
  while (true) {
    std::vector<std::thread> leaving;
    {
      const std::lock_guard lock(threadMutex_);
      leaving.swap(threads_);
    }
    if (leaving.empty()) return;
    for (std::thread& thread : leaving) thread.join();
  }
}

WorkerPool::WaitingTask::WaitingTask() : pool_(current_) {
  if (pool_ == nullptr) return;
  const std::lock_guard lock(pool_->threadMutex_);
  ++pool_->waitingCount_;
  if (pool_->threadCount_ < kThreads + pool_->waitingCount_) pool_->startThread();
}

WorkerPool::WaitingTask::~WaitingTask() {
  if (pool_ == nullptr) return;
  const std::lock_guard lock(pool_->threadMutex_);
  --pool_->waitingCount_;
}

}  // namespace tallyrig
