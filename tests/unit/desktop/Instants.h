#pragma once

#include "platform/desktop/TimerPlan.h"

namespace tallyrig {

constexpr TimerPlan::Instant at(std::chrono::nanoseconds sinceEpoch) {
  return TimerPlan::Instant(sinceEpoch);
}

}  // namespace tallyrig
