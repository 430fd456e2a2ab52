#include "ltc/FrameRateLock.h"

namespace tallyrig {
namespace {

// 1/24 + 1/25 and 1/25 + 1/30 seconds: half of each is the midpoint between two nominal frame periods.
constexpr double kSumOfPeriods24And25 = 0.08166666666666667;
constexpr double kSumOfPeriods25And30 = 0.07333333333333333;

constexpr int kFramesToChangeRate = 4;

}  // namespace

MTCFrameRate observedFrameRate(bool dropFrameFlag, double durationSamples, double sampleRate) noexcept {
  if (dropFrameFlag) return MTCFrameRate::fps2997;
  if (durationSamples > sampleRate * kSumOfPeriods24And25 * 0.5) return MTCFrameRate::fps24;
  if (durationSamples > sampleRate * kSumOfPeriods25And30 * 0.5) return MTCFrameRate::fps25;
  return MTCFrameRate::fps30;
}

MTCFrameRate FrameRateLock::resolve(MTCFrameRate observed) noexcept {
  if (!lockedFrameRate_) {
    lockedFrameRate_ = observed;
    return observed;
  }
  if (observed == *lockedFrameRate_) {
    candidateFrameRate_.reset();
    candidateFrameRateCount_ = 0;
    return observed;
  }
  if (candidateFrameRate_ != observed) {
    candidateFrameRate_ = observed;
    candidateFrameRateCount_ = 1;
    return *lockedFrameRate_;
  }
  if (++candidateFrameRateCount_ < kFramesToChangeRate) return *lockedFrameRate_;
  lockedFrameRate_ = observed;
  candidateFrameRate_.reset();
  candidateFrameRateCount_ = 0;
  return observed;
}

}  // namespace tallyrig
