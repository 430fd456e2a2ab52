#include "platform/simulated/SincKernel.h"

#include <cmath>
#include <numbers>

namespace tallyrig {
namespace {

double sinc(double x) {
  const double angle = std::numbers::pi * x;
  return std::abs(angle) < 1e-12 ? 1.0 : std::sin(angle) / angle;
}

/// Kaiser's window over -1 to 1, its side lobes below -80 dB.
double window(double x) {
  constexpr double kBeta = 8.0;
  return std::abs(x) >= 1 ? 0.0 : std::cyl_bessel_i(0.0, kBeta * std::sqrt(1 - x * x)) / std::cyl_bessel_i(0.0, kBeta);
}

}  // namespace

SincKernel::SincKernel(double cutoff) : rows_((kPhases + 1) * kTaps) {
  for (std::size_t phase = 0; phase <= kPhases; ++phase) {
    float* row = rows_.data() + phase * kTaps;
    double taps[kTaps];
    double sum = 0;
    for (std::size_t tap = 0; tap < kTaps; ++tap) {
      const double distance = static_cast<double>(tap) - (kTapsAfter - 1) - static_cast<double>(phase) / kPhases;
      taps[tap] = sinc(cutoff * distance) * window(distance / kTapsAfter);
      sum += taps[tap];
    }
    for (std::size_t tap = 0; tap < kTaps; ++tap) row[tap] = static_cast<float>(taps[tap] / sum);
  }
}

float SincKernel::at(const float* samples, double fraction) const noexcept {
  const double phase = fraction * kPhases;
  const auto row = static_cast<std::size_t>(phase);
  const auto blend = static_cast<float>(phase - static_cast<double>(row));
  const float* first = rows_.data() + row * kTaps;
  const float* second = first + kTaps;
  float sum0 = 0, sum1 = 0, sum2 = 0, sum3 = 0;
  for (std::size_t tap = 0; tap < kTaps; tap += 4) {
    sum0 += samples[tap] * (first[tap] + blend * (second[tap] - first[tap]));
    sum1 += samples[tap + 1] * (first[tap + 1] + blend * (second[tap + 1] - first[tap + 1]));
    sum2 += samples[tap + 2] * (first[tap + 2] + blend * (second[tap + 2] - first[tap + 2]));
    sum3 += samples[tap + 3] * (first[tap + 3] + blend * (second[tap + 3] - first[tap + 3]));
  }
  return (sum0 + sum1) + (sum2 + sum3);
}

}  // namespace tallyrig
