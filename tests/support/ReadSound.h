#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "platform/AudioFile.h"

namespace tallyrig {

/// Up to `count` frames from `start` on, interleaved, read in pieces of `piece` frames.
inline std::vector<float> readFrames(AudioReader& reader, std::int64_t start, std::int64_t count,
                                     std::int64_t piece = 4096) {
  const auto channels = static_cast<std::size_t>(reader.format().channelCount);
  EXPECT_FALSE(reader.seek(start));
  std::vector<float> samples;
  std::vector<float> room;
  while (count > 0) {
    room.resize(static_cast<std::size_t>(std::min(piece, count)) * channels);
    std::size_t frames = 0;
    const auto error = reader.read(room, frames);
    EXPECT_FALSE(error) << error.message();
    if (frames == 0) break;
    samples.insert(samples.end(), room.begin(), room.begin() + static_cast<std::ptrdiff_t>(frames * channels));
    count -= static_cast<std::int64_t>(frames);
  }
  return samples;
}

constexpr std::int64_t kAllFrames = std::int64_t{1} << 40;

}  // namespace tallyrig
