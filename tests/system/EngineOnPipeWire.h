#pragma once

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/desktop/AsioScheduler.h"
#include "platform/desktop/SystemClocks.h"
#include "platform/pipewire/PipeWireAudioSystem.h"
#include "platform/pipewire/PipeWireMidiSystem.h"
#include "reader/ReaderInstance.h"
#include "support/PipeWireRig.h"

namespace tallyrig {

inline constexpr int kQuantum = 1024;
/// A busy machine can make the server leave out a cycle, and what is in it with it. What is wrong on our side is wrong
/// in every attempt.
inline constexpr int kAttempts = 6;

/// The program's engine without its window, on a private sound server with one virtual device that loops each output
/// to the input of the same number, and one MIDI device that does the same.
class EngineOnPipeWire {
 public:
  EngineOnPipeWire(int channels, int quantum) : rig_({.quantum = quantum}) {
    rig_.enter();
    rig_.add({.name = "duplex", .description = "Desk", .channels = channels});
    rig_.add(RigMidiDevice{.name = "bridge", .description = "Port"});
    const PipeWireServer server = openPipeWireServer();
    audio_.emplace(server, scheduler_.mainQueue(), log_);
    midi_.emplace(server, scheduler_, clock_, log_);
    midiOutput_.emplace(*midi_, log_);
    EXPECT_TRUE(runUntil([this] {
      return !audio_->devices().empty() && !midi_->sources().empty() && !midi_->destinations().empty();
    })) << "a device is not listed";
    registry_.emplace(*audio_, *midi_, log_);
    hub_.emplace(*audio_, scheduler_, log_);
  }

  /// Runs the main queue until `condition` holds; false if it does not within `limit`.
  static bool runUntil(const std::function<bool()>& condition,
                       std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
    }
    return true;
  }

  std::shared_ptr<ReaderInstance> mtcGenerator(MTCFrameRate rate) {
    ReaderSnapshot settings;
    settings.label = "Clock";
    settings.cardRole = CardRole::generator;
    settings.generatorFrameRate = rate;
    settings.outputProtocol = OutputProtocol::mtc;
    settings.selectedMIDIDestinationName = registry_->midiDestinations().front().name;
    return std::make_shared<ReaderInstance>(services(), settings);
  }

  std::shared_ptr<ReaderInstance> mtcReader() {
    ReaderSnapshot settings;
    settings.label = "Stage";
    settings.sourceType = SourceType::mtc;
    settings.selectedMIDISourceName = registry_->midiSources().front().name;
    auto card = std::make_shared<ReaderInstance>(services(), settings);
    card->startMonitoring();
    return card;
  }

  std::shared_ptr<ReaderInstance> generator(std::int64_t channel, MTCFrameRate rate) {
    ReaderSnapshot settings;
    settings.label = "Clock";
    settings.cardRole = CardRole::generator;
    settings.generatorFrameRate = rate;
    sendTo(settings, channel);
    return std::make_shared<ReaderInstance>(services(), settings);
  }

  std::shared_ptr<ReaderInstance> reader(std::int64_t channel, std::optional<std::int64_t> output = std::nullopt) {
    ReaderSnapshot settings;
    settings.label = "Stage";
    settings.selectedDeviceName = "Desk";
    settings.selectedChannel = channel;
    if (output) sendTo(settings, *output);
    auto card = std::make_shared<ReaderInstance>(services(), settings);
    card->startMonitoring();
    return card;
  }

  PipeWireRig& rig() { return rig_; }
  AudioSystem& audio() { return *audio_; }
  Scheduler& scheduler() { return scheduler_; }
  const HostClock& clock() const { return clock_; }

 private:
  static void sendTo(ReaderSnapshot& settings, std::int64_t channel) {
    settings.outputProtocol = OutputProtocol::ltc;
    settings.selectedOutputDeviceName = "Desk";
    settings.selectedOutputChannel = channel;
  }

  ReaderServices services() {
    return {clock_, wallClock_, scheduler_, log_, *audio_, *midi_, *registry_, *hub_, *midiOutput_, reservations_};
  }

  PipeWireRig rig_;
  SystemHostClock clock_;
  SystemWallClock wallClock_;
  Log log_{clock_, wallClock_};
  AsioScheduler scheduler_;
  std::optional<PipeWireAudioSystem> audio_;
  std::optional<PipeWireMidiSystem> midi_;
  std::optional<MIDIOutputPortManager> midiOutput_;
  std::optional<DeviceRegistry> registry_;
  std::optional<LTCAudioInputHub> hub_;
  OutputReservationRegistry reservations_;
};

}  // namespace tallyrig
