#pragma once

#include <filesystem>
#include <string>
#include <variant>

#include "platform/MediaFile.h"

namespace tallyrig {

/// The sound of a media file, as the player needs to know it before it plays. Plain value.
struct StreamingMediaAudio {
  std::filesystem::path url;
  /// The audio track's own rate in hertz, above 0.
  double sampleRate = 0;
  /// Above 0.
  int channelCount = 0;
  /// 0 where the file does not say.
  double durationSeconds = 0;

  /// The description of the file's first audio track, or why it cannot be played, as a text for the user. Blocking;
  /// any thread but a real-time one.
  static std::variant<StreamingMediaAudio, std::string> load(const std::filesystem::path& url, MediaFiles& files);

  bool operator==(const StreamingMediaAudio&) const = default;
};

}  // namespace tallyrig
