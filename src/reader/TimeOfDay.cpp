#include "reader/TimeOfDay.h"

#include <algorithm>
#include <cmath>

namespace tallyrig {

Timecode timeOfDay(std::chrono::system_clock::time_point moment, std::chrono::seconds utcOffset, MTCFrameRate rate) {
  using namespace std::chrono;
  const auto local = moment + utcOffset;
  const hh_mm_ss<nanoseconds> time(duration_cast<nanoseconds>(local - floor<days>(local)));
  const double second = static_cast<double>(time.subseconds().count()) / 1e9;
  const auto frame = static_cast<std::int64_t>(std::floor(second * exactFrameRate(rate)));
  return {time.hours().count(), time.minutes().count(), time.seconds().count(),
          std::min<std::int64_t>(frame, maxFrameField(rate)), rate};
}

}  // namespace tallyrig
