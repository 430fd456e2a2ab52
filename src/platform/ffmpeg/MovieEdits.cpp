#include "platform/ffmpeg/MovieEdits.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace tallyrig {
namespace {

// The walk over atoms is this file's own. That of filetools/Atoms lies in a layer which nothing in platform may know,
// takes apart what lies in memory and refuses a movie with a reason; here heads are read from the disk, and whatever is
// not understood is left to FFmpeg.

/// Atoms that are looked at in one file; an honest movie has a few dozen for each track.
constexpr int kMostAtoms = 16384;

constexpr std::uint32_t typeOf(const char (&text)[5]) {
  std::uint32_t type = 0;
  for (int index = 0; index < 4; ++index) type = type << 8 | static_cast<std::uint8_t>(text[index]);
  return type;
}

constexpr std::array kUncompressed{typeOf("sowt"), typeOf("twos"), typeOf("raw "), typeOf("NONE"), typeOf("in24"),
                                   typeOf("in32"), typeOf("fl32"), typeOf("fl64"), typeOf("lpcm"), typeOf("ipcm"),
                                   typeOf("fpcm"), typeOf("ulaw"), typeOf("alaw")};

/// The payload of an atom, as a place in the file.
struct Span {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;

  std::uint64_t size() const { return end - begin; }
};

class Movie {
 public:
  explicit Movie(const ByteSource& file) : file_(file) {}

  /// False as soon as a byte is asked for that is not there, or an atom does not fit into its place.
  bool isSound() const { return sound_; }
  Span whole() const { return {0, file_.size()}; }

  /// The number of `bytes` bytes at `offset` of the payload.
  std::uint64_t number(Span atom, std::uint64_t offset, std::size_t bytes) {
    std::array<std::uint8_t, 8> room{};
    if (offset + bytes > atom.size() || file_.read(atom.begin + offset, std::span(room).first(bytes))) {
      sound_ = false;
      return 0;
    }
    std::uint64_t value = 0;
    for (std::size_t index = 0; index < bytes; ++index) value = value << 8 | room[index];
    return value;
  }

  void forEach(Span parent, const std::function<void(std::uint32_t, Span)>& visit) {
    constexpr std::uint64_t kHead = 8;
    constexpr std::uint64_t kLongHead = 16;
    std::uint64_t place = parent.begin;
    while (sound_ && parent.end - place >= kHead) {
      std::uint64_t size = number({place, parent.end}, 0, 4);
      const auto type = static_cast<std::uint32_t>(number({place, parent.end}, 4, 4));
      const bool isLong = size == 1;
      if (isLong) size = number({place, parent.end}, 8, 8);
      if (size == 0) size = parent.end - place;
      if (++atoms_ > kMostAtoms || size < (isLong ? kLongHead : kHead) || size > parent.end - place) sound_ = false;
      if (!sound_) return;
      visit(type, {place + (isLong ? kLongHead : kHead), place + size});
      place += size;
    }
  }

 private:
  const ByteSource& file_;
  bool sound_ = true;
  int atoms_ = 0;
};

/// How many units of `scale` a second has, and how many of them something lasts, from a header whose first fields are a
/// version and two times.
struct Duration {
  std::uint64_t scale = 0;
  std::uint64_t units = 0;
};

Duration durationIn(Movie& movie, Span head) {
  const bool wide = movie.number(head, 0, 1) == 1;
  return {movie.number(head, wide ? 20 : 12, 4), movie.number(head, wide ? 24 : 16, wide ? 8 : 4)};
}

struct Track {
  bool isSound = false;
  bool isUncompressed = false;
  Duration media;
  /// Entries in all of its edit lists, and the one where there is only one.
  std::uint64_t edits = 0;
  std::uint64_t editDuration = 0;
  bool startsAtFirstSample = false;
  bool hasNormalRate = false;
};

void readEdits(Movie& movie, Span list, Track& track) {
  track.edits += movie.number(list, 4, 4);
  if (track.edits != 1) return;
  const bool wide = movie.number(list, 0, 1) == 1;
  track.editDuration = movie.number(list, 8, wide ? 8 : 4);
  track.startsAtFirstSample = movie.number(list, wide ? 16 : 12, wide ? 8 : 4) == 0;
  track.hasNormalRate = movie.number(list, wide ? 24 : 16, 4) == 0x10000;
}

Track readTrack(Movie& movie, Span atom) {
  Track track;
  movie.forEach(atom, [&](std::uint32_t type, Span child) {
    if (type == typeOf("edts")) {
      movie.forEach(child, [&](std::uint32_t inner, Span list) {
        if (inner == typeOf("elst")) readEdits(movie, list, track);
      });
    }
    if (type != typeOf("mdia")) return;
    movie.forEach(child, [&](std::uint32_t inner, Span media) {
      if (inner == typeOf("mdhd")) track.media = durationIn(movie, media);
      if (inner == typeOf("hdlr")) track.isSound = movie.number(media, 8, 4) == typeOf("soun");
      if (inner != typeOf("minf")) return;
      movie.forEach(media, [&](std::uint32_t below, Span information) {
        if (below != typeOf("stbl")) return;
        movie.forEach(information, [&](std::uint32_t table, Span descriptions) {
          if (table != typeOf("stsd")) return;
          // The head, the count of descriptions, and the size of the first.
          const auto codec = static_cast<std::uint32_t>(movie.number(descriptions, 12, 4));
          track.isUncompressed =
              movie.number(descriptions, 4, 4) == 1 && std::ranges::find(kUncompressed, codec) != kUncompressed.end();
        });
      });
    });
  });
  return track;
}

/// An edit lasts in units of the movie, which are coarser than those of the media: it may end up to one early.
bool playsWhole(const Track& track, std::uint64_t movieScale) {
  if (!track.isUncompressed || track.media.scale == 0) return false;
  if (track.edits == 0) return true;
  if (track.edits != 1 || !track.startsAtFirstSample || !track.hasNormalRate || movieScale == 0) return false;
  const long double mediaSeconds = static_cast<long double>(track.media.units) / track.media.scale;
  return static_cast<long double>(track.editDuration + 1) / movieScale >= mediaSeconds;
}

}  // namespace

bool hasUneditedSound(const ByteSource& file) {
  Movie movie(file);
  int headers = 0;
  bool unedited = true;
  movie.forEach(movie.whole(), [&](std::uint32_t type, Span atom) {
    // A fragmented movie goes on elsewhere.
    if (type == typeOf("moof")) unedited = false;
    if (type != typeOf("moov")) return;
    ++headers;
    std::uint64_t movieScale = 0;
    movie.forEach(atom, [&](std::uint32_t inner, Span child) {
      if (inner == typeOf("mvhd")) movieScale = durationIn(movie, child).scale;
      if (inner == typeOf("mvex") || inner == typeOf("cmov")) unedited = false;
      if (inner != typeOf("trak") || !unedited) return;
      const Track track = readTrack(movie, child);
      if (track.isSound) unedited = playsWhole(track, movieScale);
    });
  });
  return headers == 1 && unedited && movie.isSound();
}

}  // namespace tallyrig
