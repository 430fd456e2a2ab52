// What movies that are made to hurt cost the writer, in memory and in bytes read.

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "filetools/MovieHeader.h"
#include "filetools/TimecodeTrackWriter.h"
#include "platform/desktop/LocalUserFiles.h"
#include "support/BytesRead.h"
#include "support/TemporaryFolder.h"
#include "support/TestMovie.h"

namespace {

/// Bytes that operator new has given out and not got back, and the most that there ever were.
std::atomic<std::int64_t> inUse = 0;
std::atomic<std::int64_t> most = 0;

}  // namespace

void* operator new(std::size_t size) {
  void* memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  const std::int64_t now = inUse += static_cast<std::int64_t>(malloc_usable_size(memory));
  for (std::int64_t before = most; before < now && !most.compare_exchange_weak(before, now);) continue;
  return memory;
}

void operator delete(void* memory) noexcept {
  inUse -= static_cast<std::int64_t>(malloc_usable_size(memory));
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
}

namespace tallyrig {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kMegabyte = 1 << 20;

/// In memory where there is such a place: what matters is not the disk.
fs::path parentFolder() {
  const fs::path memory = "/dev/shm";
  return fs::is_directory(memory) ? memory : fs::temp_directory_path();
}

class HostileMovies : public testing::Test {
 protected:
  /// "done", or the text; and what it took at most and read, in bytes.
  std::string write() {
    LocalUserFiles files;
    const std::uint64_t readBefore = bytesRead();
    const std::int64_t before = inUse;
    most = before;
    const TimecodeTrackResult result = writeTimecodeTrack(files, url_, {1, 0, 0, 0, MTCFrameRate::fps25});
    peak_ = most - before;
    read_ = bytesRead() - readBefore;
    return result.text.value_or(result.failed ? "failed without a text" : "done");
  }

  /// A file that says it goes on for `size` bytes, all of them a hole.
  void putHole(const std::string& start, std::uint64_t size) const {
    ASSERT_TRUE(writeWhole(url_, start));
    fs::resize_file(url_, size);
  }

  /// A picture of 25 frames a second whose table of durations has so many rows.
  static TestTrack picture(std::uint32_t rows) {
    TestTrack track;
    track.durations = number32(rows);
    const std::string row = number32(1) + number32(24);
    for (std::uint32_t index = 0; index < rows; ++index) track.durations += row;
    return track;
  }

  const TemporaryFolder folder_{parentFolder()};
  const fs::path url_ = folder_ / "a.mov";
  std::int64_t peak_ = 0;
  std::uint64_t read_ = 0;
};

const std::string kWrap = "Could not safely write timecode: ";

TEST_F(HostileMovies, AHeaderOfGigabytesIsNotRead) {
  putHole(number32(2ULL << 30U) + "moov", 2ULL << 30U);
  EXPECT_EQ(write(), kWrap + "The movie header is too large.");
  EXPECT_LT(peak_, kMegabyte);
  EXPECT_LT(read_, 10'000U);
  putHole(number32(1) + "moov" + number64(1ULL << 42U), 1ULL << 42U);
  EXPECT_EQ(write(), kWrap + "The movie header is too large.");
  EXPECT_LT(peak_, kMegabyte);
}

TEST_F(HostileMovies, ALargestHeaderFullOfNothingTakesNoMoreThanItself) {
  putHole(number32(kLargestMovieHeader) + "moov", kLargestMovieHeader);
  EXPECT_EQ(write(), kWrap + "The atoms of the movie contradict each other.");
  EXPECT_LT(peak_, static_cast<std::int64_t>(kLargestMovieHeader) + kMegabyte);
}

TEST_F(HostileMovies, AtomsThatClaimExabytesTakeNothing) {
  TestMovie movie;
  for (const std::uint64_t size : {1ULL << 60U, ~0ULL, ~0ULL - 15, 1ULL << 63U}) {
    const std::string claim = number32(1) + "mdat" + number64(size);
    for (const std::string& bytes :
         {claim, movie.bytes() + claim, atom("moov", movie.headerPayload() + claim), atom("moov", claim)}) {
      ASSERT_TRUE(writeWhole(url_, bytes));
      EXPECT_EQ(write(), kWrap + "An atom of the movie is longer than the space it lies in.");
      EXPECT_LT(peak_, kMegabyte);
    }
  }
}

TEST_F(HostileMovies, AtomsThatNestAMillionTimesTakeTwiceTheirBytes) {
  constexpr std::uint32_t kLevels = 1'000'000;
  const std::string contradiction = kWrap + "The atoms of the movie contradict each other.";
  const auto nestOf = [](const std::string& type) {
    std::string nest;
    for (std::uint32_t level = kLevels; level > 0; --level) nest += number32(8 * level) + type;
    return nest;
  };
  ASSERT_TRUE(writeWhole(url_, nestOf("moov")));
  EXPECT_EQ(write(), contradiction);
  for (const char* type : {"trak", "odd!"}) {
    TestMovie movie;
    movie.tracks = {picture(1)};
    movie.afterTracks = nestOf(type);
    ASSERT_TRUE(writeWhole(url_, movie.bytes()));
    EXPECT_EQ(write(), type == std::string("trak") ? contradiction : "done");
    EXPECT_LT(peak_, 2 * static_cast<std::int64_t>(movie.bytes().size()) + kMegabyte);
  }
}

TEST_F(HostileMovies, TablesOfMillionsOfRowsTakeTwiceTheirBytes) {
  TestMovie movie;
  movie.tracks = {picture(3'000'000)};
  const std::string bytes = movie.bytes();
  ASSERT_TRUE(writeWhole(url_, bytes));
  EXPECT_EQ(write(), "done");
  EXPECT_LT(peak_, 2 * static_cast<std::int64_t>(bytes.size()) + kMegabyte);
}

TEST_F(HostileMovies, TablesThatPromiseMoreRowsThanTheyHaveTakeNothing) {
  TestMovie movie;
  movie.tracks = {picture(1)};
  movie.tracks[0].durations = number32(~0U) + number32(1) + number32(24);
  ASSERT_TRUE(writeWhole(url_, movie.bytes()));
  EXPECT_EQ(write(), kWrap + "The atoms of the movie contradict each other.");
  EXPECT_LT(peak_, kMegabyte);
}

TEST_F(HostileMovies, AsManyTracksAtomsAndReferencesAsAreAllowedTakeABoundedShare) {
  TestMovie movie;
  std::string atoms;
  for (std::size_t index = 3; index < kMostTrackAtoms; ++index) atoms += atom("free", "");
  for (std::uint32_t id = 1; id < kMostTracks; ++id) {
    TestTrack track{.id = id, .mediaType = "text"};
    track.references = {{"chap", std::vector<std::uint32_t>(kMostReferences - 2, id)}};
    track.more = atoms;
    movie.tracks.push_back(track);
  }
  movie.tracks.erase(movie.tracks.begin());
  for (std::size_t index = kMostTracks; index + 1 < kMostAtoms; ++index) movie.afterTracks += atom("free", "");
  const std::string bytes = movie.bytes();
  ASSERT_TRUE(writeWhole(url_, bytes));
  EXPECT_EQ(write(), "done");
  EXPECT_LT(peak_, 6 * static_cast<std::int64_t>(bytes.size())) << bytes.size();
}

}  // namespace
}  // namespace tallyrig
