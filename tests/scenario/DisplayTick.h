#pragma once

#include <chrono>

namespace tallyrig {

/// A tick of the display; not quite 16 ms, so that it does not fall on the boundaries of frames again and again.
inline constexpr std::chrono::nanoseconds kTick{16'123'457};

}  // namespace tallyrig
