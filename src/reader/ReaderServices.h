#pragma once

#include "audio/DeviceRegistry.h"
#include "audio/LTCAudioInputHub.h"
#include "mtc/MIDIOutputPortManager.h"
#include "platform/AudioSystem.h"
#include "platform/HostClock.h"
#include "platform/Log.h"
#include "platform/MidiSystem.h"
#include "platform/SerialQueue.h"
#include "platform/WallClock.h"
#include "reader/OutputReservationRegistry.h"

namespace tallyrig {

/// The shared objects that every card works with. They outlive the cards.
struct ReaderServices {
  const HostClock& clock;
  const WallClock& wallClock;
  Scheduler& scheduler;
  Log& log;
  AudioSystem& audio;
  MidiSystem& midi;
  DeviceRegistry& registry;
  LTCAudioInputHub& hub;
  MIDIOutputPortManager& midiOutput;
  OutputReservationRegistry& reservations;
};

}  // namespace tallyrig
