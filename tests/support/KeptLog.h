#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Log.h"
#include "platform/desktop/SystemClocks.h"

namespace tallyrig {

/// A log on the real clock that keeps its lines. Any thread.
class KeptLog {
 public:
  Log& log() { return log_; }

  std::vector<std::string> lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
  }
  /// Lines that hold `text`.
  int count(std::string_view text) const {
    const std::lock_guard lock(mutex_);
    return static_cast<int>(
        std::ranges::count_if(lines_, [&](const std::string& line) { return line.find(text) != std::string::npos; }));
  }
  /// Every line, for the report of a failure.
  std::string text() const {
    std::string all;
    for (const auto& line : lines()) all += line + "\n";
    return all;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
  SystemHostClock clock_;
  SystemWallClock wallClock_;
  Log log_{clock_, wallClock_, [this](std::string_view line) {
             const std::lock_guard lock(mutex_);
             lines_.emplace_back(line);
           }};
};

}  // namespace tallyrig
