#pragma once

#include <system_error>

namespace tallyrig {

/// An error of the FFmpeg libraries, a negative number: the system's own where it stands for one, a cancellation where
/// it says that the caller wanted to end, and otherwise one with FFmpeg's text.
std::error_code ffmpegError(int status);

}  // namespace tallyrig
