#include "filetools/MovieLayout.h"

#include <algorithm>
#include <array>
#include <span>

#include "filetools/MovieFault.h"

namespace tallyrig {

std::error_code readMovieLayout(const ByteSource& source, MovieLayout& layout) {
  layout = {};
  const std::uint64_t end = source.size();
  bool found = false;
  for (std::uint64_t offset = 0; offset < end;) {
    const std::uint64_t rest = end - offset;
    std::array<std::uint8_t, kLongAtomHeaderSize> bytes{};
    const auto some = std::span(bytes).first(static_cast<std::size_t>(std::min<std::uint64_t>(rest, bytes.size())));
    if (const auto error = source.read(offset, some)) return error;
    AtomHead head;
    if (const auto error = readAtomHead(some, head)) return error;
    if (head.type == 0) return MovieFault::kContradiction;
    if (head.size > rest) return MovieFault::kAtomTooLong;
    if (head.type == atomType("moof")) return MovieFault::kFragmented;
    if (layout.atoms.size() == kMostAtoms) return MovieFault::kTooManyAtoms;

    const bool openEnded = head.size == 0;
    layout.atoms.push_back({head.type, offset, openEnded ? rest : head.size, head.headerSize, openEnded});
    const AtomPlace& atom = layout.atoms.back();
    if (atom.type == atomType("moov")) {
      if (found) return MovieFault::kContradiction;
      found = true;
      layout.movieHeader = atom;
    }
    offset += atom.size;
  }
  return found ? std::error_code{} : MovieFault::kNoMovieHeader;
}

}  // namespace tallyrig
