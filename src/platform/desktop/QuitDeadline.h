#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>

#include "platform/Log.h"

namespace tallyrig {

/// Bounds how long the program takes to end, for a disk or a network that does not answer would hold it up for good:
/// nothing can take a thread out of such a read. What must not be cut short is held, and waited for as long as it
/// takes.
class QuitDeadline {
 public:
  QuitDeadline(std::chrono::milliseconds patience, Log& log) : patience_(patience), log_(log) {}
  QuitDeadline(const QuitDeadline&) = delete;
  QuitDeadline& operator=(const QuitDeadline&) = delete;

  /// Once, when all that is to be kept has been saved. If the program has not ended after this time, or this time after
  /// the last hold, it ends there and then with status 0. Destruction calls that off.
  void begin();

  /// Around a change of the user's files. Any thread.
  class Hold {
   public:
    explicit Hold(QuitDeadline& deadline);
    ~Hold();
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

   private:
    QuitDeadline& deadline_;
  };

 private:
  void watch(const std::stop_token& stop);

  const std::chrono::milliseconds patience_;
  Log& log_;
  std::mutex mutex_;
  std::condition_variable_any changed_;
  std::size_t holds_ = 0;
  std::jthread watcher_;
};

}  // namespace tallyrig
