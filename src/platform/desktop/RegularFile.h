#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <system_error>

#include "platform/desktop/PosixFile.h"

namespace tallyrig {

/// Opens a file for reading if it is a regular one. Neither follows a symbolic link to it nor waits for a pipe.
inline std::error_code openRegularFile(const std::filesystem::path& path, Descriptor& file, struct stat& status) {
  file = openFile(path, O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY);
  if (!file.isOpen()) return lastError();
  if (::fstat(file.number(), &status) != 0) return lastError();
  if (S_ISDIR(status.st_mode)) return std::make_error_code(std::errc::is_a_directory);
  return S_ISREG(status.st_mode) ? std::error_code{} : std::make_error_code(std::errc::operation_not_supported);
}

}  // namespace tallyrig
