#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "filetools/Atoms.h"

namespace tallyrig {

/// Puts atoms together in memory. All numbers are written with the high byte first.
class AtomWriter {
 public:
  AtomWriter() = default;
  /// With room for so many bytes, so that large ones are not moved and held twice.
  explicit AtomWriter(std::size_t expected) { bytes_.reserve(expected); }

  void put8(std::uint8_t number) { bytes_.push_back(number); }
  void put16(std::uint16_t number) { put(number); }
  void put32(std::uint32_t number) { put(number); }
  void put64(std::uint64_t number) { put(number); }
  void putZeros(std::size_t count) { bytes_.insert(bytes_.end(), count, 0); }
  void putBytes(AtomBytes bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
  /// A text with its length before it, at most 255 bytes.
  void putPascalString(std::string_view text) {
    put8(static_cast<std::uint8_t>(text.size()));
    bytes_.insert(bytes_.end(), text.begin(), text.end());
  }

  /// An atom of fewer than 4 GiB, whose payload `content` writes.
  template <typename Content>
  void atom(AtomType type, Content content) {
    const std::size_t start = bytes_.size();
    put32(0);
    put32(type);
    content();
    overwrite32(start, static_cast<std::uint32_t>(bytes_.size() - start));
  }

  std::size_t size() const { return bytes_.size(); }
  void overwrite32(std::size_t at, std::uint32_t number) { overwrite(at, number); }
  void overwrite64(std::size_t at, std::uint64_t number) { overwrite(at, number); }
  std::vector<std::uint8_t> take() { return std::move(bytes_); }

 private:
  template <typename Number>
  void put(Number number) {
    putZeros(sizeof(Number));
    overwrite(bytes_.size() - sizeof(Number), number);
  }
  template <typename Number>
  void overwrite(std::size_t at, Number number) {
    for (std::size_t index = sizeof(Number); index-- > 0; number = static_cast<Number>(number >> 8U)) {
      bytes_[at + index] = static_cast<std::uint8_t>(number);
    }
  }

  std::vector<std::uint8_t> bytes_;
};

}  // namespace tallyrig
