#include "platform/desktop/SystemClocks.h"

#include <cstdlib>
#include <ctime>

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

TEST(SystemHostClock, ATickIsANanosecondOfTheMonotonicClock) {
  const SystemHostClock clock;
  timespec before{};
  clock_gettime(CLOCK_MONOTONIC, &before);
  const HostTime now = clock.now();
  timespec after{};
  clock_gettime(CLOCK_MONOTONIC, &after);
  const auto ticks = [](const timespec& time) { return std::uint64_t(time.tv_sec) * 1'000'000'000U + time.tv_nsec; };
  EXPECT_GE(now.ticks, ticks(before));
  EXPECT_LE(now.ticks, ticks(after));
  EXPECT_EQ(clock.nanosFromTicks({123}), 123);
  EXPECT_EQ(clock.ticksFromNanos(456), HostDuration{456});
}

/// Gives the process another time zone while it lives, in the form that needs no zone files.
class TimeZone {
 public:
  explicit TimeZone(const char* rule) {
    if (const char* value = std::getenv("TZ")) previous_ = value;
    setenv("TZ", rule, 1);
  }
  ~TimeZone() { previous_ ? setenv("TZ", previous_->c_str(), 1) : unsetenv("TZ"); }

 private:
  std::optional<std::string> previous_;
};

TEST(SystemWallClock, OffsetIsWhatTheZoneAddsToUtc) {
  const SystemWallClock clock;
  const auto moment = std::chrono::sys_days(2026y / 1 / 15) + 12h;
  {
    const TimeZone india("IST-5:30");
    EXPECT_EQ(clock.utcOffset(moment), 5h + 30min);
  }
  const TimeZone newYork("EST5EDT,M3.2.0,M11.1.0");
  EXPECT_EQ(clock.utcOffset(moment), -5h);
}

TEST(SystemWallClock, OffsetFollowsSummerTime) {
  const SystemWallClock clock;
  const TimeZone berlin("CET-1CEST,M3.5.0,M10.5.0/3");
  const auto change = std::chrono::sys_days(2026y / 3 / 29) + 1h;
  EXPECT_EQ(clock.utcOffset(change - 1s), 1h);
  EXPECT_EQ(clock.utcOffset(change), 2h);
}

TEST(SystemWallClock, NowIsTheSystemClock) {
  const SystemWallClock clock;
  const auto before = std::chrono::system_clock::now();
  const auto now = clock.now();
  EXPECT_LE(before, now);
  EXPECT_LE(now, std::chrono::system_clock::now());
}

}  // namespace
}  // namespace tallyrig
