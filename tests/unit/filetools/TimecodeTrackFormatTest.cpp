#include "filetools/TimecodeTrackFormat.h"

#include <limits>

#include "support/FrameRates.h"

namespace tallyrig {
namespace {

using Fault = TimecodeTrackFault;

/// Absent where the rates do not fit.
std::optional<TimecodeTrackFormat> resolved(MTCFrameRate rate, const std::vector<double>& pictureRates) {
  TimecodeTrackFormat format;
  if (resolveTrackFormat(rate, pictureRates, format)) return std::nullopt;
  return format;
}

TimecodeTrackError errorOf(MTCFrameRate rate, const std::vector<double>& pictureRates) {
  TimecodeTrackFormat format{k25, {7, 8}, 9, 0};
  const TimecodeTrackFormat before = format;
  const auto error = resolveTrackFormat(rate, pictureRates, format);
  EXPECT_EQ(format, before);
  return error;
}

TEST(TimecodeTrackFormat, FollowsTheRateAloneWithoutPicture) {
  EXPECT_EQ(resolved(k24, {}), (TimecodeTrackFormat{k24, {1, 24}, 24, 0}));
  EXPECT_EQ(resolved(k25, {}), (TimecodeTrackFormat{k25, {1, 25}, 25, 0}));
  EXPECT_EQ(resolved(k2997, {}), (TimecodeTrackFormat{k2997, {1001, 30000}, 30, 1}));
  EXPECT_EQ(resolved(k30, {}), (TimecodeTrackFormat{k30, {1, 30}, 30, 0}));
}

TEST(TimecodeTrackFormat, TakesThePicturesCadence) {
  EXPECT_EQ(resolved(k24, {24}), (TimecodeTrackFormat{k24, {1, 24}, 24, 0}));
  EXPECT_EQ(resolved(k24, {23.976023976023978}), (TimecodeTrackFormat{k24, {1001, 24000}, 24, 0}));
  EXPECT_EQ(resolved(k25, {25, 25}), timecodeTrackFormat(k25));
  EXPECT_EQ(resolved(k2997, {29.97002997002997}), timecodeTrackFormat(k2997));
  EXPECT_EQ(resolved(k30, {30}), timecodeTrackFormat(k30));
}

TEST(TimecodeTrackFormat, AllowsLessThanAHundredthOfAFrameEitherWay) {
  for (const double rate : {24.991, 25.0099}) EXPECT_TRUE(resolved(k25, {rate})) << rate;
  for (const double rate : {24.99, 25.0101}) EXPECT_FALSE(resolved(k25, {rate})) << rate;
  EXPECT_FALSE(resolved(k24, {23.988}));
  EXPECT_FALSE(resolved(k30, {29.97002997002997}));
  EXPECT_FALSE(resolved(k2997, {30}));
}

TEST(TimecodeTrackFormat, NamesThePictureThatDoesNotFit) {
  EXPECT_EQ(errorOf(k25, {24}),
            (TimecodeTrackError{Fault::kCadenceMismatch, "LTC 25 does not match the picture cadence (24.000 fps)."}));
  EXPECT_EQ(errorOf(k2997, {23.976023976023978}).description,
            "LTC 29.97 DF does not match the picture cadence (23.976 fps).");
  EXPECT_EQ(errorOf(k24, {25, 24}).description, "LTC 24 does not match the picture cadence (25.000 fps).");
  EXPECT_EQ(make_error_code(Fault::kCadenceMismatch).value(), 6);
}

TEST(TimecodeTrackFormat, RefusesPicturesWithoutARate) {
  constexpr double kInfinite = std::numeric_limits<double>::infinity();
  for (const double rate : {0.0, -25.0, kInfinite, -kInfinite, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(errorOf(k25, {rate}).code, Fault::kCadenceMismatch) << rate;
  }
}

TEST(TimecodeTrackFormat, RefusesPicturesOfTwoCadences) {
  EXPECT_EQ(
      errorOf(k24, {24, 23.976023976023978}),
      (TimecodeTrackError{Fault::kMixedCadences, "The movie has video tracks with incompatible frame cadences."}));
  EXPECT_EQ(make_error_code(Fault::kMixedCadences).value(), 7);
}

TEST(TimecodeTrackFormat, ComparesEachPictureWithTheRateBeforeOneAnother) {
  EXPECT_EQ(errorOf(k25, {25, 50}).code, Fault::kCadenceMismatch);
}

}  // namespace
}  // namespace tallyrig
