#pragma once

#include "platform/SampleRateConverter.h"

namespace tallyrig {

/// Converters of libswresample, with a filter of twice its usual length: from 44.1 kHz on the audible band passes, and
/// what the lower rate cannot hold is rejected by 80 dB at least.
class FFmpegSampleRateConverters final : public SampleRateConverters {
 public:
  std::unique_ptr<SampleRateConverter> make(double from, double to, int channelCount) override;
};

}  // namespace tallyrig
