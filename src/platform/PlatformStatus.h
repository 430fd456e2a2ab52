#pragma once

#include <cstdint>

namespace tallyrig {

/// The result of a platform call: 0, or a negative errno value. Messages print it as a signed decimal.
using PlatformStatus = std::int32_t;

inline constexpr PlatformStatus kPlatformOk = 0;

}  // namespace tallyrig
