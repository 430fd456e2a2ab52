#include "filetools/MovieLayout.h"

#include "filetools/MovieFault.h"
#include "support/MemoryBytes.h"
#include "support/TestMovie.h"

namespace tallyrig {
namespace {

std::error_code layoutFault(const std::string& bytes) {
  MovieLayout layout;
  return readMovieLayout(MemoryBytes(bytes), layout);
}

std::vector<AtomType> typesOf(const MovieLayout& layout) {
  std::vector<AtomType> types;
  for (const AtomPlace& place : layout.atoms) types.push_back(place.type);
  return types;
}

TEST(MovieLayout, FindsTheHeaderBeforeAndBehindTheMedia) {
  for (const bool headerFirst : {false, true}) {
    TestMovie movie;
    movie.headerFirst = headerFirst;
    MovieLayout layout;
    ASSERT_FALSE(readMovieLayout(MemoryBytes(movie.bytes()), layout));
    EXPECT_EQ(layout.movieHeader.offset, movie.bytes().find("moov") - 4);
    EXPECT_EQ(layout.movieHeader.size, movie.headerPayload().size() + 8);
    ASSERT_EQ(layout.atoms.size(), 3U);
    EXPECT_EQ(layout.atoms.back().offset + layout.atoms.back().size, movie.bytes().size());
  }
}

TEST(MovieLayout, GivesAnOpenEndedAtomTheRestOfTheFile) {
  TestMovie movie;
  movie.headerFirst = true;
  movie.mediaHead = TestMovie::MediaHead::kOpenEnded;
  MovieLayout layout;
  ASSERT_FALSE(readMovieLayout(MemoryBytes(movie.bytes()), layout));
  EXPECT_TRUE(layout.atoms.back().openEnded);
  EXPECT_EQ(layout.atoms.back().size, movie.media.size() + 8);

  const std::string openHeader = atom("mdat", "x") + openAtom("moov", movie.headerPayload());
  ASSERT_FALSE(readMovieLayout(MemoryBytes(openHeader), layout));
  EXPECT_TRUE(layout.movieHeader.openEnded);
  EXPECT_EQ(layout.movieHeader.size, movie.headerPayload().size() + 8);
}

TEST(MovieLayout, SkipsMediaOfAnySizeUnread) {
  TestMovie movie;
  const std::uint64_t exabyte = 1ULL << 60U;
  const std::string start = atom("moov", movie.headerPayload()) + number32(1) + "mdat" + number64(exabyte);
  MemoryBytes bytes(start);
  bytes.extendWithZeros(start.size() - 16 + exabyte);
  MovieLayout layout;
  ASSERT_FALSE(readMovieLayout(bytes, layout));
  EXPECT_EQ(layout.atoms.back().size, exabyte);
  EXPECT_EQ(layout.atoms.back().headerSize, kLongAtomHeaderSize);
  EXPECT_EQ(bytes.bytesRead(), 32U);
}

TEST(MovieLayout, KeepsUnknownAtomsInTheirOrder) {
  TestMovie movie;
  movie.beforeMedia = atom("wide", "") + longAtom("uuid", "anything at all");
  movie.atEnd = atom("free", "room");
  MovieLayout layout;
  ASSERT_FALSE(readMovieLayout(MemoryBytes(movie.bytes()), layout));
  EXPECT_EQ(typesOf(layout), (std::vector<AtomType>{atomType("ftyp"), atomType("wide"), atomType("uuid"),
                                                    atomType("mdat"), atomType("moov"), atomType("free")}));
}

TEST(MovieLayout, RefusesWhatIsNoWholeMovie) {
  const TestMovie movie;
  const std::string whole = movie.bytes();
  EXPECT_EQ(layoutFault(""), MovieFault::kNoMovieHeader);
  EXPECT_EQ(layoutFault(atom("ftyp", "qt  ") + atom("mdat", "x")), MovieFault::kNoMovieHeader);
  EXPECT_EQ(layoutFault("RIFF\1\2\3\4WAVEfmt and so on"), MovieFault::kAtomTooLong);
  EXPECT_EQ(layoutFault(whole + whole), MovieFault::kContradiction);
  EXPECT_EQ(layoutFault(whole + std::string(4, '\0')), MovieFault::kAtomTooLong);
  EXPECT_EQ(layoutFault(whole + std::string(64, '\0')), MovieFault::kContradiction);
  EXPECT_EQ(layoutFault(whole + number32(1) + "mdat" + number64(~0ULL)), MovieFault::kAtomTooLong);
}

TEST(MovieLayout, RefusesAMovieThatIsCutOffAnywhere) {
  const std::string whole = TestMovie{}.bytes();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_TRUE(layoutFault(whole.substr(0, size))) << "cut at " << size << " of " << whole.size();
  }
}

TEST(MovieLayout, RefusesFragments) {
  EXPECT_EQ(layoutFault(TestMovie{}.bytes() + atom("moof", "fragment")), MovieFault::kFragmented);
}

TEST(MovieLayout, RefusesAtomsInMasses) {
  TestMovie movie;
  for (std::size_t index = 0; index < kMostAtoms; ++index) movie.atEnd += atom("free", "");
  EXPECT_EQ(layoutFault(movie.bytes()), MovieFault::kTooManyAtoms);
}

TEST(MovieLayout, PassesAReadErrorOn) {
  MemoryBytes bytes(TestMovie{}.bytes());
  bytes.failFrom(30, std::errc::permission_denied);
  MovieLayout layout;
  EXPECT_EQ(readMovieLayout(bytes, layout), std::errc::permission_denied);
}

}  // namespace
}  // namespace tallyrig
