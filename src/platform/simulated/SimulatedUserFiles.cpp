#include "platform/simulated/SimulatedUserFiles.h"

#include <algorithm>
#include <utility>

namespace tallyrig {
namespace {

using Path = UserFiles::Path;

std::error_code failure(std::errc error) {
  return std::make_error_code(error);
}

}  // namespace

class SimulatedUserFiles::File final : public ByteSource {
 public:
  File(const SimulatedUserFiles& files, Path path, NodePointer node)
      : files_(files), path_(std::move(path)), node_(std::move(node)), size_(node_->bytes.size()) {}

  std::uint64_t size() const override { return size_; }

  std::error_code read(std::uint64_t offset, std::span<std::uint8_t> into) const override {
    if (const auto error = files_.enter(Operation::kRead, path_)) return error;
    const std::uint64_t there = node_->bytes.size();
    if (offset > there || into.size() > there - offset) return failure(std::errc::no_message_available);
    std::copy_n(node_->bytes.begin() + static_cast<std::ptrdiff_t>(offset), into.size(), into.begin());
    return {};
  }

 private:
  const SimulatedUserFiles& files_;
  Path path_;
  NodePointer node_;
  std::uint64_t size_;
};

class SimulatedUserFiles::Lock final : public FileLock {
 public:
  explicit Lock(NodePointer node) : node_(std::move(node)) { node_->locked = true; }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;
  ~Lock() override { node_->locked = false; }

 private:
  NodePointer node_;
};

std::error_code SimulatedUserFiles::attributes(const Path& path, FileAttributes& attributes) const {
  if (const auto error = enter(Operation::kAttributes, path)) return error;
  const NodePointer node = find(path);
  if (!node) return failure(std::errc::no_such_file_or_directory);
  attributes = {node->kind, abilities_.numbers ? node->number : 0, node->bytes.size(), node->modified};
  return {};
}

std::error_code SimulatedUserFiles::openForReading(const Path& path, std::unique_ptr<ByteSource>& file) const {
  if (const auto error = enter(Operation::kOpen, path)) return error;
  const NodePointer node = find(path);
  if (!node) return failure(std::errc::no_such_file_or_directory);
  if (node->kind == FileAttributes::Kind::kDirectory) return failure(std::errc::is_a_directory);
  if (node->kind == FileAttributes::Kind::kSymbolicLink) return failure(std::errc::too_many_symbolic_link_levels);
  if (node->kind == FileAttributes::Kind::kOther) return failure(std::errc::operation_not_supported);
  file = std::make_unique<File>(*this, path, node);
  return {};
}

std::error_code SimulatedUserFiles::replacementFolder(const Path& source, Path& folder) {
  if (const auto error = enter(Operation::kReplacementFolder, source)) return error;
  folder = source.parent_path() / ".tallyrig-staging";
  return {};
}

std::error_code SimulatedUserFiles::copy(const Path& from, const Path& to) {
  const auto error = enter(Operation::kCopy, from);
  const NodePointer node = find(from);
  if (!node) return failure(std::errc::no_such_file_or_directory);
  if (find(to)) return failure(std::errc::file_exists);
  const NodePointer made = make(to, node->kind);
  made->bytes = node->bytes.substr(0, error ? node->bytes.size() / 2 : node->bytes.size());
  made->modified = node->modified;
  return error;
}

std::error_code SimulatedUserFiles::write(const Path& path, std::uint64_t offset, std::span<const std::uint8_t> bytes) {
  const auto error = enter(Operation::kWrite, path);
  const NodePointer node = find(path);
  if (!node) return failure(std::errc::no_such_file_or_directory);
  if (error) bytes = bytes.first(bytes.size() / 2);
  const auto start = static_cast<std::size_t>(offset);
  node->bytes.resize(std::max(node->bytes.size(), start + bytes.size()));
  std::ranges::copy(bytes, node->bytes.begin() + static_cast<std::ptrdiff_t>(start));
  node->modified = tick();
  return error;
}

std::error_code SimulatedUserFiles::sync(const Path& path) {
  if (const auto error = enter(Operation::kSync, path)) return error;
  if (const NodePointer node = find(path)) {
    node->onDisk = node->bytes;
    return {};
  }
  const auto isHere = [&](const Change& change) {
    return std::ranges::any_of(change, [&](const auto& name) { return name.first.parent_path() == path; });
  };
  const auto last = std::ranges::find_if(changes_.rbegin(), changes_.rend(), isHere).base();
  for (auto change = changes_.begin(); change != last; ++change) apply(*change, namesOnDisk_);
  changes_.erase(changes_.begin(), last);
  return {};
}

std::error_code SimulatedUserFiles::exchange(const Path& one, const Path& other) {
  if (const auto error = enter(Operation::kExchange, one)) return error;
  if (!abilities_.exchange) return failure(std::errc::operation_not_supported);
  const NodePointer first = find(one);
  const NodePointer second = find(other);
  if (!first || !second) return failure(std::errc::no_such_file_or_directory);
  change({{one, second}, {other, first}});
  return {};
}

std::error_code SimulatedUserFiles::link(const Path& file, const Path& name) {
  if (const auto error = enter(Operation::kLink, file)) return error;
  if (!abilities_.link) return failure(std::errc::operation_not_supported);
  const NodePointer node = find(file);
  if (!node) return failure(std::errc::no_such_file_or_directory);
  if (find(name)) return failure(std::errc::file_exists);
  change({{name, node}});
  return {};
}

std::error_code SimulatedUserFiles::rename(const Path& from, const Path& to) {
  if (const auto error = enter(Operation::kRename, from)) return error;
  const NodePointer node = find(from);
  if (!node) return failure(std::errc::no_such_file_or_directory);
  // Two names of one file both stay, as POSIX has it.
  if (find(to) != node) change({{from, nullptr}, {to, node}});
  return {};
}

std::error_code SimulatedUserFiles::remove(const Path& path) {
  if (const auto error = enter(Operation::kRemove, path)) return error;
  if (!find(path)) return failure(std::errc::no_such_file_or_directory);
  change({{path, nullptr}});
  return {};
}

std::error_code SimulatedUserFiles::lock(const Path& path, std::unique_ptr<FileLock>& lock) {
  if (const auto error = enter(Operation::kLock, path)) return error;
  const NodePointer node = find(path);
  if (!node) return failure(std::errc::no_such_file_or_directory);
  if (node->locked) return failure(std::errc::device_or_resource_busy);
  lock = std::make_unique<Lock>(node);
  return {};
}

void SimulatedUserFiles::put(const Path& path, std::string_view bytes, FileAttributes::Kind kind) {
  const NodePointer node = make(path, kind);
  node->bytes = node->onDisk = bytes;
  apply({{path, node}}, namesOnDisk_);
}

void SimulatedUserFiles::append(const Path& path, std::string_view bytes) {
  const NodePointer node = find(path);
  node->bytes += bytes;
  node->onDisk = node->bytes;
  node->modified = tick();
}

void SimulatedUserFiles::truncate(const Path& path, std::size_t size) {
  const NodePointer node = find(path);
  node->bytes.resize(size);
  node->onDisk = node->bytes;
  node->modified = tick();
}

void SimulatedUserFiles::touch(const Path& path) {
  find(path)->modified = tick();
}

void SimulatedUserFiles::take(const Path& path) {
  apply({{path, nullptr}}, names_);
  apply({{path, nullptr}}, namesOnDisk_);
}

void SimulatedUserFiles::holdLock(const Path& path) {
  find(path)->locked = true;
}

std::optional<std::string> SimulatedUserFiles::contents(const Path& path) const {
  const NodePointer node = find(path);
  return node ? std::optional(node->bytes) : std::nullopt;
}

std::vector<Path> SimulatedUserFiles::paths() const {
  std::vector<Path> paths;
  for (const auto& [path, node] : names_) paths.push_back(path);
  return paths;
}

std::map<Path, std::string> SimulatedUserFiles::afterPowerCut(std::uint32_t seed) const {
  std::mt19937 random(seed);
  Names names = namesOnDisk_;
  const std::size_t survivors = random() % (changes_.size() + 1);
  for (std::size_t index = 0; index < survivors; ++index) apply(changes_[index], names);
  // A file has the same bytes under all its names.
  std::map<NodePointer, std::string> bytes;
  std::map<Path, std::string> left;
  for (const auto& [path, node] : names) {
    if (!bytes.contains(node)) bytes[node] = torn(*node, random);
    left[path] = bytes[node];
  }
  return left;
}

std::error_code SimulatedUserFiles::enter(Operation operation, const Path& path) const {
  return hook_ ? hook_(operation, path) : std::error_code{};
}

SimulatedUserFiles::NodePointer SimulatedUserFiles::find(const Path& path) const {
  const auto found = names_.find(path);
  return found == names_.end() ? nullptr : found->second;
}

SimulatedUserFiles::NodePointer SimulatedUserFiles::make(const Path& path, FileAttributes::Kind kind) {
  auto node = std::make_shared<Node>();
  node->number = ++lastNumber_;
  node->kind = kind;
  node->modified = tick();
  change({{path, node}});
  return node;
}

FileAttributes::Time SimulatedUserFiles::tick() const {
  return FileAttributes::Time(std::chrono::nanoseconds(++time_));
}

void SimulatedUserFiles::change(Change change) {
  apply(change, names_);
  changes_.push_back(std::move(change));
}

void SimulatedUserFiles::apply(const Change& change, Names& names) {
  for (const auto& [path, node] : change) {
    if (node) {
      names[path] = node;
    } else {
      names.erase(path);
    }
  }
}

std::string SimulatedUserFiles::torn(const Node& node, std::mt19937& random) {
  if (node.bytes == node.onDisk) return node.onDisk;
  std::string bytes = node.onDisk;
  const bool grown = random() % 2 == 0;
  if (grown) bytes.resize(node.bytes.size());
  constexpr std::size_t kPage = 16;
  for (std::size_t start = 0; start < std::min(bytes.size(), node.bytes.size()); start += kPage) {
    if (random() % 2 == 0) bytes.replace(start, kPage, node.bytes, start, std::min(kPage, bytes.size() - start));
  }
  return bytes;
}

}  // namespace tallyrig
