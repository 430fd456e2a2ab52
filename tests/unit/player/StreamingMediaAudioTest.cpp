#include "player/StreamingMediaAudio.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "support/SimulatedMediaFiles.h"

namespace tallyrig {
namespace {

class StreamingMediaAudioTest : public testing::Test {
 protected:
  StreamingMediaAudioTest() : media(files.files["clip.mov"] = countedMedia(44100, 6, 88200)) {}

  std::string failure() { return std::get<std::string>(StreamingMediaAudio::load("clip.mov", files)); }

  SimulatedMediaFiles files;
  SimulatedMedia& media;
};

TEST_F(StreamingMediaAudioTest, DescribesTheFirstAudioTrack) {
  media.description.audioTracks.push_back({AudioFormat{48000, 2}});
  EXPECT_EQ(std::get<StreamingMediaAudio>(StreamingMediaAudio::load("clip.mov", files)),
            (StreamingMediaAudio{"clip.mov", 44100, 6, 2.0}));
  EXPECT_EQ(files.openFiles, 0);
  EXPECT_EQ(files.liveReaders, 0);
}

TEST_F(StreamingMediaAudioTest, AnUnknownDurationIsZero) {
  for (const double duration :
       {-1.0, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
    media.description.durationSeconds = duration;
    EXPECT_EQ(std::get<StreamingMediaAudio>(StreamingMediaAudio::load("clip.mov", files)).durationSeconds, 0)
        << duration;
  }
}

TEST_F(StreamingMediaAudioTest, AFileWithoutSoundSaysSo) {
  media.description.audioTracks.clear();
  EXPECT_EQ(failure(), "No audio track was found.");
}

TEST_F(StreamingMediaAudioTest, AFormatThatCannotBePlayedIsRefused) {
  for (const std::optional<AudioFormat>& format :
       {std::optional<AudioFormat>(), std::optional(AudioFormat{0, 2}), std::optional(AudioFormat{-1, 2}),
        std::optional(AudioFormat{std::numeric_limits<double>::quiet_NaN(), 2}),
        std::optional(AudioFormat{48000, 0})}) {
    media.description.audioTracks[0].format = format;
    EXPECT_EQ(failure(), "The audio track has an unsupported channel layout.");
  }
}

TEST_F(StreamingMediaAudioTest, PassesOnWhyTheFileCannotBeRead) {
  media.audioError = std::make_error_code(std::errc::not_supported);
  EXPECT_EQ(failure(), media.audioError.message());
  media.audioError.clear();
  media.givesNoReader = true;
  EXPECT_EQ(failure(), "The audio track could not be decoded.");
  media.openError = std::make_error_code(std::errc::permission_denied);
  EXPECT_EQ(failure(), media.openError.message());
}

}  // namespace
}  // namespace tallyrig
