#include "timecode/TimecodeRenderClock.h"

#include <chrono>
#include <utility>

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr TimerSchedule kTickSchedule{.interval = 16ms, .leeway = 1ms};
constexpr double kGapThresholdMilliseconds = 80.0;

}  // namespace

TimecodeRenderClock::TimecodeRenderClock(const HostClock& clock, Scheduler& scheduler, Log& log)
    : clock_(clock),
      log_(log),
      hostTime_(clock.now()),
      lastPublishedHostTime_(hostTime_),
      queue_(scheduler.makeQueue("Tallyrig.RenderClock", QueuePriority::kUserInteractive)) {
  auto onMain = lifetime_.guard([this](HostTime tick) { publish(tick); });
  queue_->runSync([this, &main = scheduler.mainQueue(), onMain = std::move(onMain)] {
    timer_ = queue_->repeat(
        kTickSchedule, [&clock = clock_, &main, onMain] { main.post([onMain, tick = clock.now()] { onMain(tick); }); });
  });
}

TimecodeRenderClock::~TimecodeRenderClock() {
  queue_->runSync([this] { timer_.reset(); });
}

double TimecodeRenderClock::seconds() const {
  return clock_.seconds(hostTime_ - HostTime{});
}

void TimecodeRenderClock::publish(HostTime tick) {
  if (lastPublishedHostTime_.ticks != 0 && tick > lastPublishedHostTime_) {
    const double gap = clock_.milliseconds(tick - lastPublishedHostTime_);
    if (gap > kGapThresholdMilliseconds) {
      log_.timed(formatted("TimecodeRenderClock: UI display update gap %.1fms", gap));
    }
  }
  lastPublishedHostTime_ = tick;
  hostTime_ = tick;
  emit ticked();
}

}  // namespace tallyrig
