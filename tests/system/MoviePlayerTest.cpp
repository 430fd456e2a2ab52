#include <gtest/gtest.h>
#include <unistd.h>

#include <QCoreApplication>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "platform/desktop/AsioScheduler.h"
#include "platform/mpv/MpvMoviePlayers.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

/// A folder with files that ffmpeg has made, and a player on the real libmpv whose own sound goes nowhere.
///
/// In "counted.mov" picture n of 100 is a grey of its own, at 25 a second with a key picture every twelve.
class MoviePlayerTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = std::filesystem::temp_directory_path() / ("tallyrig-movies-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder_);
    const std::string picture =
        "-f lavfi -i \"color=black:s=64x48:r=25:d=4,format=yuv420p,geq=lum='20+2*N':cb=128:cr=128\" ";
    const std::string sound = "-f lavfi -i \"sine=1000:r=48000:d=4\" ";
    make(picture + sound + "-c:v libx264 -crf 4 -g 12 -bf 2 -c:a aac", "counted.mov");
    make(picture + "-c:v libx264 -crf 4 -g 12", "silent.mp4");
    make(sound + "-c:a libmp3lame", "sound.mp3");
    make("-f lavfi -i \"color=red:s=64x32:r=25:d=1\" -vf \"drawbox=0:0:32:32:blue:fill\" -c:v libx264", "level.mp4");
    run("ffmpeg -v error -y -i " + path("level.mp4") + " -c copy -metadata:s:v rotate=90 " + path("rotated.mov"));
    make(
        "-f lavfi -i \"color=black:s=64x48:r=25:d=4,format=yuv420p,geq=lum='20+2*N':cb=128:cr=128,"
        "select='not(mod(n\\,3)*mod(n\\,5))'\" -vsync vfr -c:v libx264 -crf 4",
        "uneven.mp4");
  }
  static void TearDownTestSuite() { std::filesystem::remove_all(folder_); }

  void SetUp() override {
    player = MpvMoviePlayers(scheduler.mainQueue(), "null").make();
    ASSERT_NE(player, nullptr);
    player->onPicture = [this](std::shared_ptr<const MoviePicture> next) { picture = std::move(next); };
    player->setPictureSize(64, 48);
  }

  static std::string path(const std::string& name) { return (folder_ / name).string(); }
  static void run(const std::string& command) { ASSERT_EQ(std::system(command.c_str()), 0) << command; }
  static void make(const std::string& what, const std::string& name) {
    run("ffmpeg -v error -y " + what + " " + path(name));
  }

  static bool until(const std::function<bool()>& condition, std::chrono::milliseconds limit = 20s) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
    }
    return true;
  }

  /// The number that the picture's grey stands for; -1 without a picture.
  int shownNumber() const {
    if (!picture) return -1;
    const int grey = picture->pixels[static_cast<std::size_t>(picture->height / 2 * picture->stride) + 32 * 4];
    // Video's 16 to 235 is the screen's 0 to 255.
    return static_cast<int>(std::lround((grey * 219.0 / 255 + 16 - 20) / 2));
  }

  static inline std::filesystem::path folder_;
  AsioScheduler scheduler;
  std::unique_ptr<MoviePlayer> player;
  std::shared_ptr<const MoviePicture> picture;
};

TEST_F(MoviePlayerTest, ShowsTheFirstPictureOfAMovieAndWaits) {
  player->load(path("counted.mov"));
  ASSERT_TRUE(until([&] { return shownNumber() == 0 && player->state().hasVideo && player->state().duration > 0; }));
  EXPECT_NEAR(player->state().duration, 4, 0.05);
  EXPECT_FALSE(player->state().isPlaying);
  EXPECT_NEAR(player->state().position, 0, 0.001);
}

TEST_F(MoviePlayerTest, SeeksToTheExactPicture) {
  player->load(path("counted.mov"));
  ASSERT_TRUE(until([&] { return picture != nullptr; }));
  for (const int number : {50, 1, 13, 99, 98, 11, 12, 0, 77}) {
    player->seek(number / 25.0);
    EXPECT_NEAR(player->state().position, number / 25.0, 1e-9) << "at once";
    EXPECT_TRUE(until([&] { return shownNumber() == number; })) << number << " but shown is " << shownNumber();
  }
}

TEST_F(MoviePlayerTest, AfterASeekThePositionIsThatOfThePictureShown) {
  // The file's beginning may be under way still when the seek is asked for.
  for (int round = 0; round < 20; ++round) {
    player->load(path("counted.mov"));
    ASSERT_TRUE(until([&] { return picture != nullptr; }));
    player->seek(2.01);
    EXPECT_NEAR(player->state().position, 2.01, 1e-9) << "the target until the picture is there";
    ASSERT_TRUE(until([&] { return !player->state().isSeeking; }));
    ASSERT_NEAR(player->state().position, 2.04, 1e-6) << round;
    EXPECT_TRUE(until([&] { return shownNumber() == 51; })) << shownNumber();
  }
}

TEST_F(MoviePlayerTest, ThePositionGoesOnBetweenTwoPictures) {
  player->load(path("counted.mov"));
  player->play();
  EXPECT_TRUE(until([&] {
    const double pictures = player->state().position * 25;
    return std::abs(pictures - std::round(pictures)) > 0.25;
  }));
  EXPECT_TRUE(player->state().isPlaying);
}

TEST_F(MoviePlayerTest, ASeekBeforeTheFileIsThereCounts) {
  player->load(path("counted.mov"));
  player->seek(2);
  EXPECT_NEAR(player->state().position, 2, 1e-9);
  EXPECT_TRUE(until([&] { return shownNumber() == 50; }));
}

TEST_F(MoviePlayerTest, PlaysToTheEndAndStaysThere) {
  player->load(path("counted.mov"));
  player->seek(3.5);
  ASSERT_TRUE(until([&] { return shownNumber() >= 87; }));
  player->play();
  EXPECT_TRUE(player->state().isPlaying) << "at once";
  ASSERT_TRUE(until([&] { return !player->state().isPlaying; }));
  EXPECT_NEAR(player->state().position, 4, 0.1);
  EXPECT_TRUE(until([&] { return shownNumber() == 99; })) << shownNumber();
  EXPECT_TRUE(player->state().hasVideo);
  player->play();
  EXPECT_TRUE(until([&] { return !player->state().isPlaying; })) << "there is nothing more to play";
}

TEST_F(MoviePlayerTest, APauseStands) {
  player->load(path("counted.mov"));
  player->play();
  ASSERT_TRUE(until([&] { return player->state().position > 0.5; }));
  player->pause();
  EXPECT_TRUE(until([&] {
    const double position = player->state().position;
    return !until([&] { return player->state().position != position; }, 300ms);
  })) << "the position stands";
  EXPECT_LT(player->state().position, 3.5);
}

TEST_F(MoviePlayerTest, WhatWasAskedForLastIsItsStateUntilItPlaysSo) {
  player->load(path("counted.mov"));
  ASSERT_TRUE(until([&] { return picture != nullptr; }));
  for (int round = 0; round < 5; ++round) {
    player->play();
    EXPECT_FALSE(until([&] { return !player->state().isPlaying; }, 20ms)) << "no look between shows it paused";
    player->pause();
    EXPECT_FALSE(until([&] { return player->state().isPlaying; }, 20ms)) << "nor playing after a pause";
  }
}

TEST_F(MoviePlayerTest, AFileWithoutAPicturePlaysAllTheSame) {
  player->load(path("sound.mp3"));
  player->play();
  ASSERT_TRUE(until([&] { return player->state().position > 0.5; }));
  EXPECT_FALSE(player->state().hasVideo);
  EXPECT_NEAR(player->state().duration, 4, 0.1);
}

TEST_F(MoviePlayerTest, AMovieWithoutSoundPlaysAllTheSame) {
  player->load(path("silent.mp4"));
  player->play();
  EXPECT_TRUE(until([&] { return shownNumber() > 20; }));
}

TEST_F(MoviePlayerTest, SeeksInAMovieOfUnevenPictures) {
  player->load(path("uneven.mp4"));
  ASSERT_TRUE(until([&] { return picture != nullptr; }));
  for (const int number : {30, 6, 33, 5, 95}) {
    player->seek(number / 25.0);
    EXPECT_TRUE(until([&] { return shownNumber() == number; })) << number << " but shown is " << shownNumber();
  }
}

TEST_F(MoviePlayerTest, TurnsARotatedPictureUpright) {
  player->setPictureSize(32, 64);
  player->load(path("rotated.mov"));
  const auto blueAndRed = [&](int row) {
    const auto at = static_cast<std::size_t>(row * picture->stride + 16 * 4);
    return std::pair(picture->pixels[at] > 128, picture->pixels[at + 2] > 128);
  };
  EXPECT_TRUE(until([&] {
    return picture && blueAndRed(8) == std::pair(false, true) && blueAndRed(56) == std::pair(true, false);
  })) << "the blue left half comes to stand below, as ffmpeg shows it";
}

TEST_F(MoviePlayerTest, APausedPictureFollowsItsSize) {
  player->load(path("counted.mov"));
  player->seek(1);
  ASSERT_TRUE(until([&] { return shownNumber() == 25; }));
  player->setPictureSize(200, 150);
  ASSERT_TRUE(until([&] { return picture && picture->width == 200; }));
  EXPECT_EQ(shownNumber(), 25);
}

TEST_F(MoviePlayerTest, AFileThatIsNoMovieLeavesItEmpty) {
  player->load(path("missing.mov"));
  player->play();
  EXPECT_FALSE(until([&] { return player->state().hasVideo || player->state().duration > 0; }, 500ms));
  player->load(path("counted.mov"));
  EXPECT_TRUE(until([&] { return player->state().hasVideo; })) << "and it can play another";
  EXPECT_FALSE(player->state().isPlaying) << "which begins paused";
}

TEST_F(MoviePlayerTest, TheLastOfManyLoadsCounts) {
  for (int i = 0; i < 10; ++i) {
    player->load(path("sound.mp3"));
    player->load(path("counted.mov"));
  }
  EXPECT_TRUE(until([&] { return player->state().hasVideo && shownNumber() == 0; }));
  player->load(path("sound.mp3"));
  EXPECT_EQ(picture, nullptr);
  EXPECT_TRUE(until([&] { return player->state().duration > 0 && !player->state().hasVideo; }));
}

TEST_F(MoviePlayerTest, ClearingLeavesNothing) {
  player->load(path("counted.mov"));
  player->play();
  ASSERT_TRUE(until([&] { return player->state().position > 0.2; }));
  player->clear();
  EXPECT_EQ(player->state().duration, 0);
  EXPECT_EQ(player->state().position, 0);
  EXPECT_FALSE(player->state().hasVideo);
  EXPECT_FALSE(player->state().isPlaying);
  EXPECT_EQ(picture, nullptr);
  EXPECT_FALSE(until([&] { return player->state().duration > 0; }, 200ms));
}

TEST_F(MoviePlayerTest, EndsInTheMiddleOfItsWork) {
  for (int i = 0; i < 5; ++i) {
    auto other = MpvMoviePlayers(scheduler.mainQueue(), "null").make();
    other->setPictureSize(640, 480);
    other->load(path("counted.mov"));
    other->play();
    if (i > 1) until([&] { return other->state().position > 0.1 * i; });
    other->seek(2);
    other.reset();
  }
}

}  // namespace
}  // namespace tallyrig
