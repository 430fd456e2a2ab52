#pragma once

#include <cstdint>
#include <numeric>
#include <vector>

namespace tallyrig {

/// Samples that can be told apart: `first`, `first` + 1 and so on.
inline std::vector<float> numbers(std::int64_t first, std::int64_t count) {
  std::vector<float> all(static_cast<std::size_t>(count));
  std::iota(all.begin(), all.end(), static_cast<float>(first));
  return all;
}

}  // namespace tallyrig
