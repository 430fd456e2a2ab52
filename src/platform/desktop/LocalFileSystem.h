#pragma once

#include "platform/FileSystem.h"

namespace tallyrig {

/// The machine's own files.
///
/// A file is replaced through a hidden temporary one in its folder, which a failure removes. It keeps its permissions,
/// and a new one gets those that the umask leaves. A symbolic link stays and its target is replaced. Where the rename
/// stands but the folder cannot be brought to disk, the error is returned although the new bytes are there.
class LocalFileSystem final : public FileSystem {
 public:
  std::optional<std::filesystem::path> applicationSupportDirectory() const override;
  /// Regular files only: anything else is refused without waiting for it.
  std::error_code readFile(const std::filesystem::path& path, std::uint64_t limit,
                           std::string& contents) const override;
  std::error_code createDirectories(const std::filesystem::path& path) override;
  std::error_code writeFileAtomically(const std::filesystem::path& path, std::string_view bytes) override;
};

}  // namespace tallyrig
