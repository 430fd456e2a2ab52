#include "player/FileMediaAudioRouterError.h"

namespace tallyrig {

std::string FileMediaAudioRouterError::description() const {
  switch (kind) {
    case Kind::outputDeviceConfiguration:
      return "The selected output device could not be configured (Core Audio error " + std::to_string(status) + ").";
    case Kind::noAudioTrack:
      return "No audio track was found.";
    case Kind::readerCouldNotStart:
      return "The audio track could not be decoded.";
    case Kind::missingPCMData:
      return "Decoded audio did not contain valid PCM samples.";
    case Kind::invalidAudioFormat:
      break;
  }
  return "The audio track has an unsupported channel layout.";
}

}  // namespace tallyrig
