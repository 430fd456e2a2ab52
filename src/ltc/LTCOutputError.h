#pragma once

#include <string>

#include "platform/PlatformStatus.h"

namespace tallyrig {

/// Why an LTC output could not be started. Plain value.
struct LTCOutputError {
  enum class Kind { osStatus, generatorCreationFailed, missingIOProc };

  Kind kind = Kind::osStatus;
  /// What the platform answered; meaningful for `osStatus` only.
  PlatformStatus status = kPlatformOk;

  std::string description() const;

  bool operator==(const LTCOutputError&) const = default;
};

}  // namespace tallyrig
