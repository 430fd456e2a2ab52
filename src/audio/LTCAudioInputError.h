#pragma once

#include <string>

#include "platform/PlatformStatus.h"

namespace tallyrig {

/// Why a shared session could not be opened or joined. Plain value.
struct LTCAudioInputError {
  enum class Kind { osStatus, missingIOProc, outputOnlyDevice };

  Kind kind = Kind::osStatus;
  /// What the platform answered; meaningful for `osStatus` only.
  PlatformStatus status = kPlatformOk;

  std::string description() const;

  bool operator==(const LTCAudioInputError&) const = default;
};

}  // namespace tallyrig
