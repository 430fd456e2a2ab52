#pragma once

#include "audio/DeviceRegistry.h"
#include "audio/LTCAudioInputHub.h"
#include "platform/HostClock.h"
#include "platform/Log.h"
#include "platform/SerialQueue.h"
#include "platform/WallClock.h"

namespace tallyrig {

/// The shared objects that every card works with. They outlive the cards.
struct ReaderServices {
  const HostClock& clock;
  const WallClock& wallClock;
  Scheduler& scheduler;
  Log& log;
  DeviceRegistry& registry;
  LTCAudioInputHub& hub;
};

}  // namespace tallyrig
