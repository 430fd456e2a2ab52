#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tallyrig {

/// A stretch of LTC to be made by libltc's own encoder: a known truth to hold the program against.
struct LtcSignal {
  /// "24", "25", "29.97df" or "30".
  std::string rate = "25";
  /// "HH:MM:SS:FF" of the first frame.
  std::string start = "01:00:00:00";
  /// How many timecode frames.
  int frames = 250;
  double sampleRate = 48000;
  /// Peak; above 0 the encoder keeps its own level.
  double levelDBFS = -6;
};

/// The samples, and the timecode that each frame carries.
struct EncodedLtc {
  std::vector<float> samples;
  std::vector<std::string> timecodes;
};

/// Absent if a value is not one that the encoder takes.
std::optional<EncodedLtc> encodeLtc(const LtcSignal& signal);

/// Writes a mono WAV file of 24 bits. An empty text, or what went wrong.
std::string writeWav(const std::filesystem::path& path, const std::vector<float>& samples, double sampleRate);

}  // namespace tallyrig
