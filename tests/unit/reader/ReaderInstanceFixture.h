#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <span>

#include "support/FrameRates.h"
#include "support/Wall.h"

namespace tallyrig {

constexpr double kRate = 48000;

/// Cards over a simulated desk with two channels each way and code on input 2.
class ReaderInstanceFixture : public testing::Test {
 protected:
  void SetUp() override {
    wall.open();
    desk.feed(1, [this](std::int64_t position, std::span<float> samples) {
      signal->fill(position, samples);
      for (float& sample : samples) sample *= gain;
    });
  }

  std::shared_ptr<ReaderInstance> makeCard(const ReaderSnapshot& settings) {
    return std::make_shared<ReaderInstance>(wall.services(), settings);
  }

  ReaderSnapshot onDesk() const {
    ReaderSnapshot settings;
    settings.label = "Stage";
    settings.selectedDeviceID = desk.id();
    settings.selectedDeviceName = "Desk";
    settings.selectedChannel = 1;
    return settings;
  }

  /// A reader of the code that re-emits it on output 1.
  ReaderSnapshot throughDesk() const {
    ReaderSnapshot settings = onDesk();
    settings.outputProtocol = OutputProtocol::ltc;
    settings.selectedOutputDeviceID = desk.id();
    settings.selectedOutputDeviceName = "Desk";
    return settings;
  }

  /// A generator on output 1, at 25 frames a second.
  ReaderSnapshot generatorOnDesk() const {
    ReaderSnapshot settings;
    settings.label = "Clock";
    settings.cardRole = CardRole::generator;
    settings.outputProtocol = OutputProtocol::ltc;
    settings.selectedOutputDeviceID = desk.id();
    settings.selectedOutputDeviceName = "Desk";
    settings.generatorFrameRate = MTCFrameRate::fps25;
    return settings;
  }

  Wall wall;
  SimulatedWorld& world = wall.world;
  SimulatedDevice& desk = world.audio().addDevice({.name = "Desk", .inputGroups = {2}, .outputGroups = {2}});
  std::unique_ptr<LTCSignal> signal = std::make_unique<LTCSignal>(MTCFrameRate::fps25, at25(10, 0, 0, 0), kRate);
  float gain = 1;
};

}  // namespace tallyrig
