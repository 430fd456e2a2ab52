#include "ltc/LTCOutputError.h"

namespace tallyrig {

std::string LTCOutputError::description() const {
  switch (kind) {
    case Kind::osStatus:
      return "CoreAudio output error " + std::to_string(status);
    case Kind::generatorCreationFailed:
      return "Could not create LTC encoder";
    case Kind::missingIOProc:
      break;
  }
  return "CoreAudio did not create an output IOProc";
}

}  // namespace tallyrig
