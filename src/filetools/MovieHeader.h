#pragma once

#include <cstdint>
#include <optional>
#include <system_error>
#include <vector>

#include "filetools/Atoms.h"
#include "filetools/MovieLayout.h"
#include "platform/ByteSource.h"

namespace tallyrig {

/// A larger movie header is refused: it is held in memory whole. Hours of many tracks take a tenth of it.
constexpr std::uint64_t kLargestMovieHeader = 128ULL << 20U;
constexpr std::size_t kMostTracks = 1024;
/// Atoms right in a track, of which each track's list is kept.
constexpr std::size_t kMostTrackAtoms = 256;
/// Four-byte words in all the references of one track, their heads included.
constexpr std::size_t kMostReferences = 4096;

/// What a track says of its relation to others, such as a picture of its timecode ("tmcd").
struct TrackReference {
  AtomType type = 0;
  std::vector<std::uint32_t> trackIDs;

  bool operator==(const TrackReference&) const = default;
};

struct MovieTrack {
  /// Unique in the movie, never 0.
  std::uint32_t id = 0;
  /// "vide", "soun", "tmcd" and so on.
  AtomType mediaType = 0;
  /// In the movie's time scale; absent if the track does not tell.
  std::optional<std::uint64_t> duration;
  std::vector<TrackReference> references;
  Atom atom;
  AtomList children;
};

/// The movie header ("moov"), taken to pieces as far as tracks and their references. All other atoms are kept as bytes.
/// Movable only: the pieces point into `bytes`.
struct MovieHeader {
  MovieHeader() = default;
  MovieHeader(MovieHeader&&) = default;
  MovieHeader& operator=(MovieHeader&&) = default;

  std::vector<std::uint8_t> bytes;
  AtomList children;
  /// The movie's own head ("mvhd"), and whether its times have 64 bits instead of 32.
  Atom head;
  bool wide = false;
  /// Units in a second of the movie's durations, never 0.
  std::uint32_t timeScale = 0;
  /// As the movie's own head has it; absent if it does not tell.
  std::optional<std::uint64_t> duration;
  /// In the order of the track atoms among `children`.
  std::vector<MovieTrack> tracks;
};

/// The longest track's, since that is what a movie's duration is, and the movie's own word only where no track has one;
/// absent where there is neither.
std::optional<std::uint64_t> durationOf(const MovieHeader& header);

/// Takes apart the movie header that `bytes` are, from its first byte to its last, `headerSize` of them its size and
/// type. Refuses compressed headers, fragmented movies, two tracks of one number, and
/// whatever lacks an atom that the format demands.
std::error_code parseMovieHeader(std::vector<std::uint8_t> bytes, std::size_t headerSize, MovieHeader& header);

/// Reads the movie header of a file, and no media, and parses it.
std::error_code readMovieHeader(const ByteSource& source, const MovieLayout& layout, MovieHeader& header);

}  // namespace tallyrig
