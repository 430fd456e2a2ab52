#pragma once

#include <QCoreApplication>
#include <QTimer>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "MidiTap.h"
#include "ProcessUsage.h"
#include "RigProcess.h"
#include "platform/desktop/AsioScheduler.h"
#include "platform/desktop/SystemClocks.h"
#include "platform/pipewire/PipeWireAudioSystem.h"
#include "platform/pipewire/PipeWireMidiSystem.h"
#include "reader/ReaderInstance.h"

namespace tallyrig {

/// The engine as the program composes it, without a window, on a rig in another process. Main thread; members that wait
/// run its queue and throw std::runtime_error when what they wait for does not come.
class EngineOnRig {
 public:
  /// Each line of the log goes to `onLine`, on any thread.
  EngineOnRig(int quantum, int midiPorts, std::function<void(std::string_view)> onLine)
      : rig_(quantum, 0, midiPorts), application_(arguments_, nullptr), log_(clock_, wallClock_, std::move(onLine)) {
    scheduler_ = std::make_unique<AsioScheduler>();
    const PipeWireServer server = openPipeWireServer();
    audio_ = std::make_unique<PipeWireAudioSystem>(server, scheduler_->mainQueue(), log_);
    midiServer_ = std::make_unique<PipeWireMidiSystem>(server, *scheduler_, clock_, log_);
    midi_ = std::make_unique<MidiTap>(*midiServer_);
    midiOutput_ = std::make_unique<MIDIOutputPortManager>(*midi_, log_);
    registry_ = std::make_unique<DeviceRegistry>(*audio_, *midi_, log_);
    hub_ = std::make_unique<LTCAudioInputHub>(*audio_, *scheduler_, log_);
    waitFor("the rig's devices", [&] {
      return !audio_->devices().empty() && std::cmp_equal(midi_->destinations().size(), midiPorts) &&
             std::cmp_equal(midi_->sources().size(), midiPorts);
    });
    registry_->refresh("bench");
  }

  template <typename Condition>
  static void waitFor(const std::string& what, Condition condition, double seconds = 20) {
    const double deadline = clockSeconds(CLOCK_MONOTONIC) + seconds;
    while (!condition()) {
      if (clockSeconds(CLOCK_MONOTONIC) > deadline) throw std::runtime_error("waited in vain for " + what);
      runFor(0.002);
    }
  }
  static void runFor(double seconds) {
    QTimer::singleShot(static_cast<int>(seconds * 1000), Qt::PreciseTimer, qApp, &QCoreApplication::quit);
    QCoreApplication::exec();
  }

  /// What a stretch of time has cost, in per cent of a core, and wake-ups per second.
  struct Cost {
    double program = 0;
    double server = 0;
    double wakeUps = 0;
  };
  Cost measure(double seconds) {
    const double began = clockSeconds(CLOCK_MONOTONIC);
    const double program = clockSeconds(CLOCK_PROCESS_CPUTIME_ID);
    const double server = processSeconds(rig_.serverId());
    const auto wakeUps = voluntarySwitches();
    runFor(seconds);
    const double passed = clockSeconds(CLOCK_MONOTONIC) - began;
    return {.program = 100 * (clockSeconds(CLOCK_PROCESS_CPUTIME_ID) - program) / passed,
            .server = 100 * (processSeconds(rig_.serverId()) - server) / passed,
            .wakeUps = static_cast<double>(voluntarySwitches() - wakeUps) / passed};
  }

  std::shared_ptr<ReaderInstance> card(const ReaderSnapshot& settings) {
    const ReaderServices services{clock_, wallClock_, *scheduler_, log_,         *audio_,
                                  *midi_, *registry_, *hub_,       *midiOutput_, reservations_};
    return std::make_shared<ReaderInstance>(services, settings);
  }

  RigProcess& rig() { return rig_; }
  const HostClock& clock() const { return clock_; }
  AudioSystem& audio() { return *audio_; }
  MidiTap& midi() { return *midi_; }
  const DeviceRegistry& registry() const { return *registry_; }

 private:
  RigProcess rig_;
  int arguments_ = 0;
  QCoreApplication application_;
  SystemHostClock clock_;
  SystemWallClock wallClock_;
  Log log_;
  std::unique_ptr<AsioScheduler> scheduler_;
  std::unique_ptr<PipeWireAudioSystem> audio_;
  std::unique_ptr<PipeWireMidiSystem> midiServer_;
  std::unique_ptr<MidiTap> midi_;
  std::unique_ptr<MIDIOutputPortManager> midiOutput_;
  std::unique_ptr<DeviceRegistry> registry_;
  std::unique_ptr<LTCAudioInputHub> hub_;
  OutputReservationRegistry reservations_;
};

}  // namespace tallyrig
