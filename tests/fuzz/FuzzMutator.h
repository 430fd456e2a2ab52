#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace tallyrig {

using FuzzInput = std::vector<std::uint8_t>;

/// Makes new inputs out of kept ones. Equal seeds and equal lists give equal inputs.
class FuzzMutator {
 public:
  explicit FuzzMutator(std::uint64_t seed) : random_(seed) {}

  /// One of `corpus`, which is not empty, changed in one to eight places; at most `kLargestInput` bytes.
  FuzzInput mutated(const std::vector<FuzzInput>& corpus);

  static constexpr std::size_t kLargestInput = 1 << 16;

 private:
  std::size_t below(std::size_t limit);
  void change(FuzzInput& input, const std::vector<FuzzInput>& corpus);

  std::mt19937_64 random_;
};

}  // namespace tallyrig
