#pragma once

#include <memory>
#include <utility>

namespace tallyrig {

/// A member of an object that hands out callbacks: what `guard` wraps does nothing once the object is gone. The
/// wrapped callback must run on the thread that destroys the object.
class Lifetime {
 public:
  template <typename Callback>
  auto guard(Callback callback) const {
    return [weak = std::weak_ptr<const char>(token_), callback = std::move(callback)](auto&&... arguments) {
      if (!weak.expired()) callback(std::forward<decltype(arguments)>(arguments)...);
    };
  }

 private:
  std::shared_ptr<const char> token_ = std::make_shared<const char>('\0');
};

}  // namespace tallyrig
