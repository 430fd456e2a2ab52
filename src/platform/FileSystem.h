#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace tallyrig {

/// The file operations that the program's own files need. Blocking; any thread but a real-time one.
/// An operation that fails says so in its result and leaves what was there as it was.
class FileSystem {
 public:
  virtual ~FileSystem() = default;

  /// Where this user's applications keep their data; absent if the system names no such folder.
  virtual std::optional<std::filesystem::path> applicationSupportDirectory() const = 0;

  /// The whole file into `contents`; a file above `limit` bytes is refused with `std::errc::file_too_large`.
  virtual std::error_code readFile(const std::filesystem::path& path, std::uint64_t limit,
                                   std::string& contents) const = 0;

  /// The folder with all its parents. One that exists already is no error.
  virtual std::error_code createDirectories(const std::filesystem::path& path) = 0;

  /// Replaces the file whole: at every instant, a power cut included, either the old or the new bytes stand at `path`.
  virtual std::error_code writeFileAtomically(const std::filesystem::path& path, std::string_view bytes) = 0;
};

}  // namespace tallyrig
