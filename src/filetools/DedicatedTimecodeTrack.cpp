#include "filetools/DedicatedTimecodeTrack.h"

#include <array>
#include <memory>

#include "filetools/MovieHeader.h"
#include "filetools/MovieLayout.h"
#include "filetools/SampleTables.h"

namespace tallyrig {
namespace {

constexpr AtomType kTimecode = atomType("tmcd");

/// The only timecode track; none where there are more.
const MovieTrack* onlyTimecodeTrack(const MovieHeader& header) {
  const MovieTrack* only = nullptr;
  for (const MovieTrack& track : header.tracks) {
    if (track.mediaType != kTimecode) continue;
    if (only != nullptr) return nullptr;
    only = &track;
  }
  return only;
}

MTCFrameRate rateOf(std::uint32_t frameQuanta, std::uint32_t timeCodeFlags) {
  if ((timeCodeFlags & kTimeCodeFlagDropFrame) != 0) return MTCFrameRate::fps2997;
  if (frameQuanta == 24) return MTCFrameRate::fps24;
  return frameQuanta == 30 ? MTCFrameRate::fps30 : MTCFrameRate::fps25;
}

/// The first sample description, from the count of them on.
bool readDescription(AtomBytes descriptions, DedicatedTimecodeTrack& track) {
  constexpr std::size_t kFirst = 4;
  constexpr std::size_t kFields = 33;  // Up to the number of frames.
  AtomHead head;
  if (descriptions.size() < kFirst + kFields) return false;
  const AtomBytes first = descriptions.subspan(kFirst);
  if (readAtomHead(first.first(kLongAtomHeaderSize), head)) return false;
  if (head.type != kTimecode || head.headerSize != kAtomHeaderSize || head.size < kFields) return false;
  track.timeCodeFlags = read32(first, 20);
  track.frameDuration = {read32(first, 28), read32(first, 24)};
  track.frameQuanta = first[32];
  return true;
}

}  // namespace

std::optional<DedicatedTimecodeTrack> readDedicatedTimecodeTrack(const ByteSource& movie) {
  MovieLayout layout;
  MovieHeader header;
  SampleTables tables;
  DedicatedTimecodeTrack result;
  if (readMovieLayout(movie, layout) || readMovieHeader(movie, layout, header)) return std::nullopt;
  const MovieTrack* track = onlyTimecodeTrack(header);
  if (track == nullptr || readSampleTables(*track, tables) || tables.elsewhere) return std::nullopt;
  if (!readDescription(tables.descriptions, result)) return std::nullopt;

  std::array<std::uint8_t, 4> sample{};
  const auto offset = firstSampleOf(tables, sample.size());
  if (!offset || movie.read(*offset, sample)) return std::nullopt;
  const auto frames = static_cast<std::int32_t>(read32(sample, 0));
  const Timecode zero{0, 0, 0, 0, rateOf(result.frameQuanta, result.timeCodeFlags)};
  result.timecode = zero.advanced(frames);
  return result;
}

std::optional<DedicatedTimecodeTrack> readDedicatedTimecodeTrack(const UserFiles& files,
                                                                 const std::filesystem::path& url) {
  std::unique_ptr<ByteSource> movie;
  if (files.openForReading(url, movie)) return std::nullopt;
  return readDedicatedTimecodeTrack(*movie);
}

}  // namespace tallyrig
