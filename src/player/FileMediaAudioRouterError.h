#pragma once

#include <string>

#include "platform/PlatformStatus.h"

namespace tallyrig {

/// Why the sound of a file cannot be played on its way of our own. Plain value.
struct FileMediaAudioRouterError {
  enum class Kind {
    outputDeviceConfiguration,
    noAudioTrack,
    readerCouldNotStart,
    missingPCMData,
    invalidAudioFormat,
  };

  Kind kind = Kind::readerCouldNotStart;
  /// What the platform answered; meaningful for `outputDeviceConfiguration` only.
  PlatformStatus status = kPlatformOk;

  std::string description() const;

  bool operator==(const FileMediaAudioRouterError&) const = default;
};

}  // namespace tallyrig
