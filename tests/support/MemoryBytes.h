#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <system_error>
#include <utility>

#include "platform/ByteSource.h"

namespace tallyrig {

/// A file's bytes in memory. They can be claimed to go on as zeros for exabytes, and can end in a read error.
class MemoryBytes final : public ByteSource {
 public:
  explicit MemoryBytes(std::string bytes) : bytes_(std::move(bytes)), size_(bytes_.size()) {}

  void extendWithZeros(std::uint64_t size) { size_ = size; }
  /// Reads that reach this offset fail from now on.
  void failFrom(std::uint64_t offset, std::errc error) {
    failingFrom_ = offset;
    failure_ = error;
  }

  std::uint64_t bytesRead() const { return bytesRead_; }

  std::uint64_t size() const override { return size_; }

  std::error_code read(std::uint64_t offset, std::span<std::uint8_t> into) const override {
    if (offset > size_ || into.size() > size_ - offset) return std::make_error_code(std::errc::io_error);
    if (offset + into.size() > failingFrom_) return std::make_error_code(failure_);
    bytesRead_ += into.size();
    std::ranges::fill(into, std::uint8_t{0});
    if (offset < bytes_.size()) {
      const std::size_t count = std::min<std::size_t>(into.size(), bytes_.size() - static_cast<std::size_t>(offset));
      std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(offset), count, into.begin());
    }
    return {};
  }

 private:
  std::string bytes_;
  std::uint64_t size_;
  std::uint64_t failingFrom_ = ~std::uint64_t{0};
  std::errc failure_ = std::errc::io_error;
  mutable std::uint64_t bytesRead_ = 0;
};

}  // namespace tallyrig
