#include "filetools/DedicatedTimecodeTrack.h"

#include "filetools/TimecodeTrackEdit.h"
#include "support/EditedMovie.h"
#include "support/MemoryBytes.h"
#include "support/TestMovie.h"

namespace tallyrig {
namespace {

using OptionalTrack = std::optional<DedicatedTimecodeTrack>;

OptionalTrack trackOf(const std::string& movie) {
  return readDedicatedTimecodeTrack(MemoryBytes(movie));
}

std::string description(std::uint32_t flags, std::uint32_t scale, std::uint32_t duration, char quanta) {
  return number32(1) + atom("tmcd", std::string(6, '\0') + number16(1) + number32(0) + number32(flags) +
                                        number32(scale) + number32(duration) + quanta + '\0');
}

/// A movie that begins with its media, and a timecode track of samples in it.
struct TimecodeMovie {
  std::string media;
  std::string description = tallyrig::description(0, 25, 1, 25);
  /// All of one size, or the sizes of each.
  std::uint32_t commonSize = 4;
  std::vector<std::uint32_t> sizes = {};
  std::string runs = number32(1) + number32(1) + number32(1) + number32(1);
  /// Chunks in `media`.
  std::vector<std::uint64_t> chunks = {0};
  bool longOffsets = false;
  std::string dataReference = {};

  OptionalTrack read() const {
    std::string table = number32(commonSize) + number32(commonSize != 0 ? 1 : sizes.size());
    for (const std::uint32_t size : sizes) table += number32(size);
    TestTrack track{.id = 2, .mediaType = "tmcd", .longOffsets = longOffsets};
    track.description = description;
    track.moreTables = atom("stsz", number32(0) + table) + atom("stsc", number32(0) + runs);
    track.moreOfInformation = dataReference;
    for (const std::uint64_t chunk : chunks) track.chunks.push_back(chunk + 20 + 8);
    TestMovie movie;
    movie.media = media;
    movie.tracks = {TestTrack{}, track};
    return trackOf(movie.bytes());
  }
};

TEST(DedicatedTimecodeTrack, IsReadBackAsItWasWritten) {
  const std::string movie = TestMovie{}.bytes();
  for (const auto rate : {MTCFrameRate::fps24, MTCFrameRate::fps25, MTCFrameRate::fps2997, MTCFrameRate::fps30}) {
    const TimecodeTrackFormat format = timecodeTrackFormat(rate);
    for (const Timecode& start :
         {Timecode{0, 0, 0, 0, rate}, Timecode{1, 2, 3, 4, rate}, Timecode{23, 59, 59, maxFrameField(rate), rate}}) {
      TimecodeTrackEdit edit;
      ASSERT_FALSE(planTimecodeTrack(MemoryBytes(movie), start, format, edit));
      EXPECT_EQ(trackOf(withEdit(movie, edit)),
                (DedicatedTimecodeTrack{start, format.frameDuration, format.frameQuanta, format.timeCodeFlags}));
    }
  }
}

TEST(DedicatedTimecodeTrack, DecidesTheRateByFlagAndThenByQuanta) {
  const auto rateOf = [](std::uint32_t flags, char quanta) {
    const auto track = TimecodeMovie{.media = number32(0), .description = description(flags, 30, 1, quanta)}.read();
    return track ? std::optional(track->timecode.frameRate) : std::nullopt;
  };
  EXPECT_EQ(rateOf(0, 24), MTCFrameRate::fps24);
  EXPECT_EQ(rateOf(0, 25), MTCFrameRate::fps25);
  EXPECT_EQ(rateOf(0, 30), MTCFrameRate::fps30);
  EXPECT_EQ(rateOf(0, 60), MTCFrameRate::fps25);
  EXPECT_EQ(rateOf(1, 30), MTCFrameRate::fps2997);
  EXPECT_EQ(rateOf(3, 24), MTCFrameRate::fps2997);
  EXPECT_EQ(rateOf(2, 30), MTCFrameRate::fps30);
}

TEST(DedicatedTimecodeTrack, CountsFromMidnightInBothDirections) {
  const auto valueOf = [](std::uint32_t frames) {
    const auto track = TimecodeMovie{.media = number32(frames)}.read();
    return track ? track->timecode.text() : "none";
  };
  EXPECT_EQ(valueOf(90000), "01:00:00:00");
  EXPECT_EQ(valueOf(0xffffffff), "23:59:59:24");
  EXPECT_EQ(valueOf(2160000), "00:00:00:00");
}

TEST(DedicatedTimecodeTrack, TakesTheFirstSampleThatIsLongEnough) {
  TimecodeMovie movie{.media = "abc" + number32(25) + number32(50), .commonSize = 0, .sizes = {3, 4, 4}};
  movie.runs = number32(1) + number32(1) + number32(3) + number32(1);
  ASSERT_TRUE(movie.read());
  EXPECT_EQ(movie.read()->timecode.text(), "00:00:01:00");

  // Two chunks of one sample, then one of two.
  movie.media = "ab" + number32(0) + "cd" + number32(75);
  movie.sizes = {2, 2, 0, 4};
  movie.runs = number32(2) + number32(1) + number32(1) + number32(1) + number32(3) + number32(2) + number32(1);
  movie.chunks = {0, 6, 8};
  ASSERT_TRUE(movie.read());
  EXPECT_EQ(movie.read()->timecode.text(), "00:00:03:00");
}

TEST(DedicatedTimecodeTrack, FindsItsSampleByLongOffsetsToo) {
  const TimecodeMovie movie{.media = number32(25), .longOffsets = true};
  ASSERT_TRUE(movie.read());
  EXPECT_EQ(movie.read()->timecode.text(), "00:00:01:00");
}

TEST(DedicatedTimecodeTrack, IsAbsentUnlessThereIsExactlyOne) {
  EXPECT_FALSE(trackOf(TestMovie{}.bytes()));
  const std::string movie = TestMovie{}.bytes();
  TimecodeTrackEdit edit;
  ASSERT_FALSE(planTimecodeTrack(MemoryBytes(movie), {}, timecodeTrackFormat(MTCFrameRate::fps25), edit));
  const ParsedMovie one(withEdit(movie, edit));
  ASSERT_TRUE(trackOf(one.bytes));
  std::string second = textOf(one.tracksOf(atomType("tmcd")).at(0)->atom.whole);
  second[8 + 8 + 15] = 9;  // Its number.
  const std::string header = textOf(AtomBytes(one.header.bytes).subspan(8)) + second;
  EXPECT_FALSE(trackOf(atom("ftyp", "qt  ") + atom("mdat", number32(0)) + atom("moov", header)));
}

TEST(DedicatedTimecodeTrack, IsAbsentWhereNothingSensibleCanBeRead) {
  const TimecodeMovie good{.media = number32(0)};
  ASSERT_TRUE(good.read());
  const auto with = [&](auto change) {
    TimecodeMovie movie = good;
    change(movie);
    return movie.read();
  };
  EXPECT_FALSE(with([](auto& movie) { movie.description = ""; }));
  EXPECT_FALSE(with([](auto& movie) { movie.description.replace(8, 4, "tx3g"); }));
  EXPECT_FALSE(with([](auto& movie) { movie.description.resize(30); }));
  EXPECT_FALSE(with([](auto& movie) { movie.commonSize = 3; }));
  EXPECT_FALSE(with([](auto& movie) { movie.commonSize = 0; })) << "no samples";
  EXPECT_FALSE(with([](auto& movie) { movie.runs = number32(0); }));
  EXPECT_FALSE(with([](auto& movie) { movie.runs = number32(1) + number32(2) + number32(1) + number32(1); }))
      << "the first chunk belongs to no run";
  EXPECT_FALSE(with([](auto& movie) { movie.chunks = {}; }));
  EXPECT_FALSE(with([](auto& movie) { movie.chunks = {1'000'000}; })) << "beyond the file";
  EXPECT_FALSE(with([](auto& movie) {
    movie.longOffsets = true;
    movie.chunks = {~std::uint64_t{0} - 40};
  }));
  EXPECT_FALSE(with([](auto& movie) {
    movie.dataReference = atom("dinf", atom("dref", number32(0) + number32(1) + atom("alis", number32(0))));
  })) << "in another file";
  EXPECT_TRUE(with([](auto& movie) {
    movie.dataReference = atom("dinf", atom("dref", number32(0) + number32(1) + atom("alis", number32(1))));
  }));
  EXPECT_FALSE(trackOf("no movie"));
}

}  // namespace
}  // namespace tallyrig
