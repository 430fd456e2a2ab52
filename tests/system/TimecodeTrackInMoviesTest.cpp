// Movies made by ffmpeg, edited by us, and looked at by ffprobe, mediainfo and ffmpeg.

#include <cmath>
#include <functional>

#include "filetools/MovieFault.h"
#include "filetools/TimecodeTrackEdit.h"
#include "filetools/TimecodeTrackWriter.h"
#include "platform/desktop/LocalUserFiles.h"
#include "support/EditedMovie.h"
#include "support/MediaFolder.h"
#include "support/ReshapedMovie.h"

namespace tallyrig {
namespace {

namespace fs = std::filesystem;

struct Kind {
  std::string name;
  std::string fileName;
  /// Inputs and options for ffmpeg.
  std::string recipe;
  Timecode start;
  TimecodeTrackFormat format;
  /// As ffprobe writes the rate and the first timecode.
  std::string expected;
  /// What becomes of the movie that ffmpeg has made.
  std::function<std::string(std::string_view)> reshape = {};
};

/// Pictures out of their order, for which the movie has edit lists.
const std::string kEdited = " -c:v libx264 -bf 2 -pix_fmt yuv420p";

std::vector<Kind> kinds() {
  const auto plain = [](MTCFrameRate rate) { return timecodeTrackFormat(rate); };
  constexpr auto k24 = MTCFrameRate::fps24;
  constexpr auto k25 = MTCFrameRate::fps25;
  constexpr auto k2997 = MTCFrameRate::fps2997;
  constexpr auto k30 = MTCFrameRate::fps30;
  const std::string mpeg = " -c:v mpeg4";
  return {
      {"Film", "a.mov", pictureOf("24") + kSound + mpeg, {10, 11, 12, 13, k24}, plain(k24), "24/1,10:11:12:13"},
      {"FilmOnVideo",
       "a.mov",
       pictureOf("24000/1001") + kSound + mpeg,
       {1, 0, 0, 0, k24},
       {k24, {1001, 24000}, 24, 0},
       "24000/1001,01:00:00:00"},
      {"Pal", "a.mov", pictureOf("25") + kSound + mpeg, {23, 59, 59, 24, k25}, plain(k25), "25/1,23:59:59:24"},
      {"Ntsc",
       "a.mov",
       pictureOf("30000/1001") + kSound + mpeg,
       {1, 0, 0, 2, k2997},
       plain(k2997),
       "30000/1001,01:00:00;02"},
      {"Thirty", "a.mov", pictureOf("30") + kSound + mpeg, {0, 0, 0, 0, k30}, plain(k30), "30/1,00:00:00:00"},
      {"HeaderFirst",
       "a.mov",
       pictureOf("25") + kSound + mpeg + " -movflags +faststart",
       {1, 0, 0, 0, k25},
       plain(k25),
       "25/1,01:00:00:00"},
      {"Mp4", "a.mp4", pictureOf("25") + kSound + mpeg, {1, 0, 0, 0, k25}, plain(k25), "25/1,01:00:00:00"},
      {"Mp4HeaderFirst",
       "a.mp4",
       pictureOf("25") + kSound + mpeg + " -movflags +faststart",
       {1, 0, 0, 0, k25},
       plain(k25),
       "25/1,01:00:00:00"},
      {"M4v", "a.m4v", pictureOf("25") + kSound + mpeg, {1, 0, 0, 0, k25}, plain(k25), "25/1,01:00:00:00"},
      {"OldTimecode",
       "a.mov",
       pictureOf("25") + kSound + mpeg + " -timecode 05:06:07:08",
       {1, 0, 0, 0, k25},
       plain(k25),
       "25/1,01:00:00:00"},
      {"PictureAlone", "a.mov", pictureOf("25") + mpeg, {1, 0, 0, 0, k25}, plain(k25), "25/1,01:00:00:00"},
      {"SoundAlone",
       "a.mov",
       "-f lavfi -i sine=r=48000:d=2 -c:a pcm_s24le",
       {1, 0, 0, 0, k30},
       plain(k30),
       "30/1,01:00:00:00"},
      {"EditedPicture", "a.mov", pictureOf("25") + kSound + kEdited, {1, 0, 0, 0, k25}, plain(k25), "25/1,01:00:00:00"},
      {"WideAtoms",
       "a.mov",
       pictureOf("25") + kSound + kEdited + " -timecode 05:06:07:08",
       {1, 0, 0, 0, k25},
       plain(k25),
       "25/1,01:00:00:00",
       wideMovie},
      {"OpenEndedMedia",
       "a.mov",
       pictureOf("25") + kSound + mpeg + " -movflags +faststart",
       {1, 0, 0, 0, k25},
       plain(k25),
       "25/1,01:00:00:00",
       openEndedMovie},
      {"StrangeAtoms",
       "a.mov",
       pictureOf("25") + kSound + mpeg,
       {1, 0, 0, 0, k25},
       plain(k25),
       "25/1,01:00:00:00",
       strangeMovie},
  };
}

/// The movie with the track, for containers that the writer leaves alone.
std::string edited(const std::string& bytes, const Kind& kind) {
  TimecodeTrackEdit edit;
  const auto error = planTimecodeTrack(MemoryBytes(bytes), kind.start, kind.format, edit);
  EXPECT_FALSE(error) << error.message();
  return withEdit(bytes, edit);
}

class TimecodeTrackInMovies : public testing::TestWithParam<Kind> {};

TEST_P(TimecodeTrackInMovies, IsReadByOthersAndChangesNothingElse) {
  const Kind& kind = GetParam();
  const MediaFolder folder;
  const std::string before = folder.make(kind.fileName, kind.recipe);
  const std::string after = folder.file("edited-" + kind.fileName);
  const std::string hashes = packetHashes(before);
  if (kind.reshape) {
    const std::string usual = readWhole(before);
    ASSERT_NE(kind.reshape(usual), usual);
    ASSERT_TRUE(writeWhole(before, kind.reshape(usual)));
    ASSERT_EQ(packetHashes(before), hashes) << "the same movie in another shape";
  }

  if (kind.fileName.ends_with(".mov")) {
    fs::copy(before, after);
    LocalUserFiles files;
    const TimecodeTrackResult result = writeTimecodeTrack(files, after, kind.start);
    ASSERT_EQ(result, TimecodeTrackResult{}) << result.text.value_or("");
  } else {
    ASSERT_TRUE(writeWhole(after, edited(readWhole(before), kind)));
  }

  EXPECT_EQ(probedTimecodeTracks(after), std::vector{kind.expected});
  EXPECT_EQ(packetHashes(after), hashes);
  EXPECT_NE(hashes, "");
  EXPECT_NEAR(probedDuration(after), probedDuration(before), 0.001);
  EXPECT_EQ(outputOf("ffmpeg -v error -nostdin -i " + after + " -f null -"), "");

  const std::string start = kind.expected.substr(kind.expected.find(',') + 1);
  const auto length = std::lround(probedDuration(before) * 1000);
  EXPECT_EQ(linesOf(outputOf("mediainfo --Output='Other;%Format%,%TimeCode_FirstFrame%,%Duration%\\n' " + after)).at(0),
            "QuickTime TC," + start + "," + std::to_string(length));

  EXPECT_NE(outputOf("mpv --no-config --vo=null --ao=null --frames=5 " + after), "");
  const std::string copy = folder.file("copy.mov");
  outputOf("ffmpeg -v error -nostdin -y -i " + after + " -map '0:v?' -map '0:a?' -c copy " + copy);
  EXPECT_EQ(packetHashes(copy), hashes);
}

INSTANTIATE_TEST_SUITE_P(Kinds, TimecodeTrackInMovies, testing::ValuesIn(kinds()),
                         [](const auto& kind) { return kind.param.name; });

TEST(TimecodeTrackInFragments, IsRefused) {
  const MediaFolder folder;
  const std::string movie = folder.make("a.mov", pictureOf("25") + " -c:v mpeg4 -movflags frag_keyframe+empty_moov");
  TimecodeTrackEdit edit;
  EXPECT_EQ(planTimecodeTrack(MemoryBytes(readWhole(movie)), {1, 0, 0, 0, MTCFrameRate::fps25},
                              timecodeTrackFormat(MTCFrameRate::fps25), edit),
            MovieFault::kFragmented);
}

}  // namespace
}  // namespace tallyrig
