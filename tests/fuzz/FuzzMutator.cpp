#include "fuzz/FuzzMutator.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace tallyrig {
namespace {

// Little-endian patterns at which parsers tend to go wrong: the ends of the number ranges, and floats that are none.
constexpr std::array<std::uint32_t, 12> kOddWords{
    0, 1, 0x7f, 0x80, 0xff, 0x7fff, 0x7fffffff, 0x80000000, 0xffffffff, 0x7fc00000, 0x7f800000, 0x00000001};

}  // namespace

std::size_t FuzzMutator::below(std::size_t limit) {
  return limit == 0 ? 0 : static_cast<std::size_t>(random_() % limit);
}

FuzzInput FuzzMutator::mutated(const std::vector<FuzzInput>& corpus) {
  FuzzInput input = corpus[below(corpus.size())];
  const std::size_t changes = 1 + below(8);
  for (std::size_t count = 0; count < changes; ++count) change(input, corpus);
  if (input.size() > kLargestInput) input.resize(kLargestInput);
  return input;
}

void FuzzMutator::change(FuzzInput& input, const std::vector<FuzzInput>& corpus) {
  const std::size_t at = below(input.size() + 1);
  const std::size_t rest = input.size() - at;
  const auto here = input.begin() + static_cast<std::ptrdiff_t>(at);
  const auto some = [&](std::size_t most) { return static_cast<std::ptrdiff_t>(below(most) + (most > 0 ? 1 : 0)); };
  switch (below(8)) {
    case 0:  // One bit.
      if (rest > 0) *here ^= static_cast<std::uint8_t>(1U << below(8));
      break;
    case 1:  // One byte.
      if (rest > 0) *here = static_cast<std::uint8_t>(random_());
      break;
    case 2: {  // An odd number, of one to four bytes.
      std::uint32_t word = kOddWords[below(kOddWords.size())];
      for (std::size_t index = 0, width = 1 + below(4); index < std::min(width, rest); ++index, word >>= 8) {
        input[at + index] = static_cast<std::uint8_t>(word);
      }
      break;
    }
    case 3:  // Cut off.
      input.resize(at);
      break;
    case 4:  // Some bytes fewer.
      input.erase(here, here + some(std::min<std::size_t>(rest, 64)));
      break;
    case 5: {  // Some bytes twice.
      const FuzzInput piece(here, here + some(std::min<std::size_t>(rest, 64)));
      input.insert(here, piece.begin(), piece.end());
      break;
    }
    case 6: {  // Random bytes more.
      FuzzInput piece(static_cast<std::size_t>(some(16)));
      std::generate(piece.begin(), piece.end(), [this] { return static_cast<std::uint8_t>(random_()); });
      input.insert(here, piece.begin(), piece.end());
      break;
    }
    default: {  // A piece of another input.
      const FuzzInput& other = corpus[below(corpus.size())];
      const std::size_t from = below(other.size());
      const auto first = other.begin() + static_cast<std::ptrdiff_t>(from);
      input.insert(here, first, first + some(std::min<std::size_t>(other.size() - from, 256)));
      break;
    }
  }
}

}  // namespace tallyrig
