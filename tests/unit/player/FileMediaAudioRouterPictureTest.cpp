// The routed sound beside a picture that is late, early, or on its way.

#include <chrono>
#include <cstdint>
#include <optional>

#include "RouterFixture.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using testing::IsEmpty;

using FileMediaAudioRouterPictureTest = RouterFixture;

TEST_F(FileMediaAudioRouterPictureTest, SoundWaitsForAPictureThatIsOnItsWay) {
  std::optional<double> picture;
  router->picturePosition = [&] { return picture; };
  prepare();
  router->restart(stream, 2, true);
  world.runFor(500ms);
  EXPECT_TRUE(router->isReady());
  EXPECT_THAT(heard[0], IsEmpty());
  picture = 2;
  world.runFor(100ms);
  expectCounting(heard[0], 96'000, 0);
}

// Of sound from 2 s beside a picture at 2.5 s. Passing over takes two cycles, and the first of them is passed over as
// well. Half a cycle more is for the way to the first.
constexpr std::int64_t kFirstBesideLatePicture = 120'000 + 512 + 256;

TEST_F(FileMediaAudioRouterPictureTest, SoundThatComesLaterThanThePicturePassesOverAPiece) {
  router->picturePosition = [] { return std::optional(2.5); };
  prepare();
  router->restart(stream, 2, true);
  world.runFor(500ms);
  expectCounting(heard[0], kFirstBesideLatePicture, 0);
  expectCounting(heard[3], kFirstBesideLatePicture, 3);
}

TEST_F(FileMediaAudioRouterPictureTest, SoundBeginsWhereThePictureOfASeekStands) {
  // The first picture after the place is a part of a picture away from it.
  router->picturePosition = [] { return std::optional(2.02); };
  prepare();
  router->restart(stream, 2, true);
  world.runFor(500ms);
  expectCounting(heard[0], 96'960 + 256, 0);
}

TEST_F(FileMediaAudioRouterPictureTest, BesideThePictureSoundBeginsWithItsFirstSample) {
  for (const double offset : {-0.004, 0.004}) {
    router->picturePosition = [&] { return std::optional(2 + offset); };
    prepare();
    heard[0].clear();
    router->restart(stream, 2, true);
    world.runFor(500ms);
    expectCounting(heard[0], 96'000, 0);
    router->stop();
    world.runFor(100ms);
  }
}

TEST_F(FileMediaAudioRouterPictureTest, FromAStandstillNoSampleIsPassedOverWithinAPicture) {
  double picture = 1.965;
  router->picturePosition = [&] { return std::optional(picture); };
  prepare();
  router->restart(stream, 2, false);
  world.runFor(500ms);
  router->setPlayback(true);
  world.runFor(500ms);
  router->setPlayback(false);
  const auto heardBefore = heard[0].size();
  ASSERT_GT(heardBefore, 20'000U);
  picture = 2 + static_cast<double>(heardBefore) / 48'000 + 0.035;
  world.runFor(1s);
  router->setPlayback(true);
  world.runFor(500ms);
  EXPECT_GT(heard[0].size(), heardBefore + 20'000);
  expectCounting(heard[0], 96'000, 0);
}

TEST_F(FileMediaAudioRouterPictureTest, FromAStandstillSoundIsBroughtToAPictureFurtherAway) {
  router->picturePosition = [] { return std::optional(2.5); };
  prepare();
  router->restart(stream, 2, false);
  world.runFor(500ms);
  router->setPlayback(true);
  world.runFor(500ms);
  expectCounting(heard[0], kFirstBesideLatePicture, 0);
}

TEST_F(FileMediaAudioRouterPictureTest, SoundThatIsAheadOfThePictureLetsItCatchUp) {
  double picture = 1.8;
  router->picturePosition = [&] { return std::optional(picture); };
  prepare();
  router->restart(stream, 2, true);
  world.runFor(300ms);
  EXPECT_THAT(heard[0], IsEmpty());
  picture = 1.99;
  world.runFor(300ms);
  EXPECT_THAT(heard[0], IsEmpty());
  picture = 1.996;
  world.runFor(300ms);
  expectCounting(heard[0], 96'000, 0);
}

TEST_F(FileMediaAudioRouterPictureTest, APictureThatNeverComesDoesNotSilenceTheSoundForLong) {
  router->picturePosition = [] { return std::optional<double>(); };
  prepare();
  router->setPlayback(true);
  world.runFor(1s);
  EXPECT_THAT(heard[0], IsEmpty());
  world.runFor(2s);
  expectCounting(heard[0], 0, 0);
}

TEST_F(FileMediaAudioRouterPictureTest, APauseWhileTheSoundWaitsHolds) {
  std::optional<double> picture;
  router->picturePosition = [&] { return picture; };
  prepare();
  router->setPlayback(true);
  world.runFor(300ms);
  router->setPlayback(false);
  picture = 0;
  world.runFor(1s);
  EXPECT_THAT(heard[0], IsEmpty());
}

}  // namespace
}  // namespace tallyrig
