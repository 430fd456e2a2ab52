#pragma once

#include <cstdint>
#include <system_error>
#include <vector>

#include "filetools/Atoms.h"
#include "platform/ByteSource.h"

namespace tallyrig {

/// Where an atom lies in a file, in bytes.
struct AtomPlace {
  AtomType type = 0;
  std::uint64_t offset = 0;
  /// Header included, also where the file says only that the atom reaches to its end.
  std::uint64_t size = 0;
  std::size_t headerSize = kAtomHeaderSize;
  /// Without a size of its own: the last atom of the file, which reaches to its end.
  bool openEnded = false;

  bool operator==(const AtomPlace&) const = default;
};

/// The outermost atoms of a movie file, in the file's order and without a gap from its first byte to its last.
struct MovieLayout {
  std::vector<AtomPlace> atoms;
  /// The one movie header ("moov") among them.
  AtomPlace movieHeader;
};

/// Reads the heads of the outermost atoms and nothing else. Refuses fragmented movies at the first fragment.
std::error_code readMovieLayout(const ByteSource& source, MovieLayout& layout);

}  // namespace tallyrig
