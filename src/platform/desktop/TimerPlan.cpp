#include "platform/desktop/TimerPlan.h"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace tallyrig {
namespace {

using std::chrono::nanoseconds;

constexpr std::uint64_t kMillisecond = 1'000'000;
/// A millisecond halves six times without a remainder. Below that the leeway is too short to be worth meeting for.
constexpr std::uint64_t kFinestGrid = kMillisecond / 64;

/// The coarsest step that the leeway allows, out of a millisecond doubled or halved: each divides every coarser one.
nanoseconds gridWithin(nanoseconds leeway) {
  if (leeway.count() < static_cast<std::int64_t>(kFinestGrid)) return nanoseconds{1};
  const auto length = static_cast<std::uint64_t>(leeway.count());
  return nanoseconds{std::bit_floor(length / kFinestGrid) * kFinestGrid};
}

}  // namespace

TimerPlan::TimerPlan(const TimerSchedule& schedule, Instant start)
    : interval_(std::max(schedule.interval, nanoseconds{1})),
      grid_(gridWithin(schedule.leeway)),
      deadline_(start + std::max(schedule.first, nanoseconds{0})) {}

TimerPlan::Instant TimerPlan::expiry() const noexcept {
  const nanoseconds beyond = deadline_.time_since_epoch() % grid_;
  return beyond.count() == 0 ? deadline_ : deadline_ + (grid_ - beyond);
}

void TimerPlan::advance(Instant now) noexcept {
  if (now < deadline_) return;
  deadline_ += ((now - deadline_) / interval_ + 1) * interval_;
}

}  // namespace tallyrig
