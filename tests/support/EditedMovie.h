#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "filetools/MovieHeader.h"
#include "filetools/MovieLayout.h"
#include "filetools/TimecodeTrackEdit.h"
#include "support/MemoryBytes.h"

namespace tallyrig {

inline std::string textOf(AtomBytes bytes) {
  return {bytes.begin(), bytes.end()};
}

/// The movie after one write of an edit.
inline std::string withWrite(std::string movie, const TimecodeTrackEdit::Write& write) {
  const auto offset = static_cast<std::size_t>(write.offset);
  if (movie.size() < offset + write.bytes.size()) movie.resize(offset + write.bytes.size());
  movie.replace(offset, write.bytes.size(), textOf(write.bytes));
  return movie;
}

inline std::string withEdit(std::string movie, const TimecodeTrackEdit& edit) {
  if (edit.closing) movie = withWrite(std::move(movie), *edit.closing);
  return withWrite(withWrite(withWrite(std::move(movie), edit.sample), edit.header), edit.retirement);
}

/// A movie in memory, taken to pieces.
struct ParsedMovie {
  explicit ParsedMovie(const std::string& movie) : bytes(movie) {
    const MemoryBytes source(movie);
    error = readMovieLayout(source, layout);
    if (!error) error = readMovieHeader(source, layout, header);
  }

  std::vector<const MovieTrack*> tracksOf(AtomType mediaType) const {
    std::vector<const MovieTrack*> tracks;
    for (const MovieTrack& track : header.tracks) {
      if (track.mediaType == mediaType) tracks.push_back(&track);
    }
    return tracks;
  }

  std::string bytes;
  std::error_code error;
  MovieLayout layout;
  MovieHeader header;
};

/// The payload of the atom that this path of types leads to within `list`; "none" if it leads nowhere.
inline std::string payloadAt(AtomList list, std::initializer_list<AtomType> path) {
  Atom atom;
  for (const AtomType type : path) {
    if (requireAtom(list, type, atom)) return "none";
    readAtoms(atom.payload, list);
  }
  return textOf(atom.payload);
}

/// A table of the track's one list of samples, past its version and flags.
inline std::string sampleTable(const MovieTrack& track, AtomType type) {
  return payloadAt(track.children, {atomType("mdia"), atomType("minf"), atomType("stbl"), type}).substr(4);
}

}  // namespace tallyrig
