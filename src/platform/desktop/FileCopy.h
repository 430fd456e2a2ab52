#pragma once

#include <filesystem>
#include <system_error>

namespace tallyrig {

/// Makes `to` a new file that is `from` but for its name: bytes, holes, times, permissions, owner, access control lists
/// and extended attributes. The bytes are shared where the file system can clone, otherwise the kernel copies them.
///
/// What only a privileged user may set, such as a foreign owner or a security label, is left as the system gives it.
/// The copy is not brought to disk. A failure can leave a part of it. Regular files only.
std::error_code copyFile(const std::filesystem::path& from, const std::filesystem::path& to);

}  // namespace tallyrig
