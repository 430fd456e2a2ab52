#pragma once

#include <cstdint>
#include <span>

#include "platform/AudioSystem.h"

namespace tallyrig {

/// The samples of one logical channel in a cycle: every `stride`th float from `first` on. `first` is null if no buffer
/// holds the channel. Plain value.
struct LogicalChannel {
  float* first = nullptr;
  std::uint32_t stride = 0;
};

/// Finds a channel by counting across all buffers in order, so that it does not depend on how the hardware groups
/// channels into streams. Any thread, real-time safe.
inline LogicalChannel findLogicalChannel(std::span<const AudioBuffer> buffers, std::int64_t channel) noexcept {
  if (channel < 0) return {};
  std::int64_t firstChannel = 0;
  for (const AudioBuffer& buffer : buffers) {
    const std::int64_t inBuffer = channel - firstChannel;
    if (inBuffer < buffer.channelCount) {
      return buffer.data == nullptr ? LogicalChannel{} : LogicalChannel{buffer.data + inBuffer, buffer.channelCount};
    }
    firstChannel += buffer.channelCount;
  }
  return {};
}

}  // namespace tallyrig
