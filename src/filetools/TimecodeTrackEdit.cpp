#include "filetools/TimecodeTrackEdit.h"

#include <algorithm>
#include <limits>
#include <unordered_set>
#include <utility>

#include "filetools/AtomWriter.h"
#include "filetools/MovieFault.h"
#include "filetools/MovieHeader.h"
#include "filetools/MovieLayout.h"
#include "filetools/TimecodeTrackAtom.h"

namespace tallyrig {
namespace {

constexpr AtomType kTimecode = atomType("tmcd");

std::error_code frameNumberOf(const Timecode& timecode, std::uint32_t& number) {
  // Beyond any clock, and small enough for the count to be computed.
  constexpr std::int64_t kLargestField = 1'000'000'000;
  for (const std::int64_t field : {timecode.hours, timecode.minutes, timecode.seconds, timecode.frames}) {
    if (field < -kLargestField || field > kLargestField) return MovieFault::kTimecodeOutOfRange;
  }
  const std::int64_t frames = timecode.totalFrames();
  if (std::in_range<std::int32_t>(frames)) {
    number = static_cast<std::uint32_t>(frames);
    return {};
  }
  return MovieFault::kTimecodeOutOfRange;
}

/// A number that no track has, and that none refers to: a reference to a track that is not there must not find the new.
std::uint32_t freeTrackID(const MovieHeader& header) {
  std::vector<std::uint32_t> taken;
  for (const MovieTrack& track : header.tracks) {
    taken.push_back(track.id);
    for (const TrackReference& reference : track.references) {
      taken.insert(taken.end(), reference.trackIDs.begin(), reference.trackIDs.end());
    }
  }
  std::ranges::sort(taken);
  if (taken.empty() || taken.back() < std::numeric_limits<std::uint32_t>::max() - 1) {
    return taken.empty() ? 1 : taken.back() + 1;
  }
  std::uint32_t id = 1;
  for (const std::uint32_t other : taken) {
    if (other == id) ++id;
  }
  return id;
}

/// The old movie header made anew with the track in it.
class HeaderRewrite {
 public:
  HeaderRewrite(const MovieHeader& old, const TimecodeTrackPlace& place) : old_(old), place_(place) {
    referrer_ = atomType("soun");
    for (const MovieTrack& track : old.tracks) {
      if (track.mediaType == kTimecode) removed_.insert(track.id);
      if (track.mediaType == atomType("vide")) referrer_ = atomType("vide");
    }
  }

  std::error_code write(AtomWriter& writer, const TimecodeTrackFormat& format) const {
    std::error_code error;
    writer.atom(atomType("moov"), [&] {
      auto track = old_.tracks.begin();
      const auto addTrack = [&] { error = putTimecodeTrack(writer, format, place_); };
      for (const Atom& child : old_.children.atoms) {
        if (child.type == atomType("mvhd")) {
          writeMovieHead(writer);
        } else if (child.type == atomType("trak")) {
          if (track->mediaType != kTimecode) writeTrack(writer, *track);
          ++track;
          if (track == old_.tracks.end()) addTrack();
        } else {
          writer.putBytes(child.whole);
        }
      }
      if (old_.tracks.empty()) addTrack();
      writer.putBytes(old_.children.tail);
    });
    return error;
  }

 private:
  void writeMovieHead(AtomWriter& writer) const {
    constexpr std::uint32_t kMostTrackIDs = std::numeric_limits<std::uint32_t>::max();
    const std::size_t payload = writer.size() + old_.head.whole.size() - old_.head.payload.size();
    writer.putBytes(old_.head.whole);
    if (old_.wide) {
      writer.overwrite64(payload + 24, place_.duration);
    } else {
      writer.overwrite32(payload + 16, static_cast<std::uint32_t>(place_.duration));
    }
    const std::size_t nextAt = old_.wide ? 108 : 96;
    const std::uint32_t next = std::max(read32(old_.head.payload, nextAt), place_.trackID + 1);
    writer.overwrite32(payload + nextAt, place_.trackID == kMostTrackIDs ? kMostTrackIDs : next);
  }

  std::vector<TrackReference> referencesOf(const MovieTrack& track) const {
    std::vector<TrackReference> references;
    if (track.mediaType == referrer_) references.push_back({kTimecode, {place_.trackID}});
    for (TrackReference reference : track.references) {
      if (reference.type == kTimecode) continue;
      const auto gone = [&](std::uint32_t id) { return removed_.contains(id); };
      if (std::erase_if(reference.trackIDs, gone) > 0 && reference.trackIDs.empty()) continue;
      references.push_back(std::move(reference));
    }
    return references;
  }

  void writeTrack(AtomWriter& writer, const MovieTrack& track) const {
    const std::vector<TrackReference> references = referencesOf(track);
    if (references == track.references) {
      writer.putBytes(track.atom.whole);
      return;
    }
    writer.atom(atomType("trak"), [&] {
      for (const Atom& child : track.children.atoms) {
        if (child.type == atomType("mdia")) writeReferences(writer, references);
        if (child.type != atomType("tref")) writer.putBytes(child.whole);
      }
      writer.putBytes(track.children.tail);
    });
  }

  static void writeReferences(AtomWriter& writer, const std::vector<TrackReference>& references) {
    if (references.empty()) return;
    writer.atom(atomType("tref"), [&] {
      for (const TrackReference& reference : references) {
        writer.atom(reference.type, [&] {
          for (const std::uint32_t id : reference.trackIDs) writer.put32(id);
        });
      }
    });
  }

  const MovieHeader& old_;
  const TimecodeTrackPlace& place_;
  /// The type of the tracks that refer to the new one.
  AtomType referrer_;
  std::unordered_set<std::uint32_t> removed_;
};

/// An atom that ends with its file must tell its size before something can follow it.
std::error_code closeLastAtom(const MovieLayout& layout, std::optional<TimecodeTrackEdit::Write>& closing) {
  const AtomPlace& last = layout.atoms.back();
  if (!last.openEnded) return {};
  AtomWriter writer;
  if (std::in_range<std::uint32_t>(last.size)) {
    writer.put32(static_cast<std::uint32_t>(last.size));
    closing = {last.offset, writer.take()};
    return {};
  }
  // A size of 64 bits takes eight bytes more, which careful writers leave before the media.
  if (layout.atoms.size() < 2) return MovieFault::kOpenEndedMedia;
  const AtomPlace& room = layout.atoms[layout.atoms.size() - 2];
  const bool free = room.type == atomType("wide") || room.type == atomType("free") || room.type == atomType("skip");
  if (!free || room.size != kAtomHeaderSize) return MovieFault::kOpenEndedMedia;
  writer.put32(1);
  writer.put32(last.type);
  writer.put64(last.size + room.size);
  closing = {room.offset, writer.take()};
  return {};
}

}  // namespace

std::error_code planTimecodeTrack(const ByteSource& source, const Timecode& timecode, const TimecodeTrackFormat& format,
                                  TimecodeTrackEdit& edit) {
  edit = {};
  std::uint32_t frameNumber = 0;
  if (const auto error = frameNumberOf(timecode, frameNumber)) return error;

  MovieLayout layout;
  MovieHeader old;
  if (const auto error = readMovieLayout(source, layout)) return error;
  if (layout.atoms.size() + 2 > kMostAtoms) return MovieFault::kTooManyAtoms;
  if (const auto error = readMovieHeader(source, layout, old)) return error;
  if (const auto error = closeLastAtom(layout, edit.closing)) return error;

  const std::uint64_t end = layout.atoms.back().offset + layout.atoms.back().size;
  const auto duration = durationOf(old);
  if (!duration) return MovieFault::kUnknownDuration;
  if (!old.wide && *duration >= std::numeric_limits<std::uint32_t>::max()) return MovieFault::kContradiction;
  const TimecodeTrackPlace place{freeTrackID(old), old.timeScale, *duration, end + kAtomHeaderSize};

  constexpr std::size_t kMoreThanATrack = 4096;
  AtomWriter header(old.bytes.size() + kMoreThanATrack);
  if (const auto error = HeaderRewrite(old, place).write(header, format)) return error;
  // What this program would refuse to read it does not write either.
  MovieHeader rewritten;
  if (const auto error = parseMovieHeader(header.take(), kAtomHeaderSize, rewritten)) return error;

  AtomWriter sample;
  sample.atom(atomType("mdat"), [&] { sample.put32(frameNumber); });
  edit.sample = {end, sample.take()};
  edit.header = {end + edit.sample.bytes.size(), std::move(rewritten.bytes)};

  AtomWriter retirement;
  retirement.put32(atomType("free"));
  edit.retirement = {layout.movieHeader.offset + 4, retirement.take()};
  return {};
}

}  // namespace tallyrig
