#pragma once

#include "platform/UserFiles.h"

namespace tallyrig {

/// The machine's own files.
///
/// A replacement folder is the hidden ".tallyrig-staging" beside the source: no other place is sure to be on the same
/// volume, since subvolumes and quota projects are bounds too. Nobody but its owner can look into it.
///
/// What the file systems of a desktop can: exchange on ext4, XFS, Btrfs, F2FS, tmpfs and, from Linux 6.0 on, FAT;
/// second names on all of these but FAT, and on NFS and SMB; neither on exFAT. Clones on Btrfs and XFS. Locks are those
/// of flock(2), on the file itself, whatever name it has.
class LocalUserFiles final : public UserFiles {
 public:
  std::error_code attributes(const Path& path, FileAttributes& attributes) const override;
  std::error_code openForReading(const Path& path, std::unique_ptr<ByteSource>& file) const override;
  std::error_code replacementFolder(const Path& source, Path& folder) override;
  std::error_code copy(const Path& from, const Path& to) override;
  std::error_code write(const Path& path, std::uint64_t offset, std::span<const std::uint8_t> bytes) override;
  std::error_code sync(const Path& path) override;
  std::error_code exchange(const Path& one, const Path& other) override;
  std::error_code link(const Path& file, const Path& name) override;
  std::error_code rename(const Path& from, const Path& to) override;
  std::error_code remove(const Path& path) override;
  std::error_code lock(const Path& path, std::unique_ptr<FileLock>& lock) override;
};

}  // namespace tallyrig
