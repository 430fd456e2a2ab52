#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "ltc/LTCAudioGenerator.h"
#include "timecode/Timecode.h"

namespace tallyrig {

/// An endless LTC signal for simulated inputs, together with the truth about it: which frame each sample belongs to.
class LTCSignal {
 public:
  LTCSignal(MTCFrameRate rate, const Timecode& start, double sampleRate, double levelDBFS = -6.0);

  /// Fills `samples` from sample `position` of the signal on; silence before position 0. Positions may go back by a
  /// second or two, not further: older audio is forgotten.
  void fill(std::int64_t position, std::span<float> samples);

  /// The frame that holds this sample, of the last ten seconds or so.
  Timecode frameAt(std::int64_t position);
  /// First sample of that frame.
  std::int64_t frameStart(std::int64_t position);

 private:
  struct Frame {
    std::int64_t start;
    Timecode timecode;
  };

  void generateTo(std::int64_t position);
  const Frame& find(std::int64_t position);

  std::unique_ptr<LTCAudioGenerator> generator_;
  std::vector<Frame> frames_;
  /// Audio from `firstKept_` up to `generated_`.
  std::vector<float> samples_;
  std::int64_t firstKept_ = 0;
  std::int64_t generated_ = 0;
};

}  // namespace tallyrig
