// Movies made by ffmpeg, edited by us, and looked at by ffprobe, mediainfo and ffmpeg.

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "filetools/MovieFault.h"
#include "filetools/TimecodeTrackEdit.h"
#include "support/EditedMovie.h"

namespace tallyrig {
namespace {

namespace fs = std::filesystem;

/// What a command prints; the test fails if it does.
std::string outputOf(const std::string& command) {
  std::string output;
  std::FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return "cannot be run";
  std::array<char, 4096> part;
  for (std::size_t count = 0; (count = std::fread(part.data(), 1, part.size(), pipe)) > 0;) {
    output.append(part.data(), count);
  }
  EXPECT_EQ(pclose(pipe), 0) << command << '\n' << output;
  return output;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

class MovieFolder {
 public:
  MovieFolder() {
    std::string name = (fs::temp_directory_path() / "tallyrig-movies-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category());
    path_ = name;
  }
  ~MovieFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  MovieFolder(const MovieFolder&) = delete;
  MovieFolder& operator=(const MovieFolder&) = delete;

  std::string file(const std::string& name) const { return (path_ / name).string(); }

 private:
  fs::path path_;
};

std::string readWhole(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void writeWhole(const std::string& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary);
  file << bytes;
  ASSERT_TRUE(file.flush().good());
}

std::string packetHashes(const std::string& movie) {
  return outputOf("ffmpeg -v error -nostdin -i " + movie + " -map '0:v?' -map '0:a?' -c copy -f streamhash -");
}

double durationOf(const std::string& movie) {
  return std::stod(outputOf("ffprobe -v error -show_entries format=duration -of csv=p=0 " + movie));
}

/// Rate and start value of each timecode track, as ffprobe has them.
std::vector<std::string> timecodeTracks(const std::string& movie) {
  std::vector<std::string> tracks;
  for (const std::string& line : linesOf(outputOf("ffprobe -v error -select_streams d -show_entries "
                                                  "stream=codec_tag_string,avg_frame_rate:stream_tags=timecode "
                                                  "-of csv=p=0 " +
                                                  movie))) {
    if (line.starts_with("tmcd,")) tracks.push_back(line.substr(5));
  }
  return tracks;
}

struct Kind {
  std::string name;
  std::string fileName;
  /// Inputs and options for ffmpeg.
  std::string recipe;
  Timecode start;
  TimecodeTrackFormat format;
  /// As ffprobe writes the rate and the first timecode.
  std::string expected;
};

const std::string kSound = " -f lavfi -i sine=r=48000:d=2 -c:a aac";

std::string picture(const std::string& rate) {
  return "-f lavfi -i testsrc=s=64x48:d=2:r=" + rate;
}

std::vector<Kind> kinds() {
  const auto plain = [](MTCFrameRate rate) { return timecodeTrackFormat(rate); };
  constexpr auto k24 = MTCFrameRate::fps24;
  constexpr auto k25 = MTCFrameRate::fps25;
  constexpr auto k2997 = MTCFrameRate::fps2997;
  constexpr auto k30 = MTCFrameRate::fps30;
  const std::string mpeg = " -c:v mpeg4";
  return {
      {"Film", "a.mov", picture("24") + kSound + mpeg, {10, 11, 12, 13, k24}, plain(k24), "24/1,10:11:12:13"},
      {"FilmOnVideo",
       "a.mov",
       picture("24000/1001") + kSound + mpeg,
       {1, 0, 0, 0, k24},
       {k24, {1001, 24000}, 24, 0},
       "24000/1001,01:00:00:00"},
      {"Pal", "a.mov", picture("25") + kSound + mpeg, {23, 59, 59, 24, k25}, plain(k25), "25/1,23:59:59:24"},
      {"Ntsc",
       "a.mov",
       picture("30000/1001") + kSound + mpeg,
       {1, 0, 0, 2, k2997},
       plain(k2997),
       "30000/1001,01:00:00;02"},
      {"Thirty", "a.mov", picture("30") + kSound + mpeg, {0, 0, 0, 0, k30}, plain(k30), "30/1,00:00:00:00"},
      {"HeaderFirst",
       "a.mov",
       picture("25") + kSound + mpeg + " -movflags +faststart",
       {1, 0, 0, 0, k25},
       plain(k25),
       "25/1,01:00:00:00"},
      {"Mp4", "a.mp4", picture("25") + kSound + mpeg, {1, 0, 0, 0, k25}, plain(k25), "25/1,01:00:00:00"},
      {"Mp4HeaderFirst",
       "a.mp4",
       picture("25") + kSound + mpeg + " -movflags +faststart",
       {1, 0, 0, 0, k25},
       plain(k25),
       "25/1,01:00:00:00"},
      {"M4v", "a.m4v", picture("25") + kSound + mpeg, {1, 0, 0, 0, k25}, plain(k25), "25/1,01:00:00:00"},
      {"OldTimecode",
       "a.mov",
       picture("25") + kSound + mpeg + " -timecode 05:06:07:08",
       {1, 0, 0, 0, k25},
       plain(k25),
       "25/1,01:00:00:00"},
      {"PictureAlone", "a.mov", picture("25") + mpeg, {1, 0, 0, 0, k25}, plain(k25), "25/1,01:00:00:00"},
      {"SoundAlone",
       "a.mov",
       "-f lavfi -i sine=r=48000:d=2 -c:a pcm_s24le",
       {1, 0, 0, 0, k30},
       plain(k30),
       "30/1,01:00:00:00"},
      {"EditedPicture",
       "a.mov",
       picture("25") + kSound + " -c:v libx264 -bf 2 -pix_fmt yuv420p",
       {1, 0, 0, 0, k25},
       plain(k25),
       "25/1,01:00:00:00"},
  };
}

class TimecodeTrackInMovies : public testing::TestWithParam<Kind> {};

TEST_P(TimecodeTrackInMovies, IsReadByOthersAndChangesNothingElse) {
  const Kind& kind = GetParam();
  const MovieFolder folder;
  const std::string before = folder.file(kind.fileName);
  const std::string after = folder.file("edited-" + kind.fileName);
  outputOf("ffmpeg -v error -nostdin -y " + kind.recipe + " " + before);

  const std::string bytes = readWhole(before);
  TimecodeTrackEdit edit;
  const auto error = planTimecodeTrack(MemoryBytes(bytes), kind.start, kind.format, edit);
  ASSERT_FALSE(error) << error.message();
  writeWhole(after, withEdit(bytes, edit));

  EXPECT_EQ(timecodeTracks(after), std::vector{kind.expected});
  EXPECT_EQ(packetHashes(after), packetHashes(before));
  EXPECT_NE(packetHashes(after), "");
  EXPECT_NEAR(durationOf(after), durationOf(before), 0.001);
  EXPECT_EQ(outputOf("ffmpeg -v error -nostdin -i " + after + " -f null -"), "");

  const std::string start = kind.expected.substr(kind.expected.find(',') + 1);
  const auto length = std::lround(durationOf(before) * 1000);
  EXPECT_EQ(linesOf(outputOf("mediainfo --Output='Other;%Format%,%TimeCode_FirstFrame%,%Duration%\\n' " + after)).at(0),
            "QuickTime TC," + start + "," + std::to_string(length));

  const std::string copy = folder.file("copy.mov");
  outputOf("ffmpeg -v error -nostdin -y -i " + after + " -map '0:v?' -map '0:a?' -c copy " + copy);
  EXPECT_EQ(packetHashes(copy), packetHashes(before));
}

INSTANTIATE_TEST_SUITE_P(Kinds, TimecodeTrackInMovies, testing::ValuesIn(kinds()),
                         [](const auto& kind) { return kind.param.name; });

TEST(TimecodeTrackInFragments, IsRefused) {
  const MovieFolder folder;
  const std::string movie = folder.file("a.mov");
  outputOf("ffmpeg -v error -nostdin -y " + picture("25") + " -c:v mpeg4 -movflags frag_keyframe+empty_moov " + movie);
  TimecodeTrackEdit edit;
  EXPECT_EQ(planTimecodeTrack(MemoryBytes(readWhole(movie)), {1, 0, 0, 0, MTCFrameRate::fps25},
                              timecodeTrackFormat(MTCFrameRate::fps25), edit),
            MovieFault::kFragmented);
}

}  // namespace
}  // namespace tallyrig
