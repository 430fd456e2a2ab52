#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

namespace tallyrig {

/// What a shell command prints; the test fails if the command does.
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

/// A folder for the files of a test, gone with it.
class MediaFolder {
 public:
  MediaFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "tallyrig-media-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category());
    path_ = name;
  }
  ~MediaFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  MediaFolder(const MediaFolder&) = delete;
  MediaFolder& operator=(const MediaFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::string file(const std::string& name) const { return (path_ / name).string(); }

  /// Makes a file by ffmpeg out of `recipe`, its inputs and options; the name of the file.
  std::string make(const std::string& name, const std::string& recipe) const {
    outputOf("ffmpeg -v error -nostdin -y " + recipe + " '" + file(name) + "'");
    return file(name);
  }

 private:
  std::filesystem::path path_;
};

inline std::string readWhole(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeWhole(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary);
  file << bytes;
  ASSERT_TRUE(file.flush().good());
}

}  // namespace tallyrig
