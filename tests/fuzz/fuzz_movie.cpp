// A movie file into the reader of its atoms. Whatever the bytes are, they are refused or read; what is read lies within
// the file, without gaps.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "filetools/MovieHeader.h"
#include "filetools/MovieLayout.h"
#include "support/MemoryBytes.h"

namespace tallyrig {
namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

void checkLayout(const MovieLayout& layout, std::uint64_t size) {
  std::uint64_t offset = 0;
  for (const AtomPlace& place : layout.atoms) {
    require(place.offset == offset && place.size >= place.headerSize);
    offset += place.size;
  }
  require(offset == size);
}

void checkHeader(const MovieHeader& header) {
  require(header.timeScale != 0);
  for (const MovieTrack& track : header.tracks) {
    require(track.id != 0);
    std::size_t size = track.children.tail.size();
    for (const Atom& child : track.children.atoms) size += child.whole.size();
    require(size == track.atom.payload.size());
  }
}

void run(const std::string& bytes) {
  const MemoryBytes source(bytes);
  MovieLayout layout;
  MovieHeader header;
  if (readMovieLayout(source, layout)) return;
  checkLayout(layout, bytes.size());
  if (readMovieHeader(source, layout, header)) return;
  checkHeader(header);
}

}  // namespace
}  // namespace tallyrig

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tallyrig::run(std::string(reinterpret_cast<const char*>(data), size));
  return 0;
}
