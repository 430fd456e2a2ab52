// The device that the user has set for all programs, on a real sound server with its session manager.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "platform/desktop/LocalUserFiles.h"
#include "platform/ffmpeg/FFmpegMediaFiles.h"
#include "platform/ffmpeg/FFmpegSampleRateConverters.h"
#include "player/FileMediaAudioRouter.h"
#include "support/MediaFolder.h"
#include "system/EngineOnPipeWire.h"

namespace tallyrig {
namespace {

TEST(DefaultOutputOnPipeWire, TheSoundFollowsTheOneThatTheUserSets) {
  PipeWireRig rig({.quantum = 1024, .sessionManager = true});
  rig.enter();
  rig.add({.name = "first", .description = "First", .channels = 2});
  rig.add({.name = "second", .description = "Second", .channels = 2});
  const auto setDefault = [](const std::string& name) {
    outputOf("pw-metadata 0 default.configured.audio.sink '{ \"name\": \"" + name + "\" }' Spa:String:JSON");
  };
  SystemHostClock clock;
  SystemWallClock wallClock;
  Log log{clock, wallClock};
  AsioScheduler scheduler;
  PipeWireAudioSystem audio(openPipeWireServer(), scheduler.mainQueue(), log);
  const auto defaultName = [&]() -> std::string {
    const auto output = audio.defaultOutput();
    for (const auto& device : audio.devices()) {
      if (device.id == output) return device.name;
    }
    return "";
  };
  setDefault("second");
  ASSERT_TRUE(EngineOnPipeWire::runUntil([&] { return audio.devices().size() == 2 && defaultName() == "Second"; }))
      << defaultName();

  MediaFolder folder;
  LocalUserFiles userFiles;
  FFmpegMediaFiles files{[&](const std::filesystem::path& path, std::unique_ptr<ByteSource>& bytes) {
    return userFiles.openForReading(path, bytes);
  }};
  FFmpegSampleRateConverters converters;
  const auto loaded =
      StreamingMediaAudio::load(folder.make("tone.wav", "-f lavfi -i \"sine=1000:r=48000:d=60\""), files);
  ASSERT_TRUE(std::holds_alternative<StreamingMediaAudio>(loaded)) << std::get<std::string>(loaded);
  /// Whether anything is heard on a device, which loops its outputs to its inputs.
  std::map<std::string, std::shared_ptr<std::atomic<bool>>> isHeard;
  std::vector<std::unique_ptr<AudioIO>> ears;
  for (const auto& device : audio.devices()) {
    auto heard = isHeard[device.name] = std::make_shared<std::atomic<bool>>(false);
    const auto listen = [heard](const AudioCycle& cycle) {
      if (cycle.input.empty() || cycle.input[0].data == nullptr) return;
      const std::span samples(cycle.input[0].data, cycle.input[0].byteSize / sizeof(float));
      if (std::ranges::any_of(samples, [](float sample) { return sample > 0.01F; })) *heard = true;
    };
    ASSERT_EQ(audio.createIO(device.id, listen, ears.emplace_back()), kPlatformOk);
    ASSERT_EQ(ears.back()->start(), kPlatformOk);
  }

  FileMediaAudioRouter router(audio, scheduler, files, converters);
  ASSERT_EQ(router.prepare(std::get<StreamingMediaAudio>(loaded), {0}, 2, std::nullopt), std::nullopt);
  router.setPlayback(true);
  EXPECT_TRUE(EngineOnPipeWire::runUntil([&] { return isHeard["Second"]->load(); }));
  EXPECT_FALSE(*isHeard["First"]);
  setDefault("first");
  EXPECT_TRUE(EngineOnPipeWire::runUntil([&] { return isHeard["First"]->load(); }));

  router.setPlayback(false);
  setDefault("second");
  ASSERT_TRUE(EngineOnPipeWire::runUntil([&] { return defaultName() == "Second" && router.isReady(); }));
  *isHeard["Second"] = false;
  router.setPlayback(true);
  EXPECT_TRUE(EngineOnPipeWire::runUntil([&] { return isHeard["Second"]->load(); })) << "changed while it was paused";
}

}  // namespace
}  // namespace tallyrig
