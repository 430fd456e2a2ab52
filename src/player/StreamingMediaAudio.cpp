#include "player/StreamingMediaAudio.h"

#include <cmath>
#include <memory>

#include "player/FileMediaAudioRouterError.h"

namespace tallyrig {

std::variant<StreamingMediaAudio, std::string> StreamingMediaAudio::load(const std::filesystem::path& url,
                                                                         MediaFiles& files) {
  using Kind = FileMediaAudioRouterError::Kind;
  std::unique_ptr<MediaFile> file;
  if (const auto error = files.open(url, file)) return error.message();
  const MediaDescription& media = file->description();
  if (media.audioTracks.empty()) return FileMediaAudioRouterError{Kind::noAudioTrack}.description();
  const auto& format = media.audioTracks.front().format;
  if (!format || !(format->sampleRate > 0) || format->channelCount < 1) {
    return FileMediaAudioRouterError{Kind::invalidAudioFormat}.description();
  }
  std::unique_ptr<AudioReader> reader;
  if (const auto error = file->openAudio(0, reader)) return error.message();
  if (!reader) return FileMediaAudioRouterError{Kind::readerCouldNotStart}.description();
  const double duration = media.durationSeconds;
  return StreamingMediaAudio{url, format->sampleRate, format->channelCount,
                             std::isfinite(duration) && duration > 0 ? duration : 0.0};
}

}  // namespace tallyrig
