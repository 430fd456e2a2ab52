#include "timecode/TimecodeRenderClock.h"

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
      queue_(scheduler.makeQueue("Tallyrig.RenderClock", QueuePriority::kUserInteractive)),
      self_(std::make_shared<TimecodeRenderClock*>(this)) {
  queue_->runSync([this, &main = scheduler.mainQueue()] {
    timer_ = queue_->repeat(kTickSchedule, [&clock = clock_, &main, weak = std::weak_ptr(self_)] {
      main.post([weak, tick = clock.now()] {
        if (const auto self = weak.lock()) (*self)->publish(tick);
      });
    });
  });
}

TimecodeRenderClock::~TimecodeRenderClock() {
  queue_->runSync([this] { timer_.reset(); });
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
