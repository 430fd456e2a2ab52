#pragma once

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/desktop/AsioScheduler.h"
#include "platform/desktop/SystemClocks.h"
#include "platform/pipewire/PipeWireAudioSystem.h"
#include "platform/simulated/LoopbackMidiSystem.h"
#include "reader/ReaderInstance.h"
#include "support/PipeWireRig.h"

namespace tallyrig {

/// The program's engine without its window, on a private sound server with one virtual device that loops each output
/// to the input of the same number.
class EngineOnPipeWire {
 public:
  EngineOnPipeWire(int channels, int quantum) : rig_({.quantum = quantum}) {
    rig_.enter();
    rig_.add({.name = "duplex", .description = "Desk", .channels = channels});
    audio_.emplace(openPipeWireServer(), scheduler_.mainQueue(), log_);
    EXPECT_TRUE(runUntil([this] { return !audio_->devices().empty(); })) << "the device is not listed";
    registry_.emplace(*audio_, midi_, log_);
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

  bool hasLogged(std::string_view text) const {
    const std::lock_guard lock(linesMutex_);
    return std::ranges::any_of(lines_, [&](const std::string& line) { return line.find(text) != std::string::npos; });
  }

  PipeWireRig& rig() { return rig_; }
  const HostClock& clock() const { return clock_; }

 private:
  static void sendTo(ReaderSnapshot& settings, std::int64_t channel) {
    settings.outputProtocol = OutputProtocol::ltc;
    settings.selectedOutputDeviceName = "Desk";
    settings.selectedOutputChannel = channel;
  }

  ReaderServices services() {
    return {clock_, wallClock_, scheduler_, log_, *audio_, midi_, *registry_, *hub_, midiOutput_, reservations_};
  }

  PipeWireRig rig_;
  SystemHostClock clock_;
  SystemWallClock wallClock_;
  mutable std::mutex linesMutex_;
  std::vector<std::string> lines_;
  Log log_{clock_, wallClock_, [this](std::string_view line) {
             const std::lock_guard lock(linesMutex_);
             lines_.emplace_back(line);
           }};
  AsioScheduler scheduler_;
  LoopbackMidiSystem midi_{clock_, scheduler_};
  std::optional<PipeWireAudioSystem> audio_;
  std::optional<DeviceRegistry> registry_;
  std::optional<LTCAudioInputHub> hub_;
  MIDIOutputPortManager midiOutput_{midi_, log_};
  OutputReservationRegistry reservations_;
};

}  // namespace tallyrig
