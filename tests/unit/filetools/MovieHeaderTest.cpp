#include "filetools/MovieHeader.h"

#include "filetools/MovieFault.h"
#include "support/MemoryBytes.h"
#include "support/TestMovie.h"

namespace tallyrig {
namespace {

std::error_code read(const std::string& bytes, MovieHeader& header) {
  const MemoryBytes source(bytes);
  MovieLayout layout;
  if (const auto error = readMovieLayout(source, layout)) return error;
  return readMovieHeader(source, layout, header);
}

std::error_code headerFault(const std::string& headerPayload) {
  MovieHeader header;
  return read(atom("moov", headerPayload), header);
}

std::error_code headerFault(const TestMovie& movie) {
  return headerFault(movie.headerPayload());
}

TEST(MovieHeader, ReadsTracksOfBothVersions) {
  for (const bool wide : {false, true}) {
    TestMovie movie;
    movie.wide = wide;
    movie.timeScale = 90000;
    movie.duration = wide ? 1ULL << 40U : 12345;
    movie.tracks = {{.id = 4, .mediaType = "vide", .duration = movie.duration, .wide = wide},
                    {.id = 2, .mediaType = "soun", .duration = 7, .wide = wide}};
    MovieHeader header;
    ASSERT_FALSE(read(movie.bytes(), header));
    EXPECT_EQ(header.timeScale, 90000U);
    EXPECT_EQ(header.duration, movie.duration);
    ASSERT_EQ(header.tracks.size(), 2U);
    EXPECT_EQ(header.tracks[0].id, 4U);
    EXPECT_EQ(header.tracks[0].mediaType, atomType("vide"));
    EXPECT_EQ(header.tracks[0].duration, movie.duration);
    EXPECT_EQ(header.tracks[1].id, 2U);
    EXPECT_EQ(header.tracks[1].mediaType, atomType("soun"));
    EXPECT_EQ(header.tracks[1].duration, 7U);
  }
}

TEST(MovieHeader, TellsAnUnknownDuration) {
  for (const bool wide : {false, true}) {
    TestMovie movie;
    movie.wide = wide;
    movie.duration = kUnknownTime;
    movie.tracks = {{.duration = kUnknownTime, .wide = wide}};
    MovieHeader header;
    ASSERT_FALSE(read(movie.bytes(), header));
    EXPECT_FALSE(header.duration);
    EXPECT_FALSE(header.tracks[0].duration);
  }
}

TEST(MovieHeader, ReadsReferencesBetweenTracks) {
  TestMovie movie;
  movie.tracks[0].references = {{"tmcd", {3}}, {"chap", {4, 5}}, {"none", {}}};
  MovieHeader header;
  ASSERT_FALSE(read(movie.bytes(), header));
  EXPECT_EQ(header.tracks[0].references,
            (std::vector<TrackReference>{{atomType("tmcd"), {3}}, {atomType("chap"), {4, 5}}, {atomType("none"), {}}}));
}

TEST(MovieHeader, KeepsEveryAtomOfMovieAndTrackAsItsBytes) {
  TestMovie movie;
  movie.beforeTracks = longAtom("odd ", "before");
  movie.tracks[0].more = atom("edts", "an edit list") + atom("what", "?");
  movie.afterTracks = atom("udta", atom("name", "n") + number32(0)) + number32(0);
  MovieHeader header;
  ASSERT_FALSE(read(movie.bytes(), header));
  std::string kept;
  for (const Atom& child : header.children.atoms) kept.append(child.whole.begin(), child.whole.end());
  kept.append(header.children.tail.begin(), header.children.tail.end());
  EXPECT_EQ(kept, movie.headerPayload());
  ASSERT_EQ(header.tracks[0].children.atoms.size(), 4U);
  EXPECT_EQ(header.tracks[0].children.atoms[2].type, atomType("what"));
}

TEST(MovieHeader, ReadsAHeaderWithALongSizeOrWithoutOne) {
  const std::string payload = TestMovie{}.headerPayload();
  for (const std::string& atom : {longAtom("moov", payload), openAtom("moov", payload)}) {
    MovieHeader header;
    EXPECT_FALSE(read(atom, header));
    EXPECT_EQ(header.tracks.size(), 1U);
  }
}

TEST(MovieHeader, RefusesCompressedAndFragmentedMovies) {
  EXPECT_EQ(headerFault(atom("cmov", atom("dcom", "zlib") + atom("cmvd", "bytes"))), MovieFault::kCompressedHeader);
  TestMovie movie;
  movie.afterTracks = atom("mvex", atom("trex", std::string(24, '\0')));
  EXPECT_EQ(headerFault(movie), MovieFault::kFragmented);
}

TEST(MovieHeader, RefusesAMovieHeadThatIsMissingTwiceThereOrTooShort) {
  TestMovie movie;
  EXPECT_EQ(headerFault(""), MovieFault::kContradiction);
  EXPECT_EQ(headerFault(movie.headerPayload() + atom("mvhd", std::string(100, '\0'))), MovieFault::kContradiction);
  EXPECT_EQ(headerFault(atom("mvhd", std::string(99, '\1'))), MovieFault::kContradiction);
  EXPECT_EQ(headerFault(atom("mvhd", "")), MovieFault::kContradiction);
  EXPECT_EQ(headerFault(atom("mvhd", "\2" + std::string(120, '\1'))), MovieFault::kContradiction);
  movie.timeScale = 0;
  EXPECT_EQ(headerFault(movie), MovieFault::kContradiction);
}

TEST(MovieHeader, RefusesTracksThatContradict) {
  TestMovie movie;
  movie.tracks = {{.id = 1}, {.id = 1}};
  EXPECT_EQ(headerFault(movie), MovieFault::kContradiction) << "two of one number";
  movie.tracks = {{.id = 0}};
  EXPECT_EQ(headerFault(movie), MovieFault::kContradiction) << "number 0";
  movie.tracks = {{.more = atom("tkhd", std::string(84, '\1'))}};
  EXPECT_EQ(headerFault(movie), MovieFault::kContradiction) << "two heads";
  movie.tracks = {{.more = atom("mdia", "")}};
  EXPECT_EQ(headerFault(movie), MovieFault::kContradiction) << "two media";
  movie.tracks = {{.more = atom("tref", atom("tmcd", "12345"))}};
  EXPECT_EQ(headerFault(movie), MovieFault::kContradiction) << "a reference to a number and a quarter";
  movie.tracks = {{.moreOfMedia = number32(9999) + "long"}};
  EXPECT_EQ(headerFault(movie), MovieFault::kAtomTooLong);
  movie.tracks = {};
  movie.afterTracks = atom("trak", "");
  EXPECT_EQ(headerFault(movie), MovieFault::kContradiction) << "an empty track";
}

TEST(MovieHeader, RefusesMassesOfTracks) {
  TestMovie movie;
  movie.tracks.resize(kMostTracks + 1);
  for (std::uint32_t index = 0; index <= kMostTracks; ++index) movie.tracks[index].id = index + 1;
  EXPECT_EQ(headerFault(movie), MovieFault::kTooManyAtoms);
  movie.tracks.pop_back();
  EXPECT_FALSE(headerFault(movie));
}

TEST(MovieHeader, RefusesMassesOfAtomsInATrack) {
  TestMovie movie;
  // A head and media it has already.
  for (std::size_t index = 2; index < kMostTrackAtoms; ++index) movie.tracks[0].more += atom("free", "");
  EXPECT_FALSE(headerFault(movie));
  movie.tracks[0].more += atom("free", "");
  EXPECT_EQ(headerFault(movie), MovieFault::kTooManyAtoms);
}

TEST(MovieHeader, RefusesMassesOfReferences) {
  TestMovie movie;
  movie.tracks[0].references = {{"chap", std::vector<std::uint32_t>(kMostReferences - 2, 9)}};
  EXPECT_FALSE(headerFault(movie));
  movie.tracks[0].references[0].trackIDs.push_back(9);
  EXPECT_EQ(headerFault(movie), MovieFault::kTooManyAtoms);
}

TEST(MovieHeader, RefusesAHeaderOfGigabytesUnread) {
  const std::uint64_t size = 2ULL << 30U;
  MemoryBytes bytes(number32(size) + "moov");
  bytes.extendWithZeros(size);
  MovieLayout layout;
  MovieHeader header;
  ASSERT_FALSE(readMovieLayout(bytes, layout));
  EXPECT_EQ(readMovieHeader(bytes, layout, header), MovieFault::kHeaderTooLarge);
  EXPECT_EQ(bytes.bytesRead(), 16U);
}

TEST(MovieHeader, PassesAReadErrorOn) {
  const std::string movie = TestMovie{}.bytes();
  MemoryBytes bytes(movie);
  MovieLayout layout;
  MovieHeader header;
  ASSERT_FALSE(readMovieLayout(bytes, layout));
  bytes.failFrom(movie.size() - 1, std::errc::io_error);
  EXPECT_EQ(readMovieHeader(bytes, layout, header), std::errc::io_error);
}

TEST(MovieFault, HasATextForEachKind) {
  EXPECT_EQ(std::error_code(MovieFault::kFragmented).message(), "The movie is fragmented, which is not supported.");
  EXPECT_EQ(std::error_code(MovieFault::kCompressedHeader).message(),
            "The movie header is compressed, which is not supported.");
  EXPECT_EQ(std::error_code(MovieFault::kNoMovieHeader).message(), "The file holds no movie header.");
}

}  // namespace
}  // namespace tallyrig
