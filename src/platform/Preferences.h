#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tallyrig {

/// The user's small settings, a store of keys and values. Main thread.
class Preferences {
 public:
  virtual ~Preferences() = default;

  /// Absent if the key is, or if its value is not text.
  virtual std::optional<std::string> string(std::string_view key) const = 0;
  virtual void setString(std::string_view key, std::string_view value) = 0;
};

}  // namespace tallyrig
