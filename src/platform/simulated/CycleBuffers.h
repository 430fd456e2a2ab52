#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/AudioSystem.h"

namespace tallyrig {

/// How a device presents its streams in a cycle.
enum class BufferArrangement { kOneBufferPerGroup, kOneBufferPerChannel };

/// The buffers of one side of a device, over storage of their own.
/// Setting up allocates; the members that move samples are real-time safe.
class CycleBuffers {
 public:
  /// `hasEmptyFirst`: a buffer of no channels stands before the others.
  CycleBuffers(const std::vector<int>& groups, BufferArrangement arrangement, bool hasEmptyFirst);

  /// Gives each buffer room for `frames` frames, all zero, unless it has just that.
  void resize(std::uint32_t frames);
  /// The buffer keeps its size and channels but shows no data, until it is told otherwise.
  void withholdData(std::size_t buffer, bool withhold);

  std::span<AudioBuffer> list() { return buffers_; }
  std::size_t channelCount() const { return channels_.size(); }

  void fill(float value);
  void write(std::size_t channel, std::span<const float> samples);
  void addTo(std::span<float> sum, std::size_t channel) const;

 private:
  struct Channel {
    std::size_t buffer;
    std::uint32_t offset;
  };
  struct Store {
    std::vector<float> samples;
    bool isWithheld = false;
  };

  std::vector<AudioBuffer> buffers_;
  std::vector<Store> stores_;
  std::vector<Channel> channels_;
  std::uint32_t frames_ = 0;
};

}  // namespace tallyrig
