#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tallyrig {

/// A stretch of LTC to be made by libltc's own encoder: a known truth to hold the program against.
struct ReferenceSpec {
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
struct ReferenceSignal {
  std::vector<float> samples;
  std::vector<std::string> timecodes;
};

/// Absent if a value is not one that the encoder takes.
std::optional<ReferenceSignal> encodeReference(const ReferenceSpec& signal);

/// The timecodes that bare libltc reads of these samples when silence stands before and after them. It never reads the
/// very first frame, whose first edge comes out of silence, nor the last, whose last edge never comes.
std::vector<std::string> decodeReference(const std::vector<float>& samples, double sampleRate);

}  // namespace tallyrig
