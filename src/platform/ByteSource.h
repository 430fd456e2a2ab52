#pragma once

#include <cstdint>
#include <span>
#include <system_error>

namespace tallyrig {

/// Bytes of a known number that can be read from any place, as an open file is. Blocking; not for a real-time thread.
class ByteSource {
 public:
  virtual ~ByteSource() = default;

  virtual std::uint64_t size() const = 0;

  /// Fills the whole of `into` with the bytes from `offset` on. Bytes that are not there are an error, and what `into`
  /// then holds is of no use.
  virtual std::error_code read(std::uint64_t offset, std::span<std::uint8_t> into) const = 0;
};

}  // namespace tallyrig
