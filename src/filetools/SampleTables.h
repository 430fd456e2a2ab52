#pragma once

#include <cstdint>
#include <optional>
#include <system_error>

#include "filetools/Atoms.h"
#include "filetools/MovieHeader.h"

namespace tallyrig {

/// The tables of a track's media (QuickTime File Format, "Sample Table Atoms"), each without its version and flags;
/// empty where the track has no such table. They point into the movie header.
struct SampleTables {
  /// Units in a second of the media's times; 0 where a careless writer left it out.
  std::uint32_t timeScale = 0;
  /// "stsd", "stts", "stsc", "stsz", "stco" and "co64".
  AtomBytes descriptions;
  AtomBytes durations;
  AtomBytes chunkLengths;
  AtomBytes sizes;
  AtomBytes shortOffsets;
  AtomBytes longOffsets;
  /// The first data reference ("dref") says that the media lies in another file.
  bool elsewhere = false;
};

std::error_code readSampleTables(const MovieTrack& track, SampleTables& tables);

/// Samples over their duration, a second; 0 where there is no duration. A table that does not hold what it promises is
/// a contradiction.
std::error_code sampleRate(const SampleTables& tables, double& rate);

/// Where in the file the first sample of at least `size` bytes lies; absent if there is none.
std::optional<std::uint64_t> firstSampleOf(const SampleTables& tables, std::uint32_t size);

}  // namespace tallyrig
