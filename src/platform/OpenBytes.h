#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <system_error>

#include "platform/ByteSource.h"

namespace tallyrig {

/// How the readers of media get at a file's bytes: opens a regular file, and refuses all else without waiting for it.
/// Called on whatever thread opens the media.
using OpenBytes = std::function<std::error_code(const std::filesystem::path&, std::unique_ptr<ByteSource>&)>;

}  // namespace tallyrig
