#include "filetools/TimecodeTrackFormat.h"

namespace tallyrig {

TimecodeTrackFormat timecodeTrackFormat(MTCFrameRate rate) noexcept {
  const auto quanta = static_cast<std::uint32_t>(nominalFrameRate(rate));
  if (rate == MTCFrameRate::fps2997) return {rate, {1001, 30000}, quanta, kTimeCodeFlagDropFrame};
  return {rate, {1, quanta}, quanta, 0};
}

}  // namespace tallyrig
