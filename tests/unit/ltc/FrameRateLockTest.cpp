#include "ltc/FrameRateLock.h"

#include <gtest/gtest.h>

#include "support/FrameRates.h"

namespace tallyrig {
namespace {

/// What the lock reports for each observation in turn.
std::vector<MTCFrameRate> resolveAll(FrameRateLock& lock, const std::vector<MTCFrameRate>& observations) {
  std::vector<MTCFrameRate> reported;
  for (const MTCFrameRate observed : observations) reported.push_back(lock.resolve(observed));
  return reported;
}
std::vector<MTCFrameRate> resolveAll(const std::vector<MTCFrameRate>& observations) {
  FrameRateLock lock;
  return resolveAll(lock, observations);
}

using Rates = std::vector<MTCFrameRate>;

TEST(ObservedFrameRate, TheThresholdsLieBetweenThePeriodsAndBelongToTheFasterRate) {
  EXPECT_EQ(observedFrameRate(false, 1961, 48000), k24);
  EXPECT_EQ(observedFrameRate(false, 1960, 48000), k25);
  EXPECT_EQ(observedFrameRate(false, 1761, 48000), k25);
  EXPECT_EQ(observedFrameRate(false, 1760, 48000), k30);
  EXPECT_EQ(observedFrameRate(false, 3921, 96000), k24);
  EXPECT_EQ(observedFrameRate(false, 3920, 96000), k25);
  EXPECT_EQ(observedFrameRate(false, 3521, 96000), k25);
  EXPECT_EQ(observedFrameRate(false, 3520, 96000), k30);
  EXPECT_EQ(observedFrameRate(false, 1801, 44100), k24);
  EXPECT_EQ(observedFrameRate(false, 1800, 44100), k25);
  EXPECT_EQ(observedFrameRate(false, 1618, 44100), k25);
  EXPECT_EQ(observedFrameRate(false, 1617, 44100), k30);
}

TEST(ObservedFrameRate, FilmAndVideoPullDownReadAsTheNominalRates) {
  EXPECT_EQ(observedFrameRate(false, 48000 / 23.976, 48000), k24);
  EXPECT_EQ(observedFrameRate(false, 48000 / 29.97, 48000), k30);
}

TEST(ObservedFrameRate, TheDropFrameFlagAloneDecides) {
  for (const double duration : {0.0, 1600.0, 1920.0, 2000.0, 1e9}) {
    EXPECT_EQ(observedFrameRate(true, duration, 48000), k2997);
  }
}

TEST(ObservedFrameRate, NoLengthIsTooOdd) {
  EXPECT_EQ(observedFrameRate(false, 0, 48000), k30);
  EXPECT_EQ(observedFrameRate(false, -100, 48000), k30);
  EXPECT_EQ(observedFrameRate(false, 1e9, 48000), k24);
}

TEST(FrameRateLock, TheFirstFrameLocksAtOnce) {
  for (const MTCFrameRate rate : {k24, k25, k2997, k30}) EXPECT_EQ(FrameRateLock().resolve(rate), rate);
}

TEST(FrameRateLock, TheFourthFrameInARowChangesTheRate) {
  EXPECT_EQ(resolveAll({k25, k30, k30, k30, k30, k30}), (Rates{k25, k25, k25, k25, k30, k30}));
}

TEST(FrameRateLock, AFrameAtTheLockedRateBreaksTheRun) {
  EXPECT_EQ(resolveAll({k25, k30, k30, k30, k25, k30, k30, k30, k25}), Rates(9, k25));
}

TEST(FrameRateLock, AThirdRateStartsARunOfItsOwn) {
  EXPECT_EQ(resolveAll({k25, k30, k30, k30, k24, k30, k30, k30, k24}), Rates(9, k25));
  EXPECT_EQ(resolveAll({k25, k30, k30, k30, k24, k24, k24, k24}), (Rates{k25, k25, k25, k25, k25, k25, k25, k24}));
}

TEST(FrameRateLock, AfterAChangeTheOldRateNeedsFourFramesToo) {
  EXPECT_EQ(resolveAll({k25, k30, k30, k30, k30, k25, k25, k25, k25}),
            (Rates{k25, k25, k25, k25, k30, k30, k30, k30, k25}));
}

TEST(FrameRateLock, ResetForgetsTheLockAndTheRun) {
  FrameRateLock lock;
  resolveAll(lock, {k25, k30, k30, k30});
  lock.reset();
  EXPECT_EQ(resolveAll(lock, {k24, k30, k30, k30, k30}), (Rates{k24, k24, k24, k24, k30}));
}

}  // namespace
}  // namespace tallyrig
