#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tallyrig {

/// What one output channel has played lately, by sample position. A position that nobody wrote is silent.
/// One thread at a time; `write` and `read` are real-time safe, `reserve` allocates.
class OutputHistory {
 public:
  /// Keeps at least 1.3 s at 48 kHz.
  OutputHistory() : ring_(std::size_t{1} << 16) {}

  /// Keeps at least that many samples from now on.
  void reserve(std::size_t samples);
  void write(std::int64_t position, std::span<const float> samples);
  void read(std::int64_t position, std::span<float> samples) const;

  /// The position after the last one written.
  std::int64_t end() const { return end_; }

 private:
  std::size_t index(std::int64_t position) const { return static_cast<std::uint64_t>(position) & (ring_.size() - 1); }

  /// Its size is a power of two.
  std::vector<float> ring_;
  std::int64_t end_ = 0;
};

}  // namespace tallyrig
