#include "platform/HostTime.h"

#include <limits>
#include <unordered_set>

#include "platform/HostClock.h"

namespace tallyrig {
namespace {

TEST(HostTime, ADistanceNeverGoesBelowZero) {
  EXPECT_EQ(HostTime{10} - HostTime{4}, HostDuration{6});
  EXPECT_EQ(HostTime{10} - HostTime{10}, HostDuration{0});
  EXPECT_EQ(HostTime{4} - HostTime{10}, HostDuration{0});
  EXPECT_EQ(HostTime{std::numeric_limits<std::uint64_t>::max()} - HostTime{0},
            HostDuration{std::numeric_limits<std::uint64_t>::max()});
}

TEST(HostTime, NoInstantLiesBeforeTheFirst) {
  EXPECT_EQ(HostTime{10} - HostDuration{4}, HostTime{6});
  EXPECT_EQ(HostTime{10} - HostDuration{11}, HostTime{0});
  EXPECT_EQ(HostTime{10} + HostDuration{4}, HostTime{14});
}

TEST(HostTime, InstantsAndDistancesAreOrdered) {
  EXPECT_LT(HostTime{1}, HostTime{2});
  EXPECT_GT(HostDuration{2}, HostDuration{1});
  EXPECT_NE(HostTime{1}, HostTime{2});
}

TEST(HostTime, CanBeKeptInAHashedSet) {
  const std::unordered_set<HostTime> times = {HostTime{1}, HostTime{2}, HostTime{1}};
  EXPECT_EQ(times.size(), 2);
  EXPECT_TRUE(times.contains(HostTime{2}));
}

/// A tick of 125/3 ns.
class OddClock final : public HostClock {
 public:
  HostTime now() const noexcept override { return {0}; }
  std::uint64_t nanosFromTicks(HostDuration distance) const noexcept override { return distance.ticks * 125 / 3; }
  HostDuration ticksFromNanos(std::uint64_t nanos) const noexcept override { return {nanos * 3 / 125}; }
};

TEST(HostClock, SecondsAndMillisecondsAreWholeNanosecondsDivided) {
  const OddClock clock;
  EXPECT_EQ(clock.seconds(HostDuration{24'000'000}), 1.0);
  EXPECT_EQ(clock.milliseconds(HostDuration{24'000}), 1.0);
  EXPECT_EQ(clock.milliseconds(HostDuration{1}), 41 / 1e6);
  EXPECT_EQ(clock.seconds(HostDuration{0}), 0.0);
}

}  // namespace
}  // namespace tallyrig
