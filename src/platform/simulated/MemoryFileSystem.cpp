#include "platform/simulated/MemoryFileSystem.h"

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

namespace tallyrig {
namespace {

std::error_code failure(int errorNumber) {
  return {errorNumber, std::generic_category()};
}

/// One spelling for each path: no dots, no trailing separator.
std::filesystem::path normal(const std::filesystem::path& path) {
  auto result = path.lexically_normal();
  return result.has_filename() || !result.has_relative_path() ? result : result.parent_path();
}

bool isInside(const std::filesystem::path& path, const std::filesystem::path& folder) {
  const auto [end, ignored] = std::mismatch(folder.begin(), folder.end(), path.begin(), path.end());
  return end == folder.end();
}

}  // namespace

std::error_code MemoryFileSystem::readFile(const std::filesystem::path& path, std::uint64_t limit,
                                           std::string& contents) const {
  if (const auto error = enter(Operation::kReadFile)) return error;
  if (isDirectory(path)) return failure(EISDIR);
  const auto found = files_.find(normal(path));
  if (found == files_.end()) return failure(ENOENT);
  if (found->second.size() > limit) return std::make_error_code(std::errc::file_too_large);
  contents = found->second;
  return {};
}

std::error_code MemoryFileSystem::createDirectories(const std::filesystem::path& path) {
  if (const auto error = enter(Operation::kCreateDirectories)) return error;
  std::vector<std::filesystem::path> missing;
  std::filesystem::path folder;
  for (const auto& part : normal(path)) {
    folder /= part;
    if (files_.contains(folder)) return failure(folder == normal(path) ? EEXIST : ENOTDIR);
    missing.push_back(folder);
  }
  directories_.insert(missing.begin(), missing.end());
  return {};
}

std::error_code MemoryFileSystem::writeFileAtomically(const std::filesystem::path& path, std::string_view bytes) {
  if (const auto error = enter(Operation::kWriteFile)) return error;
  const auto parent = normal(path).parent_path();
  if (files_.contains(parent)) return failure(ENOTDIR);
  if (!isDirectory(parent)) return failure(ENOENT);
  if (isDirectory(path)) return failure(EISDIR);
  files_[normal(path)] = bytes;
  ++writeCount_;
  return {};
}

void MemoryFileSystem::fail(Operation operation, int errorNumber) {
  behaviours_[static_cast<std::size_t>(operation)].errorNumber = errorNumber;
}

int MemoryFileSystem::callCount(Operation operation) const {
  return behaviour(operation).calls;
}

void MemoryFileSystem::setApplicationSupportDirectory(std::optional<std::filesystem::path> path) {
  applicationSupport_ = std::move(path);
}

void MemoryFileSystem::put(const std::filesystem::path& path, std::string_view bytes) {
  for (auto folder = normal(path).parent_path(); directories_.insert(folder).second;) {
    folder = folder.parent_path();
  }
  files_[normal(path)] = bytes;
}

void MemoryFileSystem::remove(const std::filesystem::path& path) {
  const auto target = normal(path);
  std::erase_if(files_, [&](const auto& file) { return isInside(file.first, target); });
  std::erase_if(directories_, [&](const auto& folder) { return isInside(folder, target); });
}

std::optional<std::string> MemoryFileSystem::contents(const std::filesystem::path& path) const {
  const auto found = files_.find(normal(path));
  if (found == files_.end()) return std::nullopt;
  return found->second;
}

bool MemoryFileSystem::isDirectory(const std::filesystem::path& path) const {
  return directories_.contains(normal(path));
}

std::error_code MemoryFileSystem::enter(Operation operation) const {
  ++behaviour(operation).calls;
  return behaviour(operation).errorNumber == 0 ? std::error_code{} : failure(behaviour(operation).errorNumber);
}

}  // namespace tallyrig
