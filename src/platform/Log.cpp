#include "platform/Log.h"

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace tallyrig {
namespace {

void writeToStandardOutput(std::string_view line) {
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

}  // namespace

Log::Log(const HostClock& clock, const WallClock& wallClock) : Log(clock, wallClock, writeToStandardOutput) {}

Log::Log(const HostClock& clock, const WallClock& wallClock, Sink sink)
    : clock_(clock), wallClock_(wallClock), sink_(std::move(sink)) {}

void Log::line(std::string_view text) {
  const std::lock_guard lock(mutex_);
  sink_(text);
}

void Log::timed(std::string_view text) {
  using std::chrono::milliseconds;
  const auto moment = wallClock_.now();
  const auto local = moment.time_since_epoch() + wallClock_.utcOffset(moment);
  constexpr long long kDay = 24LL * 60 * 60 * 1000;
  const long long sinceEpoch = std::chrono::floor<milliseconds>(local).count();
  const long long ofDay = (sinceEpoch % kDay + kDay) % kDay;

  const std::lock_guard lock(mutex_);
  const HostTime now = clock_.now();
  if (!origin_) origin_ = now;
  const double elapsed = clock_.milliseconds(now - *origin_);
  sink_(formatted("[%02lld:%02lld:%02lld.%03lld +%.3fms] ", ofDay / 3600000, ofDay / 60000 % 60, ofDay / 1000 % 60,
                  ofDay % 1000, elapsed)
            .append(text));
}

std::string formatted(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  va_list measuring;
  va_copy(measuring, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, measuring);
  va_end(measuring);
  std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  if (length > 0) std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  va_end(arguments);
  return text;
}

}  // namespace tallyrig
