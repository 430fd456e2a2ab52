#include "filetools/FileAnalysis.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <string_view>

namespace tallyrig {
namespace {

constexpr double kProbeSeconds = 2;

bool isWholeNumber(std::string_view text) {
  // `from_chars` knows no plus sign.
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc{} && end == text.data() + text.size();
}

}  // namespace

std::string FileAnalysisError::description() const {
  switch (kind) {
    case Case::assetLoadFailed:
      return "Could not load media asset: " + message;
    case Case::cannotReadFile:
      return "Could not open the file for reading.";
    case Case::noLTCFound:
      return "No LTC timecode signal found in the file.";
    case Case::cancelled:
      break;
  }
  return "File analysis was cancelled.";
}

std::int64_t probeLength(double sampleRate) noexcept {
  return static_cast<std::int64_t>(kProbeSeconds * sampleRate);
}

std::vector<std::int64_t> probePositions(std::int64_t totalSamples, double sampleRate) {
  const std::int64_t span = totalSamples - probeLength(sampleRate);
  if (span <= 0) return {0};
  const auto part = [&](double fraction) { return static_cast<std::int64_t>(static_cast<double>(span) * fraction); };
  return {0, part(0.25), part(0.5), part(0.75), span};
}

Timecode projectToFileStart(const Timecode& timecode, std::int64_t samplePosition, double sampleRate) noexcept {
  const double frames =
      std::floor(static_cast<double>(samplePosition) / sampleRate * exactFrameRate(timecode.frameRate));
  return timecode.advanced(-static_cast<std::int64_t>(frames));
}

bool isMediaExtension(const std::string& pathExtension) {
  constexpr std::array<std::string_view, 4> kMediaExtensions{"mov", "mp4", "m4v", "m4a"};
  return std::ranges::find(kMediaExtensions, pathExtension) != kMediaExtensions.end();
}

std::string lowerCasedExtension(const std::string& fileName) {
  std::string extension = std::filesystem::path(fileName).extension().string();
  if (extension.starts_with('.')) extension.erase(0, 1);
  for (char& letter : extension) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return extension;
}

bool looksLikeTimecode(const std::string& text) {
  constexpr std::size_t kShortest = 11;
  if (text.size() < kShortest) return false;
  int parts = 0;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find(':', begin), text.size());
    if (end > begin) {
      if (!isWholeNumber(std::string_view(text).substr(begin, end - begin))) return false;
      ++parts;
    }
    begin = end + 1;
  }
  return parts == 4;
}

}  // namespace tallyrig
