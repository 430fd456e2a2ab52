#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

namespace tallyrig {

inline std::error_code lastError() {
  return {errno, std::generic_category()};
}

/// Repeats a system call for as long as signals interrupt it.
template <typename Call>
auto uninterrupted(Call call) {
  decltype(call()) result;
  do {
    result = call();
  } while (result < 0 && errno == EINTR);
  return result;
}

/// An open file. Closing is never repeated: the descriptor is free after the first call, whatever it returned.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }

  bool isOpen() const { return number_ >= 0; }
  int number() const { return number_; }
  std::error_code close() {
    return ::close(std::exchange(number_, -1)) == 0 || errno == EINTR ? std::error_code{} : lastError();
  }

 private:
  int number_ = -1;
};

inline Descriptor openFile(const std::filesystem::path& path, int flags, mode_t mode = 0) {
  return Descriptor(uninterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC, mode); }));
}

inline std::error_code syncFile(const Descriptor& file) {
  return uninterrupted([&] { return ::fsync(file.number()); }) == 0 ? std::error_code{} : lastError();
}

/// Brings the names in a folder to disk. Some file systems have nothing to do for that, and say EINVAL.
inline std::error_code syncFolder(const std::filesystem::path& folder) {
  const Descriptor directory = openFile(folder, O_RDONLY | O_DIRECTORY);
  if (!directory.isOpen()) return lastError();
  const auto error = syncFile(directory);
  return error == std::errc::invalid_argument ? std::error_code{} : error;
}

}  // namespace tallyrig
