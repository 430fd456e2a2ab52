#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/AudioSystem.h"

namespace tallyrig {

/// What one cycle brought, and the samples of one input channel.
struct SeenCycle {
  AudioTimeStamp inputTime;
  AudioTimeStamp outputTime;
  std::uint32_t frames = 0;
};

/// A callback on a device that notes its cycles, listens to one channel of the first input buffer and plays into one
/// channel of the first output buffer. Its own room is set aside beforehand.
class DeviceClientForTests {
 public:
  /// What is played: the value for sample `index` of cycle `cycle`.
  using Player = float (*)(std::size_t cycle, std::uint32_t index);

  DeviceClientForTests(AudioSystem& system, AudioDeviceID device, std::size_t room = 1000) {
    cycles.reserve(room);
    heard.reserve(room * 512);
    EXPECT_EQ(system.createIO(
                  device, [this](const AudioCycle& cycle) { take(cycle); }, io),
              kPlatformOk);
  }

  PlatformStatus start() { return io->start(); }

  std::uint32_t listenTo = 0;
  std::uint32_t playOn = 0;
  Player player = nullptr;
  /// Noted while there is room.
  std::vector<SeenCycle> cycles;
  std::vector<float> heard;
  std::size_t count = 0;
  std::unique_ptr<AudioIO> io;

 private:
  void take(const AudioCycle& cycle) {
    std::uint32_t frames = 0;
    if (!cycle.input.empty() && cycle.input[0].channelCount > 0 && cycle.input[0].data != nullptr) {
      const AudioBuffer& buffer = cycle.input[0];
      frames = buffer.byteSize / (4 * buffer.channelCount);
      for (std::uint32_t i = 0; i < frames && heard.size() < heard.capacity(); ++i) {
        heard.push_back(buffer.data[i * buffer.channelCount + listenTo]);
      }
    }
    if (!cycle.output.empty() && player != nullptr) {
      AudioBuffer& buffer = cycle.output[0];
      frames = buffer.byteSize / (4 * buffer.channelCount);
      for (std::uint32_t i = 0; i < frames; ++i) buffer.data[i * buffer.channelCount + playOn] += player(count, i);
    }
    if (cycles.size() < cycles.capacity()) cycles.push_back({cycle.inputTime, cycle.outputTime, frames});
    ++count;
  }
};

}  // namespace tallyrig
