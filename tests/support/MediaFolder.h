#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "support/TemporaryFolder.h"

namespace tallyrig {

/// What a command prints, its errors too; the test fails if the command does.
inline std::string outputOf(const std::string& command) {
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

inline std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

/// A path as one word of a command.
inline std::string quoted(const std::string& path) {
  std::string word = "'";
  for (const char letter : path) word += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
  return word + "'";
}

/// Inputs for ffmpeg: a picture of two seconds at that rate, and two seconds of sound with its codec.
inline std::string pictureOf(const std::string& rate) {
  return "-f lavfi -i testsrc=s=64x48:d=2:r=" + rate;
}
inline const std::string kSound = " -f lavfi -i sine=r=48000:d=2 -c:a aac";

/// A folder for the media of a test, gone with it.
class MediaFolder : public TemporaryFolder {
 public:
  std::string file(const std::string& name) const { return (path() / name).string(); }

  /// Makes a file by ffmpeg out of `recipe`, its inputs and options; the name of the file.
  std::string make(const std::string& name, const std::string& recipe) const {
    outputOf("ffmpeg -v error -nostdin -y " + recipe + " " + quoted(file(name)));
    return file(name);
  }
};

/// Of all packets of all sound and picture.
inline std::string packetHashes(const std::string& movie) {
  return outputOf("ffmpeg -v error -nostdin -i " + quoted(movie) + " -map '0:v?' -map '0:a?' -c copy -f streamhash -");
}

/// In seconds, as ffprobe has it.
inline double probedDuration(const std::string& movie) {
  return std::stod(outputOf("ffprobe -v error -show_entries format=duration -of csv=p=0 " + quoted(movie)));
}

/// Rate and start value of each timecode track, as ffprobe has them.
inline std::vector<std::string> probedTimecodeTracks(const std::string& movie) {
  std::vector<std::string> tracks;
  const std::string command =
      "ffprobe -v error -select_streams d -show_entries stream=codec_tag_string,avg_frame_rate:stream_tags=timecode "
      "-of csv=p=0 ";
  for (const std::string& line : linesOf(outputOf(command + quoted(movie)))) {
    if (line.starts_with("tmcd,")) tracks.push_back(line.substr(5));
  }
  return tracks;
}

}  // namespace tallyrig
