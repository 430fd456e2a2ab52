#include "platform/simulated/SincKernel.h"

#include <array>
#include <cmath>
#include <numbers>

namespace tallyrig {
namespace {

/// The interpolated value of a sine of `frequency` (relative to half the sample rate) at `fraction`.
double interpolated(const SincKernel& kernel, double frequency, double fraction) {
  std::array<float, SincKernel::kTaps> samples;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    samples[i] = static_cast<float>(std::sin(std::numbers::pi * frequency * (static_cast<double>(i) - 15)));
  }
  return kernel.at(samples.data(), fraction);
}

TEST(SincKernel, FindsTheValueBetweenTheSamples) {
  const SincKernel kernel(1.0);
  for (const double frequency : {0.01, 0.1, 0.3, 0.6}) {
    for (double fraction = 0; fraction < 1; fraction += 0.037) {
      ASSERT_NEAR(interpolated(kernel, frequency, fraction), std::sin(std::numbers::pi * frequency * fraction), 3e-4)
          << frequency << " at " << fraction;
    }
  }
}

TEST(SincKernel, GivesASampleItselfAtItsPlace) {
  const SincKernel kernel(1.0);
  std::array<float, SincKernel::kTaps> samples{};
  samples[SincKernel::kTapsAfter - 1] = 0.75f;
  EXPECT_NEAR(kernel.at(samples.data(), 0.0), 0.75f, 1e-6f);
}

TEST(SincKernel, StopsWhatLiesAboveItsCutoff) {
  const SincKernel kernel(0.4);
  for (double fraction = 0; fraction < 1; fraction += 0.1) {
    EXPECT_NEAR(interpolated(kernel, 0.8, fraction), 0, 2e-3);
    EXPECT_NEAR(interpolated(kernel, 0.1, fraction), std::sin(std::numbers::pi * 0.1 * fraction), 2e-3);
  }
}

}  // namespace
}  // namespace tallyrig
