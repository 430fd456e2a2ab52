#include "platform/desktop/SystemClocks.h"

#include <ctime>

namespace tallyrig {

HostTime SystemHostClock::now() const noexcept {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return {static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000U + static_cast<std::uint64_t>(time.tv_nsec)};
}

std::chrono::system_clock::time_point SystemWallClock::now() const {
  return std::chrono::system_clock::now();
}

std::chrono::seconds SystemWallClock::utcOffset(std::chrono::system_clock::time_point moment) const {
  // localtime_r alone keeps the zone that it found first.
  tzset();
  const std::time_t time = std::chrono::system_clock::to_time_t(moment);
  std::tm local{};
  if (localtime_r(&time, &local) == nullptr) return std::chrono::seconds{0};
  return std::chrono::seconds{local.tm_gmtoff};
}

}  // namespace tallyrig
