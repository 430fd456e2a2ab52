#include "filetools/MovieInspection.h"

#include "filetools/MovieFault.h"
#include "support/MemoryBytes.h"
#include "support/TestMovie.h"

namespace tallyrig {
namespace {

TimecodeTrackError inspect(const TestMovie& movie, MovieInspection& inspection) {
  return inspectMovie(MemoryBytes(movie.bytes()), inspection);
}

/// A picture track of samples that last as the rows say: how many, and how long each.
TestTrack picture(std::uint32_t id, const std::vector<std::pair<std::uint64_t, std::uint64_t>>& rows) {
  TestTrack track{.id = id};
  track.durations = number32(rows.size());
  for (const auto& [count, length] : rows) track.durations += number32(count) + number32(length);
  return track;
}

std::vector<double> ratesOf(const std::vector<TestTrack>& tracks) {
  TestMovie movie;
  movie.tracks = tracks;
  std::vector<double> rates;
  EXPECT_FALSE(pictureFrameRates(MemoryBytes(movie.bytes()), rates));
  return rates;
}

TEST(MovieInspection, CountsSoundAndPictureAndNothingElse) {
  TestMovie movie;
  movie.timeScale = 1000;
  movie.tracks = {{.id = 1, .duration = 2500},
                  {.id = 2, .mediaType = "soun", .duration = 2000},
                  {.id = 3, .mediaType = "soun", .duration = 2000},
                  {.id = 4, .mediaType = "tmcd", .duration = 2500},
                  {.id = 5, .mediaType = "text", .duration = 1}};
  MovieInspection inspection;
  ASSERT_FALSE(inspect(movie, inspection));
  EXPECT_EQ(inspection, (MovieInspection{2.5, 2, 1}));
}

TEST(MovieInspection, AcceptsADurationOfZeroAndRefusesAnUnknownOne) {
  TestMovie movie;
  movie.duration = 0;
  movie.tracks = {{.duration = 0}};
  MovieInspection inspection;
  ASSERT_FALSE(inspect(movie, inspection));
  EXPECT_EQ(inspection, (MovieInspection{0, 0, 1}));

  movie.duration = kUnknownTime;
  movie.tracks = {{.duration = kUnknownTime}};
  const TimecodeTrackError error = inspect(movie, inspection);
  EXPECT_EQ(error.code, TimecodeTrackFault::kDurationUnknown);
  EXPECT_EQ(error.description, "The movie duration could not be validated.");
}

TEST(MovieInspection, PassesOnWhyAFileCannotBeEdited) {
  MovieInspection inspection;
  EXPECT_EQ(inspectMovie(MemoryBytes(""), inspection).code, MovieFault::kNoMovieHeader);
  TestMovie movie;
  movie.atEnd = atom("moof", "");
  EXPECT_EQ(inspect(movie, inspection).description, "The movie is fragmented, which is not supported.");
}

TEST(MovieInspection, MeasuresPicturesByTheirSamples) {
  // The media of these tracks counts 600 units in a second.
  EXPECT_EQ(ratesOf({}), std::vector<double>{});
  EXPECT_EQ(ratesOf({picture(1, {{50, 24}})}), std::vector{25.0});
  EXPECT_EQ(ratesOf({picture(1, {{50, 24}}), {.id = 2, .mediaType = "soun"}, picture(3, {{7, 12}, {3, 12}})}),
            (std::vector{25.0, 50.0}));
  EXPECT_EQ(ratesOf({picture(1, {{1, 100}, {1, 200}})}), std::vector{4.0});
}

TEST(MovieInspection, FindsNoRateWhereNothingLasts) {
  EXPECT_EQ(ratesOf({picture(1, {})}), std::vector{0.0});
  EXPECT_EQ(ratesOf({picture(1, {{50, 0}})}), std::vector{0.0});
  EXPECT_EQ(ratesOf({{.id = 1}}), std::vector{0.0}) << "no table";
}

TEST(MovieInspection, StaysFiniteWithTablesThatClaimAges) {
  const std::uint64_t most = 0xffffffff;
  const auto rates = ratesOf({picture(1, {{most, most}, {most, most}, {most, most}})});
  EXPECT_NEAR(rates.at(0), 600.0 / static_cast<double>(most), 1e-12);
}

TEST(MovieInspection, ReadsTablesOfAMillionRows) {
  TestTrack track{.id = 1};
  track.durations = number32(1'000'000);
  for (int row = 0; row < 1'000'000; ++row) track.durations += number32(1) + number32(24);
  EXPECT_EQ(ratesOf({track}), std::vector{25.0});
}

TEST(MovieInspection, RefusesATableThatIsShorterThanItSays) {
  TestMovie movie;
  movie.tracks = {picture(1, {{50, 24}})};
  movie.tracks[0].durations.pop_back();
  std::vector<double> rates;
  EXPECT_EQ(pictureFrameRates(MemoryBytes(movie.bytes()), rates).code, MovieFault::kContradiction);
  movie.tracks[0].durations = number32(0xffffffff);
  EXPECT_EQ(pictureFrameRates(MemoryBytes(movie.bytes()), rates).code, MovieFault::kContradiction);
}

}  // namespace
}  // namespace tallyrig
