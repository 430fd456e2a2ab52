#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/SerialQueue.h"
#include "platform/Subscription.h"

namespace tallyrig {

/// What the loop thread hands to the main thread: the newest state, and one notice for any number of changes.
template <typename State>
class PublishedState : public std::enable_shared_from_this<PublishedState<State>> {
 public:
  explicit PublishedState(SerialQueue& mainQueue) : mainQueue_(mainQueue) {}

  /// Any thread.
  void set(const State& state) {
    {
      const std::lock_guard lock(mutex_);
      state_ = state;
      if (!announcing_ || std::exchange(noticePosted_, true)) return;
    }
    mainQueue_.post([weak = this->weak_from_this()] {
      if (const auto self = weak.lock()) self->notify();
    });
  }

  /// Any thread.
  State state() const {
    const std::lock_guard lock(mutex_);
    return state_;
  }

  /// The first state is no change. Main thread.
  void beginAnnouncing() {
    const std::lock_guard lock(mutex_);
    announcing_ = true;
  }

  /// Handlers run on the main queue, in the order in which they came. Main thread.
  Subscription observe(std::function<void()> handler) {
    const int key = nextObserver_++;
    observers_[key] = std::make_shared<std::function<void()>>(std::move(handler));
    return Subscription([weak = this->weak_from_this(), key] {
      if (const auto self = weak.lock()) self->observers_.erase(key);
    });
  }

 private:
  void notify() {
    {
      const std::lock_guard lock(mutex_);
      noticePosted_ = false;
    }
    // A handler may add and remove observers, itself included.
    const auto observers = observers_;
    for (const auto& [key, handler] : observers) {
      if (observers_.contains(key)) (*handler)();
    }
  }

  SerialQueue& mainQueue_;
  mutable std::mutex mutex_;
  State state_;
  bool announcing_ = false;
  bool noticePosted_ = false;
  std::map<int, std::shared_ptr<std::function<void()>>> observers_;
  int nextObserver_ = 0;
};

}  // namespace tallyrig
