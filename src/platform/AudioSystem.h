#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/HostTime.h"
#include "platform/PlatformStatus.h"
#include "platform/Subscription.h"

namespace tallyrig {

/// A device's number, valid for this run only.
using AudioDeviceID = std::uint32_t;

/// One device as the system lists it. A group is one stream of the device; its value is the stream's channel count.
struct AudioDeviceDescription {
  AudioDeviceID id = 0;
  /// UTF-8 if the system is honest; may be empty.
  std::string name;
  std::vector<int> inputGroups;
  std::vector<int> outputGroups;

  bool operator==(const AudioDeviceDescription&) const = default;
};

/// One stream's samples in a cycle: 32-bit floats, the channels of a frame side by side. `data` may be null.
struct AudioBuffer {
  std::uint32_t channelCount = 0;
  std::uint32_t byteSize = 0;
  float* data = nullptr;
};

/// When the first sample of a buffer list is, or will be, at the device's connector.
struct AudioTimeStamp {
  HostTime hostTime;
  bool hostTimeValid = false;
};

/// What one cycle of a device brings and takes. Valid during the callback only.
struct AudioCycle {
  std::span<const AudioBuffer> input;
  AudioTimeStamp inputTime;
  std::span<AudioBuffer> output;
  AudioTimeStamp outputTime;
};

/// Called once per device cycle on the device's callback context. Must be real-time safe: it allocates nothing, takes
/// no lock, makes no system call and does not throw.
using AudioCycleCallback = std::function<void(const AudioCycle&)>;

/// A callback registered on one device: created stopped, destroyed with no callback running or to come.
/// Main thread, unless a member says otherwise.
class AudioIO {
 public:
  virtual ~AudioIO() = default;

  virtual PlatformStatus start() = 0;
  /// When it returns no callback runs, and none follows.
  virtual void stop() = 0;
  /// Runs `change` between two cycles and returns when it has run; at once where no callback can run meanwhile. What
  /// the callback reads can be exchanged in it without a lock. `change` keeps the rules of a callback.
  virtual void betweenCycles(const std::function<void()>& change) = 0;
  /// Whether the caller stands on the callback context. Any thread, real-time safe.
  virtual bool isCallbackContext() const noexcept = 0;
};

/// The audio devices of the machine. Main thread.
class AudioSystem {
 public:
  virtual ~AudioSystem() = default;

  /// In the system's order.
  virtual std::vector<AudioDeviceDescription> devices() const = 0;

  /// `handler` runs on the main queue after each change of the list or of `notice`.
  virtual Subscription observeDevices(std::function<void()> handler) = 0;

  /// The device's nominal rate in hertz. A status other than 0 leaves `rate` as it was.
  virtual PlatformStatus nominalSampleRate(AudioDeviceID device, double& rate) const = 0;

  /// Frames per cycle, latency and safety offset in frames; absent where the device does not say. For reports only.
  struct Timing {
    std::optional<std::uint32_t> bufferFrames;
    std::optional<std::uint32_t> inputLatency;
    std::optional<std::uint32_t> inputSafetyOffset;
    std::optional<std::uint32_t> outputLatency;
    std::optional<std::uint32_t> outputSafetyOffset;
  };
  virtual Timing timing(AudioDeviceID device) const = 0;

  /// Registers `callback` on a device's cycles, full duplex. A status other than 0 leaves `io` empty; a status of 0
  /// with an empty `io` is possible and means that the system gave none.
  virtual PlatformStatus createIO(AudioDeviceID device, AudioCycleCallback callback, std::unique_ptr<AudioIO>& io) = 0;

  /// What the user must know about where the devices come from, such as a missing sound server; empty if all is well.
  virtual std::string notice() const = 0;
};

}  // namespace tallyrig
