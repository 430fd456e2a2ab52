#include "filetools/FileAnalysisEngine.h"

#include <algorithm>
#include <cmath>
#include <system_error>
#include <utility>

#include "filetools/DedicatedTimecodeTrack.h"
#include "filetools/ProbeRun.h"

namespace tallyrig {
namespace {

using Path = FileAnalysisEngine::Path;
using Case = FileAnalysisError::Case;

// What a track that does not say how its sound is stored is taken for.
constexpr AudioFormat kUnknownFormat{48000, 1};

/// Where the links at `url` lead. What leads nowhere stays, and cannot be opened.
Path withoutLinks(const Path& url) {
  std::error_code error;
  Path target = std::filesystem::canonical(url, error);
  return error ? url : target;
}

bool isMedia(const Path& url) {
  return isMediaExtension(lowerCasedExtension(url.filename().string()));
}

double knownDuration(double seconds) {
  return std::isfinite(seconds) && seconds > 0 ? seconds : 0;
}

std::int64_t sampleCount(double sampleRate, double seconds) {
  // Above what any file has, and far from where a double no longer fits.
  constexpr double kMostSamples = 1e15;
  return static_cast<std::int64_t>(std::min(sampleRate * seconds, kMostSamples));
}

std::optional<std::string> taggedTimecode(const std::vector<MediaDescription::MetadataItem>& items) {
  for (const auto& item : items) {
    const auto mentions = [&](const char* word) { return item.key.find(word) != std::string::npos; };
    if ((mentions("time") || mentions("Time") || mentions("TIMECODE")) && item.stringValue) return item.stringValue;
  }
  for (const auto& item : items) {
    if (item.stringValue && looksLikeTimecode(*item.stringValue)) return item.stringValue;
  }
  return std::nullopt;
}

}  // namespace

/// A media file that is opened when it is first asked for, and then once.
class FileAnalysisEngine::SharedMedia {
 public:
  SharedMedia(MediaFiles& files, Path url) : files_(files), url_(std::move(url)) {}

  /// Null if it cannot be opened.
  MediaFile* file() {
    if (!tried_) failure_ = files_.open(url_, file_);
    tried_ = true;
    return file_.get();
  }
  std::string failure() const { return failure_.message(); }

 private:
  MediaFiles& files_;
  const Path url_;
  bool tried_ = false;
  std::unique_ptr<MediaFile> file_;
  std::error_code failure_;
};

FileAnalysisOutcome FileAnalysisEngine::analyse(const Path& url, const std::vector<int>& channels,
                                                const std::stop_token& stop) const {
  const FileAnalysisError cancelled{Case::cancelled, {}};
  if (stop.stop_requested()) return cancelled;
  const Path target = withoutLinks(url);
  SharedMedia media(readers_.media, target);
  // First, so that it is that of the file as it was when the search began, as long as the search may take.
  const std::optional<std::string> metadata = metadataTimecode(target, media);
  std::optional<FileAnalysisResult> result;
  FileAnalysisError failure;
  for (const int channel : channels) {
    if (stop.stop_requested()) return cancelled;
    // The name that the user gave decides, not the one that a link leads to.
    FileAnalysisOutcome outcome =
        isMedia(url) ? analyseAsset(media, channel, stop) : analyseAudioFile(target, channel, stop);
    if (auto* found = std::get_if<FileAnalysisResult>(&outcome)) {
      result = std::move(*found);
      break;
    }
    const auto& error = std::get<FileAnalysisError>(outcome);
    if (error.kind != Case::noLTCFound) failure = error;
  }
  if (stop.stop_requested()) return cancelled;
  if (!result) {
    if (!metadata) return failure;
    result.emplace();
    result->totalChannels = std::max(static_cast<int>(channels.size()), 1);
  }
  result->metadataTimecode = metadata;
  return *result;
}

FileAnalysisOutcome FileAnalysisEngine::analyseAsset(SharedMedia& media, int channel,
                                                     const std::stop_token& stop) const {
  MediaFile* file = media.file();
  if (file == nullptr) return FileAnalysisError{Case::assetLoadFailed, media.failure()};
  const MediaDescription& description = file->description();
  if (description.audioTracks.empty()) return FileAnalysisError{Case::noLTCFound, {}};
  const double seconds = knownDuration(description.durationSeconds);
  const AudioFormat format = description.audioTracks.front().format.value_or(kUnknownFormat);
  if (channel < 0 || channel >= format.channelCount) return FileAnalysisError{Case::cannotReadFile, {}};

  std::unique_ptr<AudioReader> reader;
  if (file->openAudio(0, reader) || !reader || channel >= reader->format().channelCount) {
    return FileAnalysisError{Case::cannotReadFile, {}};
  }
  const std::stop_callback endReading(stop, [&] { reader->cancel(); });
  ProbeRun run(readers_.clock, format.sampleRate, stop);
  for (const std::int64_t position : probePositions(sampleCount(format.sampleRate, seconds), format.sampleRate)) {
    if (stop.stop_requested()) return FileAnalysisError{Case::cancelled, {}};
    if (reader->seek(position)) return FileAnalysisError{Case::cannotReadFile, {}};
    // A reading that breaks off ends like the sound: what there was is decoded.
    bool fault = false;
    run.decode(run.collect(*reader, channel, probeLength(format.sampleRate), fault), position);
  }
  auto result = run.result();
  if (!result) return FileAnalysisError{Case::noLTCFound, {}};
  result->detectedChannel = channel;
  result->totalChannels = format.channelCount;
  result->fileDurationSeconds = seconds;
  return *result;
}

FileAnalysisOutcome FileAnalysisEngine::analyseAudioFile(const Path& url, int channel,
                                                         const std::stop_token& stop) const {
  std::unique_ptr<AudioFile> file;
  if (readers_.audio.open(url, file)) return FileAnalysisError{Case::cannotReadFile, {}};
  const AudioFormat format = file->format();
  const bool hasChannel = channel >= 0 && channel < format.channelCount;
  const std::stop_callback endReading(stop, [&] { file->cancel(); });
  ProbeRun run(readers_.clock, format.sampleRate, stop);
  for (const std::int64_t position : probePositions(file->frameCount(), format.sampleRate)) {
    if (stop.stop_requested()) return FileAnalysisError{Case::cancelled, {}};
    std::vector<float> samples;
    bool fault = !hasChannel || file->seek(position);
    if (!fault) samples = run.collect(*file, channel, probeLength(format.sampleRate), fault);
    if (fault) samples.clear();
    run.decode(samples, position);
  }
  auto result = run.result();
  if (!result) return FileAnalysisError{Case::noLTCFound, {}};
  result->detectedChannel = channel;
  result->totalChannels = format.channelCount;
  result->fileDurationSeconds = static_cast<double>(file->frameCount()) / format.sampleRate;
  return *result;
}

FileSummary FileAnalysisEngine::summary(const Path& url) const {
  FileSummary summary;
  const Path target = withoutLinks(url);
  if (!isMedia(url)) {
    std::unique_ptr<AudioFile> file;
    if (!readers_.audio.open(target, file)) summary.channelCount = file->format().channelCount;
    return summary;
  }
  std::unique_ptr<MediaFile> file;
  if (readers_.media.open(target, file)) return summary;
  const auto& tracks = file->description().audioTracks;
  if (!tracks.empty() && tracks.front().format) summary.channelCount = tracks.front().format->channelCount;
  const auto& pictures = file->description().videoTracks;
  // The comparison also refuses NaN.
  if (!pictures.empty() && pictures.front().nominalFrameRate > 0) {
    summary.videoFrameRate = pictures.front().nominalFrameRate;
  }
  return summary;
}

std::optional<std::string> FileAnalysisEngine::readMetadataTimecode(const Path& url) const {
  const Path target = withoutLinks(url);
  SharedMedia media(readers_.media, target);
  return metadataTimecode(target, media);
}

std::optional<std::string> FileAnalysisEngine::metadataTimecode(const Path& url, SharedMedia& media) const {
  if (const auto track = readDedicatedTimecodeTrack(readers_.files, url)) return track->timecode.text();
  MediaFile* file = media.file();
  return file == nullptr ? std::nullopt : taggedTimecode(file->description().metadata);
}

}  // namespace tallyrig
