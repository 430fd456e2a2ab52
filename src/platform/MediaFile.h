#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "platform/AudioFile.h"

namespace tallyrig {

/// What a media file says of itself.
struct MediaDescription {
  struct AudioTrack {
    /// Absent if the track does not say how its sound is stored.
    std::optional<AudioFormat> format;
  };

  struct VideoTrack {
    /// Pictures of the track over its duration, a second; 0 if the file does not say.
    double nominalFrameRate = 0;
  };

  /// A tag of the file as a whole. What only describes how the file is built, such as its creation time, is none.
  struct MetadataItem {
    /// UTF-8 if the file is honest.
    std::string key;
    std::optional<std::string> stringValue;
  };

  /// Of the file as a whole. Negative or not finite where the file does not say.
  double durationSeconds = 0;
  /// All in the order of the file.
  std::vector<AudioTrack> audioTracks;
  std::vector<VideoTrack> videoTracks;
  std::vector<MetadataItem> metadata;
};

/// An open media file, such as a QuickTime movie or an MP4: its tracks, and a way to each track's samples. Opening
/// reads what the file says of itself, and no more of its sound than it takes to learn the sound's format.
///
/// Blocking; one thread at a time that is no real-time thread. Errors have a text for the user.
class MediaFile {
 public:
  virtual ~MediaFile() = default;

  virtual const MediaDescription& description() const = 0;

  /// Decodes the audio track of that number, from its first frame on. A file has one reader at a time, which must not
  /// outlive it. On failure `reader` is empty.
  virtual std::error_code openAudio(std::size_t track, std::unique_ptr<AudioReader>& reader) = 0;
};

class MediaFiles {
 public:
  virtual ~MediaFiles() = default;

  /// Never waits for what is no regular file. On failure `file` is empty. Any thread but a real-time one.
  virtual std::error_code open(const std::filesystem::path& path, std::unique_ptr<MediaFile>& file) = 0;
};

}  // namespace tallyrig
