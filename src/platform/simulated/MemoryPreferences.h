#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Preferences.h"

namespace tallyrig {

/// Preferences that last as long as the object. The world's thread.
class MemoryPreferences : public Preferences {
 public:
  std::optional<std::string> string(std::string_view key) const override {
    const auto found = values_.find(key);
    return found == values_.end() ? std::nullopt : found->second;
  }
  void setString(std::string_view key, std::string_view value) override {
    values_.insert_or_assign(std::string(key), std::string(value));
    ++writeCount_;
  }

  /// Puts a value that is not text under a key, as another program might.
  void setOtherType(std::string_view key) { values_.insert_or_assign(std::string(key), std::nullopt); }
  /// Calls of `setString` so far.
  int writeCount() const { return writeCount_; }

 private:
  std::map<std::string, std::optional<std::string>, std::less<>> values_;
  int writeCount_ = 0;
};

}  // namespace tallyrig
