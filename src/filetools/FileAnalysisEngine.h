#pragma once

#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "filetools/FileAnalysis.h"
#include "platform/HostClock.h"
#include "platform/MediaFile.h"
#include "platform/UserFiles.h"

namespace tallyrig {

/// What the engine reads files with.
struct FileAnalysisReaders {
  MediaFiles& media;
  AudioFiles& audio;
  const UserFiles& files;
  const HostClock& clock;
};

/// Finds the LTC that is recorded on a channel of a media file. However long the file is, at most five stretches of two
/// seconds are read and decoded for each channel.
///
/// Holds no state: each call opens its own readers. Blocking; any thread but a real-time one, and more than one at a
/// time. Symbolic links are followed.
class FileAnalysisEngine {
 public:
  using Path = std::filesystem::path;

  explicit FileAnalysisEngine(const FileAnalysisReaders& readers) : readers_(readers) {}

  /// Tries the channels, which count from 0, in this order and ends with the first that carries LTC. `stop` is heeded
  /// between any two pieces of work and ends a read that is under way.
  FileAnalysisOutcome analyse(const Path& url, const std::vector<int>& channels, const std::stop_token& stop) const;

  /// Both of the following, for one opening of the file.
  FileSummary summary(const Path& url) const;

  /// 1 when nothing can be learnt.
  int channelCount(const Path& url) const { return summary(url).channelCount; }

  /// Pictures a second, above 0; absent for a file that is no movie, by its extension, or has no picture.
  std::optional<double> videoFrameRate(const Path& url) const { return summary(url).videoFrameRate; }

  /// A timecode that the file says of itself: that of its timecode track, or else of a tag that mentions time, or else
  /// of one that looks like a timecode.
  std::optional<std::string> readMetadataTimecode(const Path& url) const;

 private:
  class SharedMedia;

  FileAnalysisOutcome analyseAsset(SharedMedia& media, int channel, const std::stop_token& stop) const;
  FileAnalysisOutcome analyseAudioFile(const Path& url, int channel, const std::stop_token& stop) const;
  std::optional<std::string> metadataTimecode(const Path& url, SharedMedia& media) const;

  FileAnalysisReaders readers_;
};

}  // namespace tallyrig
