#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

#include "platform/SerialQueue.h"
#include "platform/Subscription.h"

namespace tallyrig {

/// Handlers that are told of a change on the main queue. One that is cancelled hears no more, not even of a change
/// that is on its way; one that is added hears of later changes only. Main thread; subscriptions may outlive it.
class DeviceListObservers {
 public:
  explicit DeviceListObservers(SerialQueue& mainQueue) : mainQueue_(mainQueue) {}

  Subscription add(std::function<void()> handler) {
    const std::uint64_t number = handlers_->next++;
    handlers_->byNumber.emplace(number, std::make_shared<std::function<void()>>(std::move(handler)));
    return Subscription([weak = std::weak_ptr(handlers_), number] {
      if (const auto handlers = weak.lock()) handlers->byNumber.erase(number);
    });
  }

  void notify() {
    mainQueue_.post([weak = std::weak_ptr(handlers_), end = handlers_->next] {
      const auto handlers = weak.lock();
      if (!handlers) return;
      for (const auto& [number, handler] : std::map(handlers->byNumber)) {
        if (number < end && handlers->byNumber.contains(number)) (*handler)();
      }
    });
  }

 private:
  struct Handlers {
    std::map<std::uint64_t, std::shared_ptr<std::function<void()>>> byNumber;
    std::uint64_t next = 0;
  };

  SerialQueue& mainQueue_;
  std::shared_ptr<Handlers> handlers_ = std::make_shared<Handlers>();
};

}  // namespace tallyrig
