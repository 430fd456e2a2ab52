#include "audio/LTCAudioInputError.h"

namespace tallyrig {

std::string LTCAudioInputError::description() const {
  switch (kind) {
    case Kind::osStatus:
      return "CoreAudio error " + std::to_string(status);
    case Kind::missingIOProc:
      return "CoreAudio did not create an input IOProc";
    case Kind::outputOnlyDevice:
      break;
  }
  return "Audio device has no input stream for shared full-duplex IO";
}

}  // namespace tallyrig
