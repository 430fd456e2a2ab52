#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/HostClock.h"
#include "platform/WallClock.h"

namespace tallyrig {

/// The program's log: one line of text per event, to standard output unless a test gives another sink.
/// Any thread but a real-time one.
class Log {
 public:
  using Sink = std::function<void(std::string_view line)>;

  Log(const HostClock& clock, const WallClock& wallClock);
  Log(const HostClock& clock, const WallClock& wallClock, Sink sink);

  /// The text as it stands. It begins with the name of the class that speaks, as in "LTCReceiver: ".
  void line(std::string_view text);

  /// "[HH:mm:ss.SSS +{ms}ms] {text}": the user's time of day, then the milliseconds since the first timed line.
  void timed(std::string_view text);

 private:
  const HostClock& clock_;
  const WallClock& wallClock_;
  Sink sink_;
  std::mutex mutex_;
  std::optional<HostTime> origin_;
};

/// A printf-style text. The arguments must match the format; the compiler checks them.
[[gnu::format(printf, 1, 2)]] std::string formatted(const char* format, ...);

}  // namespace tallyrig
