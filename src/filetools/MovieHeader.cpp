#include "filetools/MovieHeader.h"

#include <algorithm>
#include <limits>
#include <unordered_set>
#include <utility>

#include "filetools/MovieFault.h"

namespace tallyrig {
namespace {

/// The head of a movie or a track, whose times have 32 bits in version 0 and 64 in version 1.
struct Times {
  /// Where the number behind the two dates lies in the payload: the time scale of a movie, the number of a track.
  std::size_t numberAt = 0;
  std::size_t durationAt = 0;
  bool wide = false;
};

std::error_code readTimes(const Atom& atom, std::size_t narrowSize, std::size_t distanceOfDuration, Times& times) {
  constexpr std::size_t kMoreWhenWide = 12;
  if (atom.payload.empty()) return MovieFault::kContradiction;
  const std::uint8_t version = atom.payload.front();
  if (version > 1) return MovieFault::kContradiction;
  times.wide = version == 1;
  times.numberAt = times.wide ? 20 : 12;
  times.durationAt = times.numberAt + distanceOfDuration;
  const std::size_t size = narrowSize + (times.wide ? kMoreWhenWide : 0);
  return atom.payload.size() < size ? MovieFault::kContradiction : std::error_code{};
}

/// A duration with all bits set is one that the writer did not know.
std::optional<std::uint64_t> readDuration(const Atom& atom, const Times& times) {
  if (times.wide) {
    const std::uint64_t duration = read64(atom.payload, times.durationAt);
    return duration == std::numeric_limits<std::uint64_t>::max() ? std::nullopt : std::optional(duration);
  }
  const std::uint32_t duration = read32(atom.payload, times.durationAt);
  return duration == std::numeric_limits<std::uint32_t>::max() ? std::nullopt : std::optional<std::uint64_t>(duration);
}

std::error_code readMovieHead(MovieHeader& header) {
  Times times;
  if (const auto error = requireAtom(header.children, atomType("mvhd"), header.head)) return error;
  if (const auto error = readTimes(header.head, 100, 4, times)) return error;
  header.wide = times.wide;
  header.timeScale = read32(header.head.payload, times.numberAt);
  header.duration = readDuration(header.head, times);
  return header.timeScale == 0 ? MovieFault::kContradiction : std::error_code{};
}

std::error_code readTrackHead(MovieTrack& track) {
  Atom head;
  Times times;
  if (const auto error = requireAtom(track.children, atomType("tkhd"), head)) return error;
  if (const auto error = readTimes(head, 84, 8, times)) return error;
  track.id = read32(head.payload, times.numberAt);
  track.duration = readDuration(head, times);
  return track.id == 0 ? MovieFault::kContradiction : std::error_code{};
}

std::error_code readMediaType(MovieTrack& track) {
  constexpr std::size_t kTypeAt = 8;
  Atom media;
  Atom handler;
  AtomList children;
  if (const auto error = requireAtom(track.children, atomType("mdia"), media)) return error;
  if (const auto error = readAtoms(media.payload, children)) return error;
  if (const auto error = requireAtom(children, atomType("hdlr"), handler)) return error;
  if (handler.payload.size() < kTypeAt + 4) return MovieFault::kContradiction;
  track.mediaType = read32(handler.payload, kTypeAt);
  return {};
}

std::error_code readReferences(MovieTrack& track) {
  Atom references;
  AtomList children;
  if (const auto error = findAtom(track.children, atomType("tref"), references)) return error;
  if (references.payload.size() > kMostReferences * 4) return MovieFault::kTooManyAtoms;
  if (const auto error = readAtoms(references.payload, children)) return error;
  for (const Atom& child : children.atoms) {
    if (child.payload.size() % 4 != 0) return MovieFault::kContradiction;
    TrackReference& reference = track.references.emplace_back();
    reference.type = child.type;
    for (std::size_t at = 0; at < child.payload.size(); at += 4) {
      reference.trackIDs.push_back(read32(child.payload, at));
    }
  }
  return {};
}

std::error_code readTrack(const Atom& atom, MovieTrack& track) {
  track.atom = atom;
  if (const auto error = readAtoms(atom.payload, track.children, kMostTrackAtoms)) return error;
  if (const auto error = readTrackHead(track)) return error;
  if (const auto error = readMediaType(track)) return error;
  return readReferences(track);
}

bool hasAtom(const AtomList& list, AtomType type) {
  for (const Atom& atom : list.atoms) {
    if (atom.type == type) return true;
  }
  return false;
}

}  // namespace

std::optional<std::uint64_t> durationOf(const MovieHeader& header) {
  std::optional<std::uint64_t> longest;
  for (const MovieTrack& track : header.tracks) longest = std::max(longest, track.duration);
  return longest ? longest : header.duration;
}

std::error_code parseMovieHeader(std::vector<std::uint8_t> bytes, std::size_t headerSize, MovieHeader& header) {
  header = {};
  if (bytes.size() > kLargestMovieHeader) return MovieFault::kHeaderTooLarge;
  header.bytes = std::move(bytes);
  if (const auto error = readAtoms(AtomBytes(header.bytes).subspan(headerSize), header.children)) return error;
  if (hasAtom(header.children, atomType("cmov"))) return MovieFault::kCompressedHeader;
  if (hasAtom(header.children, atomType("mvex"))) return MovieFault::kFragmented;
  if (const auto error = readMovieHead(header)) return error;

  std::unordered_set<std::uint32_t> ids;
  for (const Atom& atom : header.children.atoms) {
    if (atom.type != atomType("trak")) continue;
    if (header.tracks.size() == kMostTracks) return MovieFault::kTooManyAtoms;
    if (const auto error = readTrack(atom, header.tracks.emplace_back())) return error;
    if (!ids.insert(header.tracks.back().id).second) return MovieFault::kContradiction;
  }
  return {};
}

std::error_code readMovieHeader(const ByteSource& source, const MovieLayout& layout, MovieHeader& header) {
  const AtomPlace& place = layout.movieHeader;
  if (place.size > kLargestMovieHeader) return MovieFault::kHeaderTooLarge;
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(place.size));
  if (const auto error = source.read(place.offset, bytes)) return error;
  return parseMovieHeader(std::move(bytes), place.headerSize, header);
}

}  // namespace tallyrig
