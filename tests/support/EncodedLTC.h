#pragma once

#include <cstdint>
#include <vector>

#include "ltc/LTCAudioGenerator.h"
#include "timecode/Timecode.h"

namespace tallyrig {

/// The audio of `frames` LTC frames from `start` on, at `sampleRate` in hertz.
inline std::vector<float> encodedLTC(const Timecode& start, std::int64_t frames, double sampleRate,
                                     double levelDBFS = -6) {
  const auto generator = LTCAudioGenerator::create(start.frameRate, sampleRate, levelDBFS);
  generator->setTimecode(start);
  std::vector<float> samples;
  for (std::int64_t frame = 0; frame < frames; ++frame) {
    const auto next = generator->nextFrame().samples;
    samples.insert(samples.end(), next.begin(), next.end());
  }
  return samples;
}

}  // namespace tallyrig
