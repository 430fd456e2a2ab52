#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tallyrig {

/// One channel of sound.
struct Sound {
  std::vector<float> samples;
  double sampleRate = 0;
};

/// Writes a mono WAV file of 24 bits. An empty text, or what went wrong.
std::string writeWav(const std::filesystem::path& path, const Sound& sound);

/// The first channel of a sound file. Absent if it cannot be read.
std::optional<Sound> readSound(const std::filesystem::path& path);

}  // namespace tallyrig
