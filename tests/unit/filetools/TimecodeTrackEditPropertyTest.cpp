#include <algorithm>
#include <random>

#include "filetools/TimecodeTrackEdit.h"
#include "support/EditedMovie.h"
#include "support/TestMovie.h"

namespace tallyrig {
namespace {

/// Movies of every shape that can be edited.
class MovieMaker {
 public:
  explicit MovieMaker(std::uint32_t seed) : random_(seed) {}

  TestMovie movie() {
    TestMovie movie;
    movie.wide = chance();
    movie.timeScale = 1 + below(100'000);
    movie.headerFirst = chance();
    movie.mediaHead = chance() ? TestMovie::MediaHead::kShort : TestMovie::MediaHead::kLong;
    if (movie.headerFirst && chance()) movie.mediaHead = TestMovie::MediaHead::kOpenEnded;
    movie.media = noise(below(400));
    if (chance()) movie.beforeMedia = atom("wide", "");
    if (chance()) movie.beforeTracks = chance() ? longAtom("odd ", noise(9)) : atom("iods", noise(16));
    if (chance()) movie.afterTracks = atom("udta", noise(below(60)));
    if (chance()) movie.afterTracks += number32(0);
    if (movie.mediaHead != TestMovie::MediaHead::kOpenEnded && chance()) movie.atEnd = atom("uuid", noise(20));
    addTracks(movie);
    return movie;
  }

 private:
  bool chance() { return below(2) == 0; }
  std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(random_() % limit); }

  std::string noise(std::uint32_t length) {
    std::string text(length, '\0');
    std::ranges::generate(text, [this] { return static_cast<char>(random_()); });
    return text;
  }

  void addTracks(TestMovie& movie) {
    const std::vector<std::string> types = {"vide", "soun", "tmcd", "text", "meta"};
    movie.tracks.clear();
    movie.duration = 0;
    const std::uint32_t count = 1 + below(6);
    const std::uint32_t step = 1 + below(1000);
    for (std::uint32_t index = 0; index < count; ++index) {
      TestTrack track;
      track.id = (index + 1) * step;
      track.mediaType = types[below(5)];
      track.duration = below(1'000'000);
      track.wide = chance();
      track.longOffsets = chance();
      for (std::uint32_t chunks = below(5); chunks > 0; --chunks) track.chunks.push_back(below(500));
      if (chance()) track.more = atom("edts", noise(below(40))) + longAtom("what", noise(below(10)));
      if (chance()) track.references.push_back({"tmcd", {(1 + below(count)) * step}});
      if (chance()) track.references.push_back({"chap", {(1 + below(count)) * step, (1 + below(count)) * step}});
      movie.duration = std::max(movie.duration, track.duration);
      movie.tracks.push_back(track);
    }
    movie.nextTrackID = (count + 1) * step;
  }

  std::mt19937 random_;
};

/// Everything of a track but its references.
std::string keptPartOf(const MovieTrack& track) {
  std::string kept;
  for (const Atom& child : track.children.atoms) {
    if (child.type != atomType("tref")) kept += textOf(child.whole);
  }
  return kept + textOf(track.children.tail);
}

/// Everything of a header but its tracks and the head, whose numbers may change.
std::string keptPartOf(const MovieHeader& header) {
  std::string kept;
  for (const Atom& child : header.children.atoms) {
    if (child.type != atomType("trak") && child.type != atomType("mvhd")) kept += textOf(child.whole);
  }
  return kept + textOf(header.children.tail);
}

/// The payloads of the file's atoms, the media among them, where they stand; without the header.
std::vector<std::pair<std::uint64_t, std::string>> payloadsOf(const ParsedMovie& movie) {
  std::vector<std::pair<std::uint64_t, std::string>> payloads;
  for (const AtomPlace& place : movie.layout.atoms) {
    if (place.type == atomType("moov") || place.type == atomType("free")) continue;
    const std::uint64_t from = place.offset + place.headerSize;
    payloads.emplace_back(from, movie.bytes.substr(static_cast<std::size_t>(from),
                                                   static_cast<std::size_t>(place.size - place.headerSize)));
  }
  return payloads;
}

void expectReferencesFit(const ParsedMovie& movie, std::uint32_t timecodeID) {
  const bool picture = !movie.tracksOf(atomType("vide")).empty();
  for (const MovieTrack& track : movie.header.tracks) {
    const bool refers = track.mediaType == (picture ? atomType("vide") : atomType("soun"));
    const auto toTimecode = std::ranges::count(track.references, TrackReference{atomType("tmcd"), {timecodeID}});
    EXPECT_EQ(toTimecode, refers ? 1 : 0);
    for (const TrackReference& reference : track.references) {
      if (reference.type == atomType("tmcd")) {
        EXPECT_EQ(reference.trackIDs, std::vector{timecodeID});
      }
      for (const std::uint32_t id : reference.trackIDs) {
        EXPECT_TRUE(std::ranges::any_of(movie.header.tracks, [&](const MovieTrack& other) { return other.id == id; }));
      }
    }
  }
}

TEST(TimecodeTrackEditProperties, HoldForMoviesOfAnyShape) {
  for (std::uint32_t seed = 1; seed <= 2000; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const TestMovie made = MovieMaker(seed).movie();
    const ParsedMovie before(made.bytes());
    ASSERT_FALSE(before.error) << before.error.message();

    TimecodeTrackEdit edit;
    const auto error = planTimecodeTrack(MemoryBytes(before.bytes), {1, 0, 0, 0, MTCFrameRate::fps25},
                                         timecodeTrackFormat(MTCFrameRate::fps25), edit);
    ASSERT_FALSE(error) << error.message();
    const ParsedMovie after(withEdit(before.bytes, edit));
    ASSERT_FALSE(after.error) << after.error.message();

    EXPECT_EQ(keptPartOf(after.header), keptPartOf(before.header));
    EXPECT_EQ(after.header.duration, made.duration);
    auto payloads = payloadsOf(before);
    payloads.emplace_back(before.bytes.size() + 8, number32(90000));
    EXPECT_EQ(payloadsOf(after), payloads);

    std::vector<std::string> kept;
    for (const MovieTrack& track : before.header.tracks) {
      if (track.mediaType != atomType("tmcd")) kept.push_back(keptPartOf(track));
    }
    ASSERT_EQ(after.header.tracks.size(), kept.size() + 1);
    for (std::size_t index = 0; index < kept.size(); ++index) {
      EXPECT_EQ(keptPartOf(after.header.tracks[index]), kept[index]);
    }
    const MovieTrack& timecode = after.header.tracks.back();
    EXPECT_EQ(timecode.mediaType, atomType("tmcd"));
    EXPECT_EQ(timecode.duration, made.duration);
    expectReferencesFit(after, timecode.id);
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace tallyrig
