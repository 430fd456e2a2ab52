#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/ffmpeg/FFmpegSampleRateConverters.h"
#include "platform/simulated/SimulatedWorld.h"
#include "player/FileMediaAudioRouter.h"
#include "support/SimulatedMediaFiles.h"

namespace tallyrig {

/// A router with a file of four channels and 20 s at 48 kHz, and two devices: "Desk" with eight outputs, the first of
/// the list, and "Plug" with two.
class RouterFixture : public testing::Test {
 protected:
  RouterFixture() {
    files.files["clip.mov"] = countedMedia(48000, 4, 960'000);
    for (std::size_t channel = 0; channel < heard.size(); ++channel) {
      desk.onOutput(channel, [this, channel](std::int64_t, std::span<const float> samples) {
        for (const float sample : samples) {
          if (sample != 0) heard[channel].push_back(sample);
        }
      });
    }
    plug.onOutput(1, [this](std::int64_t, std::span<const float> samples) {
      for (const float sample : samples) {
        if (sample != 0) heardOnPlug.push_back(sample);
      }
    });
    router->onReady = [this] { events.push_back("ready"); };
    router->onBuffering = [this] { events.push_back("buffering"); };
    router->onFailure = [this](const std::string& text) { events.push_back(text); };
  }

  std::optional<std::string> prepare() { return router->prepare(stream, {0, 1, 2, 3}, 8, desk.id()); }

  /// Every sample from `frame` of channel `source` on, `samples` being what was heard.
  void expectCounting(const std::vector<float>& samples, std::int64_t frame, int source) {
    ASSERT_FALSE(samples.empty());
    for (std::size_t i = 0; i < samples.size(); ++i)
      ASSERT_EQ(samples[i], countedSample(frame + static_cast<std::int64_t>(i), source)) << i;
  }

  SimulatedWorld world;
  SimulatedDevice& desk = world.audio().addDevice({.name = "Desk", .inputGroups = {8}, .outputGroups = {8}});
  SimulatedDevice& plug = world.audio().addDevice({.name = "Plug", .outputGroups = {2}});
  SimulatedMediaFiles files;
  FFmpegSampleRateConverters converters;
  StreamingMediaAudio stream{"clip.mov", 48000, 4, 20};
  std::unique_ptr<FileMediaAudioRouter> router =
      std::make_unique<FileMediaAudioRouter>(world.audio(), world.scheduler(), files, converters);
  std::vector<std::vector<float>> heard{8};
  std::vector<float> heardOnPlug;
  std::vector<std::string> events;
};

}  // namespace tallyrig
