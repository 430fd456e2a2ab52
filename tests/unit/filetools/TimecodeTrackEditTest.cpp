#include "filetools/TimecodeTrackEdit.h"

#include <limits>
#include <optional>

#include "filetools/MovieFault.h"
#include "support/EditedMovie.h"
#include "support/TestMovie.h"

namespace tallyrig {
namespace {

Timecode oneHour(MTCFrameRate rate) {
  return {1, 0, 0, 0, rate};
}

std::error_code plan(const std::string& movie, TimecodeTrackEdit& edit,
                     const Timecode& timecode = oneHour(MTCFrameRate::fps25)) {
  return planTimecodeTrack(MemoryBytes(movie), timecode, timecodeTrackFormat(timecode.frameRate), edit);
}

std::string edited(const std::string& movie, const Timecode& timecode = oneHour(MTCFrameRate::fps25)) {
  TimecodeTrackEdit edit;
  const auto error = plan(movie, edit, timecode);
  EXPECT_FALSE(error) << error.message();
  return withEdit(movie, edit);
}

std::error_code editFault(const std::string& movie, const Timecode& timecode = oneHour(MTCFrameRate::fps25)) {
  TimecodeTrackEdit edit;
  return plan(movie, edit, timecode);
}

const MovieTrack& timecodeTrack(const ParsedMovie& movie) {
  EXPECT_FALSE(movie.error) << movie.error.message();
  EXPECT_EQ(movie.tracksOf(atomType("tmcd")).size(), 1U);
  return *movie.tracksOf(atomType("tmcd")).at(0);
}

/// What the track's tables say is its one sample.
std::string sample(const ParsedMovie& movie) {
  const MovieTrack& track = timecodeTrack(movie);
  EXPECT_EQ(sampleTable(track, atomType("stsz")), number32(4) + number32(1));
  EXPECT_EQ(sampleTable(track, atomType("stsc")), number32(1) + number32(1) + number32(1) + number32(1));
  const std::string offset = sampleTable(track, atomType("stco"));
  EXPECT_EQ(offset.size(), 8U);
  for (const AtomPlace& place : movie.layout.atoms) {
    const std::uint64_t payload = place.offset + place.headerSize;
    if (place.type == atomType("mdat") && offset == number32(1) + number32(payload)) {
      EXPECT_EQ(place.size, 12U);
      return movie.bytes.substr(static_cast<std::size_t>(payload), 4);
    }
  }
  return "no media atom starts with the sample";
}

TEST(TimecodeTrackEdit, PutsTheFrameNumberIntoMediaOfItsOwn) {
  const auto sampleAt = [](const Timecode& timecode) {
    return sample(ParsedMovie(edited(TestMovie{}.bytes(), timecode)));
  };
  EXPECT_EQ(sampleAt(oneHour(MTCFrameRate::fps24)), number32(86400));
  EXPECT_EQ(sampleAt(oneHour(MTCFrameRate::fps25)), std::string("\x00\x01\x5F\x90", 4));
  EXPECT_EQ(sampleAt(oneHour(MTCFrameRate::fps2997)), std::string("\x00\x01\xA5\x74", 4));
  EXPECT_EQ(sampleAt(oneHour(MTCFrameRate::fps30)), number32(108000));
  EXPECT_EQ(sampleAt({0, 1, 0, 2, MTCFrameRate::fps2997}), number32(1800));
  EXPECT_EQ(sampleAt({23, 59, 59, 24, MTCFrameRate::fps25}), number32(2159999));
}

TEST(TimecodeTrackEdit, DescribesTheCountingOfEachRate) {
  const auto description = [](const TimecodeTrackFormat& format) {
    const std::string movie = TestMovie{}.bytes();
    TimecodeTrackEdit edit;
    EXPECT_FALSE(planTimecodeTrack(MemoryBytes(movie), oneHour(format.frameRate), format, edit));
    return sampleTable(timecodeTrack(ParsedMovie(withEdit(movie, edit))), atomType("stsd"));
  };
  const auto expected = [](std::uint32_t flags, std::uint32_t scale, std::uint32_t duration, char quanta) {
    return number32(1) + atom("tmcd", std::string(6, '\0') + number16(1) + number32(0) + number32(flags) +
                                          number32(scale) + number32(duration) + quanta + '\0');
  };
  EXPECT_EQ(description(timecodeTrackFormat(MTCFrameRate::fps24)), expected(0, 24, 1, 24));
  EXPECT_EQ(description({MTCFrameRate::fps24, {1001, 24000}, 24, 0}), expected(0, 24000, 1001, 24));
  EXPECT_EQ(description(timecodeTrackFormat(MTCFrameRate::fps25)), expected(0, 25, 1, 25));
  EXPECT_EQ(description(timecodeTrackFormat(MTCFrameRate::fps2997)), expected(1, 30000, 1001, 30));
  EXPECT_EQ(description(timecodeTrackFormat(MTCFrameRate::fps30)), expected(0, 30, 1, 30));
}

TEST(TimecodeTrackEdit, LastsAsLongAsTheMovie) {
  TestMovie movie;
  movie.duration = 7200;
  movie.tracks = {{.id = 1, .duration = 7200}, {.id = 2, .mediaType = "soun", .duration = 7100}};
  const ParsedMovie result(edited(movie.bytes()));
  const MovieTrack& track = timecodeTrack(result);
  EXPECT_EQ(result.header.duration, 7200U);
  EXPECT_EQ(track.duration, 7200U);
  EXPECT_EQ(sampleTable(track, atomType("stts")), number32(1) + number32(1) + number32(7200));
  EXPECT_EQ(payloadAt(track.children, {atomType("mdia"), atomType("mdhd")}).substr(12, 8),
            number32(600) + number32(7200));
  EXPECT_EQ(payloadAt(track.children, {atomType("edts"), atomType("elst")}),
            number32(0) + number32(1) + number32(7200) + number32(0) + number32(0x10000));
}

TEST(TimecodeTrackEdit, CountsAVeryLongSampleInCoarserUnits) {
  TestMovie movie;
  movie.wide = true;
  movie.timeScale = 10'000'000;
  movie.duration = 24ULL * 3600 * movie.timeScale + 1;
  movie.tracks = {{.duration = movie.duration, .wide = true}};
  const ParsedMovie result(edited(movie.bytes()));
  const MovieTrack& track = timecodeTrack(result);
  EXPECT_EQ(track.duration, movie.duration);
  // 24 h are 403 times what fits.
  const std::uint32_t scale = 10'000'000 / 403;
  const std::uint32_t duration = 24 * 3600 * scale + 1;
  EXPECT_EQ(sampleTable(track, atomType("stts")), number32(1) + number32(1) + number32(duration));
  EXPECT_EQ(payloadAt(track.children, {atomType("mdia"), atomType("mdhd")}).substr(12, 8),
            number32(scale) + number32(duration));
  EXPECT_EQ(payloadAt(track.children, {atomType("edts"), atomType("elst")}),
            number32(1U << 24U) + number32(1) + number64(movie.duration) + number64(0) + number32(0x10000));
}

TEST(TimecodeTrackEdit, TakesTheDurationFromTheLongestTrackThatTellsOne) {
  TestMovie movie;
  movie.duration = 50;
  movie.tracks = {{.id = 1, .duration = kUnknownTime}, {.id = 2, .duration = 9000}, {.id = 3, .duration = 10}};
  EXPECT_EQ(timecodeTrack(ParsedMovie(edited(movie.bytes()))).duration, 9000U);
  movie.tracks = {{.duration = kUnknownTime}};
  EXPECT_EQ(timecodeTrack(ParsedMovie(edited(movie.bytes()))).duration, 50U);
  movie.duration = kUnknownTime;
  EXPECT_EQ(editFault(movie.bytes()), MovieFault::kUnknownDuration);
  movie.duration = 0;
  EXPECT_EQ(timecodeTrack(ParsedMovie(edited(movie.bytes()))).duration, 0U);
}

TEST(TimecodeTrackEdit, MakesEveryPictureReferToTheTrack) {
  TestMovie movie;
  movie.tracks = {{.id = 1}, {.id = 2, .mediaType = "soun"}, {.id = 3}};
  const ParsedMovie result(edited(movie.bytes()));
  const std::vector<TrackReference> toTimecode{{atomType("tmcd"), {timecodeTrack(result).id}}};
  for (const MovieTrack* track : result.tracksOf(atomType("vide"))) EXPECT_EQ(track->references, toTimecode);
  EXPECT_TRUE(result.tracksOf(atomType("soun")).at(0)->references.empty());
}

TEST(TimecodeTrackEdit, MakesTheSoundReferToTheTrackIfThereIsNoPicture) {
  TestMovie movie;
  movie.tracks = {{.id = 1, .mediaType = "soun"}, {.id = 2, .mediaType = "text"}, {.id = 3, .mediaType = "soun"}};
  const ParsedMovie result(edited(movie.bytes()));
  const std::vector<TrackReference> toTimecode{{atomType("tmcd"), {timecodeTrack(result).id}}};
  for (const MovieTrack* track : result.tracksOf(atomType("soun"))) EXPECT_EQ(track->references, toTimecode);
  EXPECT_TRUE(result.tracksOf(atomType("text")).at(0)->references.empty());
}

TEST(TimecodeTrackEdit, RemovesOldTimecodeTracksAndWhateverRefersToThem) {
  TestMovie movie;
  movie.nextTrackID = 9;
  movie.tracks = {{.id = 3, .references = {{"tmcd", {5}}, {"chap", {5, 7}}, {"sync", {8}}}},
                  {.id = 4, .mediaType = "soun", .references = {{"tmcd", {5}}}},
                  {.id = 5, .mediaType = "tmcd"},
                  {.id = 7, .mediaType = "text"},
                  {.id = 8, .mediaType = "tmcd"}};
  const ParsedMovie result(edited(movie.bytes()));
  const std::uint32_t id = timecodeTrack(result).id;
  EXPECT_EQ(id, 9U);
  ASSERT_EQ(result.header.tracks.size(), 4U);
  EXPECT_EQ(result.header.tracks[0].references,
            (std::vector<TrackReference>{{atomType("tmcd"), {id}}, {atomType("chap"), {7}}}));
  EXPECT_EQ(payloadAt(result.header.tracks[1].children, {atomType("tref")}), "none");
  EXPECT_EQ(textOf(result.header.tracks[2].atom.whole), movie.tracks[3].bytes());
}

TEST(TimecodeTrackEdit, LeavesOneTrackHoweverOftenItIsDone) {
  std::string movie = TestMovie{}.bytes();
  for (int count = 1; count <= 5; ++count) {
    movie = edited(movie, {count, 0, 0, 0, MTCFrameRate::fps30});
    EXPECT_EQ(sample(ParsedMovie(movie)), number32(count * 108000));
  }
  EXPECT_EQ(ParsedMovie(movie).header.tracks.size(), 2U);
}

TEST(TimecodeTrackEdit, NumbersTheTrackAfterAllOthersOrIntoAGap) {
  TestMovie movie;
  movie.tracks = {{.id = 41}};
  ParsedMovie result(edited(movie.bytes()));
  EXPECT_EQ(timecodeTrack(result).id, 42U);
  EXPECT_EQ(textOf(result.header.head.payload).substr(96), number32(43));

  movie.tracks = {{.id = 0xffffffff}, {.id = 1}};
  movie.nextTrackID = 0xffffffff;
  ParsedMovie full(edited(movie.bytes()));
  EXPECT_EQ(timecodeTrack(full).id, 2U);
  EXPECT_EQ(textOf(full.header.head.payload).substr(96), number32(0xffffffff));
}

TEST(TimecodeTrackEdit, TakesNoNumberThatAReferenceToNothingHas) {
  TestMovie movie;
  movie.tracks = {{.id = 1, .references = {{"chap", {2, 6}}}}};
  EXPECT_EQ(timecodeTrack(ParsedMovie(edited(movie.bytes()))).id, 7U);
  movie.tracks = {{.id = 1, .references = {{"chap", {2, 2, 0, 0xffffffff}}}}};
  EXPECT_EQ(timecodeTrack(ParsedMovie(edited(movie.bytes()))).id, 3U);
}

TEST(TimecodeTrackEdit, KeepsTheOldMovieWholeUntilTheNewHeaderStands) {
  for (const bool headerFirst : {false, true}) {
    TestMovie movie;
    movie.headerFirst = headerFirst;
    const std::string old = movie.bytes();
    TimecodeTrackEdit edit;
    ASSERT_FALSE(plan(old, edit));
    EXPECT_FALSE(edit.closing);
    EXPECT_EQ(edit.sample.offset, old.size());
    EXPECT_EQ(edit.header.offset, old.size() + edit.sample.bytes.size());
    EXPECT_EQ(edit.retirement.offset, old.find("moov"));
    EXPECT_EQ(textOf(edit.retirement.bytes), "free");
  }
}

TEST(TimecodeTrackEdit, ClosesTheLastAtomWithoutMovingIt) {
  TestMovie movie;
  movie.headerFirst = true;
  movie.mediaHead = TestMovie::MediaHead::kOpenEnded;
  const std::string old = movie.bytes();
  TimecodeTrackEdit edit;
  ASSERT_FALSE(plan(old, edit));
  ASSERT_TRUE(edit.closing);
  movie.mediaHead = TestMovie::MediaHead::kShort;
  EXPECT_EQ(withWrite(old, *edit.closing), movie.bytes());
  EXPECT_EQ(sample(ParsedMovie(withEdit(old, edit))), number32(90000));

  const std::string openHeader = atom("mdat", "x") + openAtom("moov", movie.headerPayload());
  EXPECT_EQ(sample(ParsedMovie(edited(openHeader))), number32(90000));
}

TEST(TimecodeTrackEdit, NeedsRoomToCloseMediaOfMoreThanFourGibibytes) {
  const std::uint64_t size = 5ULL << 30U;
  const std::string header = atom("moov", TestMovie{}.headerPayload());
  const auto planFor = [&](const std::string& before, TimecodeTrackEdit& edit) {
    MemoryBytes bytes(header + before + openAtom("mdat", ""));
    bytes.extendWithZeros(size);
    return planTimecodeTrack(bytes, oneHour(MTCFrameRate::fps25), timecodeTrackFormat(MTCFrameRate::fps25), edit);
  };
  TimecodeTrackEdit edit;
  EXPECT_EQ(planFor("", edit), MovieFault::kOpenEndedMedia);
  EXPECT_EQ(planFor(atom("free", "1"), edit), MovieFault::kOpenEndedMedia);
  ASSERT_FALSE(planFor(atom("wide", ""), edit));
  EXPECT_EQ(edit.closing->offset, header.size());
  EXPECT_EQ(textOf(edit.closing->bytes), number32(1) + "mdat" + number64(size - header.size()));
}

TEST(TimecodeTrackEdit, PointsBeyondFourGibibytes) {
  const std::uint64_t end = 6ULL << 30U;
  const std::string start = atom("moov", TestMovie{}.headerPayload());
  MemoryBytes bytes(start + number32(1) + "mdat" + number64(end - start.size()));
  bytes.extendWithZeros(end);
  TimecodeTrackEdit edit;
  ASSERT_FALSE(planTimecodeTrack(bytes, oneHour(MTCFrameRate::fps25), timecodeTrackFormat(MTCFrameRate::fps25), edit));
  EXPECT_FALSE(edit.closing);
  EXPECT_EQ(edit.sample.offset, end);
  EXPECT_LT(bytes.bytesRead(), 1000U);
  const ParsedMovie alone(textOf(edit.header.bytes));
  EXPECT_EQ(sampleTable(timecodeTrack(alone), atomType("co64")), number32(1) + number64(end + 8));
}

TEST(TimecodeTrackEdit, RefusesTimecodesThatHaveNoFrameNumber) {
  const std::string movie = TestMovie{}.bytes();
  const auto fault = [&](std::int64_t hours) { return editFault(movie, {hours, 0, 0, 0, MTCFrameRate::fps30}); };
  EXPECT_FALSE(fault(19884));
  EXPECT_EQ(fault(19885), MovieFault::kTimecodeOutOfRange);
  EXPECT_EQ(fault(std::numeric_limits<std::int64_t>::max()), MovieFault::kTimecodeOutOfRange);
  EXPECT_EQ(fault(std::numeric_limits<std::int64_t>::min()), MovieFault::kTimecodeOutOfRange);
}

TEST(TimecodeTrackEdit, RefusesMoviesThatItCannotEdit) {
  TestMovie movie;
  movie.afterTracks = atom("mvex", "");
  EXPECT_EQ(editFault(movie.bytes()), MovieFault::kFragmented);
  EXPECT_EQ(editFault(atom("moov", atom("cmov", ""))), MovieFault::kCompressedHeader);
  EXPECT_EQ(editFault("no movie"), MovieFault::kAtomTooLong);
  movie.afterTracks.clear();
  movie.tracks = {{.duration = 1ULL << 40U, .wide = true}};
  EXPECT_EQ(editFault(movie.bytes()), MovieFault::kContradiction) << "a track longer than its movie can tell";
  movie.wide = true;
  movie.timeScale = 1;
  EXPECT_EQ(editFault(movie.bytes()), MovieFault::kDurationTooLong);
  movie.tracks.resize(kMostTracks);
  for (std::uint32_t index = 0; index < kMostTracks; ++index) movie.tracks[index] = {.id = index + 1};
  EXPECT_EQ(editFault(movie.bytes()), MovieFault::kTooManyAtoms);
}

}  // namespace
}  // namespace tallyrig
