#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "timecode/Timecode.h"

namespace tallyrig {

/// What a file says before it is searched. Plain value.
struct FileSummary {
  int channelCount = 1;
  /// Pictures a second, above 0; absent without a picture.
  std::optional<double> videoFrameRate;

  bool operator==(const FileSummary&) const = default;
};

/// What one of the short stretches that are read of a file has shown. Plain value.
struct ProbeResult {
  /// Where the stretch begins, from the start of the file.
  double probeTimeSeconds = 0;
  /// The first frame in it; absent if nothing decoded.
  std::optional<Timecode> timecode;

  bool operator==(const ProbeResult&) const = default;
};

/// The timecode that a media file carries. Plain value.
struct FileAnalysisResult {
  /// Of the first frame that was decoded. `fps25` if none was and the file only says a timecode of itself.
  MTCFrameRate detectedFrameRate = MTCFrameRate::fps25;
  /// The timecode of the file's first sample, reckoned back from that frame by the nominal rate; absent as above.
  std::optional<Timecode> timecodeAtFileStart;
  /// Counts from 0.
  int detectedChannel = 0;
  int totalChannels = 0;
  double fileDurationSeconds = 0;
  /// In the order of the file.
  std::vector<ProbeResult> probeResults;
  /// What the file's timecode track or a tag says, as it stands.
  std::optional<std::string> metadataTimecode;

  bool operator==(const FileAnalysisResult&) const = default;
};

/// Why a file gave no result. Plain value.
struct FileAnalysisError {
  enum class Case { assetLoadFailed, cannotReadFile, noLTCFound, cancelled };

  Case kind = Case::noLTCFound;
  /// Of `assetLoadFailed`: what the reader of the file says.
  std::string message;

  /// For the user.
  std::string description() const;

  bool operator==(const FileAnalysisError&) const = default;
};

using FileAnalysisOutcome = std::variant<FileAnalysisResult, FileAnalysisError>;

/// Where a file of so many samples is probed, as positions of samples: two seconds at its beginning, its end and
/// three places between; only at its beginning if it is no longer than that.
std::vector<std::int64_t> probePositions(std::int64_t totalSamples, double sampleRate);

/// Samples of one probe.
std::int64_t probeLength(double sampleRate) noexcept;

/// The timecode of sample 0, if `timecode` begins at `samplePosition`; round the midnight, where it must.
Timecode projectToFileStart(const Timecode& timecode, std::int64_t samplePosition, double sampleRate) noexcept;

/// Whether a file of this name is read as a movie: by its extension alone, whatever its bytes are.
bool isMediaExtension(const std::string& pathExtension);

/// The extension of a file's name without its dot, in lower case.
std::string lowerCasedExtension(const std::string& fileName);

/// Whether a tag's text looks like a timecode: at least 11 bytes with four whole numbers between colons.
bool looksLikeTimecode(const std::string& text);

}  // namespace tallyrig
