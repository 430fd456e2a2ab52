// A movie file into the reader of its atoms, the edit that gives it a timecode track, and the writer that does so
// safely. Whatever the bytes are, they are refused or read; what is read lies within the file, without gaps. The edited
// movie can be read too, holds every atom that was to be kept, and one timecode track. The writer leaves that or the
// old movie.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <system_error>
#include <vector>

#include "filetools/DedicatedTimecodeTrack.h"
#include "filetools/MovieFault.h"
#include "filetools/MovieHeader.h"
#include "filetools/MovieInspection.h"
#include "filetools/MovieLayout.h"
#include "filetools/TimecodeTrackEdit.h"
#include "filetools/TimecodeTrackWriter.h"
#include "platform/simulated/SimulatedUserFiles.h"
#include "support/EditedMovie.h"
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

/// Each atom of a movie header but its head and its timecode tracks, and of a track but its references; and the zeros
/// that close them.
std::vector<std::string> keptAtoms(const MovieHeader& header) {
  std::vector<std::string> kept;
  for (const Atom& child : header.children.atoms) {
    if (child.type != atomType("mvhd") && child.type != atomType("trak")) kept.push_back(textOf(child.whole));
  }
  for (const MovieTrack& track : header.tracks) {
    if (track.mediaType == atomType("tmcd")) continue;
    for (const Atom& child : track.children.atoms) {
      if (child.type != atomType("tref")) kept.push_back(textOf(child.whole));
    }
    kept.push_back(textOf(track.children.tail));
  }
  kept.push_back(textOf(header.children.tail));
  return kept;
}

/// Atoms that could be read contradict each other only where a track is longer than its movie's head can tell.
void checkRefusal(const MovieHeader& header, std::error_code error) {
  if (error != MovieFault::kContradiction) return;
  const auto isLong = [](const MovieTrack& track) { return track.duration >= 0xffffffff; };
  require(!header.wide && std::ranges::any_of(header.tracks, isLong));
}

void checkReferences(const MovieHeader& before, const MovieHeader& after) {
  for (const MovieTrack& track : after.tracks) {
    for (const TrackReference& reference : track.references) {
      require(reference.type != atomType("tmcd") || reference.trackIDs == std::vector{after.tracks.back().id});
      for (const MovieTrack& old : before.tracks) {
        require(old.mediaType != atomType("tmcd") || std::ranges::count(reference.trackIDs, old.id) == 0);
      }
    }
  }
}

void checkEdit(const std::string& bytes, const MovieHeader& before) {
  const Timecode start{1, 0, 0, 0, MTCFrameRate::fps2997};
  TimecodeTrackEdit edit;
  const auto error = planTimecodeTrack(MemoryBytes(bytes), start, timecodeTrackFormat(start.frameRate), edit);
  checkRefusal(before, error);
  if (error) return;
  const ParsedMovie after(withEdit(bytes, edit));
  require(!after.error);
  require(after.tracksOf(atomType("tmcd")).size() == 1);
  require(keptAtoms(after.header) == keptAtoms(before));
  checkReferences(before, after.header);
  require(edit.sample.offset == bytes.size());
}

/// The rate that the writer accepts for this movie; any if there is none.
MTCFrameRate rateFor(const MemoryBytes& source) {
  std::vector<double> rates;
  TimecodeTrackFormat format;
  if (pictureFrameRates(source, rates)) return MTCFrameRate::fps30;
  for (const auto rate : {MTCFrameRate::fps24, MTCFrameRate::fps25, MTCFrameRate::fps2997}) {
    if (!resolveTrackFormat(rate, rates, format)) return rate;
  }
  return MTCFrameRate::fps30;
}

void checkWriter(const std::string& bytes) {
  const MemoryBytes source(bytes);
  const Timecode start{23, 59, 59, 22, rateFor(source)};
  readDedicatedTimecodeTrack(source);
  SimulatedUserFiles files;
  files.put("/a.mov", bytes);
  const TimecodeTrackResult result = writeTimecodeTrack(files, "/a.mov", start);
  require(files.paths().size() == 1);
  require(result.failed == result.text.has_value());
  if (result.failed) {
    require(files.contents("/a.mov") == bytes);
    return;
  }
  MovieInspection before;
  MovieInspection after;
  require(!inspectMovie(source, before) && !inspectMovie(files, "/a.mov", after) && before == after);
  const auto track = readDedicatedTimecodeTrack(files, "/a.mov");
  require(track && track->timecode == start);
  require(keptAtoms(ParsedMovie(*files.contents("/a.mov")).header) == keptAtoms(ParsedMovie(bytes).header));
}

void run(const std::string& bytes) {
  checkWriter(bytes);
  const MemoryBytes source(bytes);
  MovieLayout layout;
  MovieHeader header;
  if (readMovieLayout(source, layout)) return;
  checkLayout(layout, bytes.size());
  if (readMovieHeader(source, layout, header)) return;
  checkHeader(header);
  checkEdit(bytes, header);
}

}  // namespace
}  // namespace tallyrig

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tallyrig::run(std::string(reinterpret_cast<const char*>(data), size));
  return 0;
}
