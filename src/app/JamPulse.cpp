#include "app/JamPulse.h"

#include <cmath>

namespace tallyrig {

namespace {

constexpr double kSecondsOneWay = 0.7;

}  // namespace

qreal JamPulse::phaseAt(double seconds) {
  const double within = std::fmod(seconds / kSecondsOneWay, 2.0);
  const double way = within <= 1 ? within : 2 - within;
  return way < 0.5 ? 2 * way * way : 1 - 2 * (1 - way) * (1 - way);
}

void JamPulse::setRenderClock(TimecodeRenderClock* renderClock) {
  if (renderClock_ == renderClock) return;
  disconnect(tickConnection_);
  renderClock_ = renderClock;
  if (renderClock_) tickConnection_ = connect(renderClock_, &TimecodeRenderClock::ticked, this, &JamPulse::follow);
  emit renderClockChanged();
}

void JamPulse::follow() {
  phase_ = phaseAt(renderClock_->seconds());
  emit phaseChanged();
}

}  // namespace tallyrig
