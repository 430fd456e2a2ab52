#include "filetools/TimecodeTrackWriter.h"

#include <cmath>
#include <limits>

#include "WriterRig.h"
#include "filetools/DedicatedTimecodeTrack.h"
#include "filetools/MovieFault.h"

namespace tallyrig {
namespace {

const std::string kOnlyQuickTime = "Timecode writing currently supports QuickTime .mov files only.";
const std::string kCancelled = "Timecode writing was cancelled before the original file changed.";

TimecodeTrackResult write(SimulatedUserFiles& files, const std::filesystem::path& url, MTCFrameRate rate) {
  return writeTimecodeTrack(files, url, {1, 0, 0, 0, rate});
}

/// The result for a movie that cannot be given a track, of which nothing may have changed.
TimecodeTrackResult refusalOf(const std::string& bytes, MTCFrameRate rate = MTCFrameRate::fps25) {
  SimulatedUserFiles files;
  files.put("/a.mov", bytes);
  const TimecodeTrackResult result = write(files, "/a.mov", rate);
  EXPECT_EQ(files.contents("/a.mov"), bytes);
  EXPECT_EQ(files.paths().size(), 1U);
  return result;
}

std::optional<DedicatedTimecodeTrack> writtenTo(const TestMovie& movie, MTCFrameRate rate) {
  SimulatedUserFiles files;
  files.put("/a.mov", movie.bytes());
  EXPECT_EQ(write(files, "/a.mov", rate), TimecodeTrackResult{});
  EXPECT_EQ(files.paths().size(), 1U);
  return readDedicatedTimecodeTrack(files, "/a.mov");
}

TEST(TimecodeTrackWriter, ReplacesTheMovieAndLeavesNothingElse) {
  WriterRig rig;
  EXPECT_EQ(rig.run(), TimecodeTrackResult{});
  EXPECT_EQ(rig.sourceIs(), kNewMovie);
  EXPECT_NE(rig.old, rig.edited);
  EXPECT_TRUE(rig.others().empty());
}

TEST(TimecodeTrackWriter, WritesEachRateInItsFormat) {
  for (const auto& [rate, scale, value] :
       {std::tuple{MTCFrameRate::fps24, 24U, 1U}, std::tuple{MTCFrameRate::fps24, 24000U, 1001U},
        std::tuple{MTCFrameRate::fps25, 25U, 1U}, std::tuple{MTCFrameRate::fps2997, 30000U, 1001U},
        std::tuple{MTCFrameRate::fps30, 30U, 1U}}) {
    const TimecodeTrackFormat plain = timecodeTrackFormat(rate);
    EXPECT_EQ(writtenTo(movieAt(scale, value), rate),
              (DedicatedTimecodeTrack{{1, 0, 0, 0, rate}, {value, scale}, plain.frameQuanta, plain.timeCodeFlags}));
  }
}

TEST(TimecodeTrackWriter, TakesAnyCaseOfTheExtension) {
  for (const char* name : {"/a.MOV", "/a.Mov", "/a.b.mov"}) {
    WriterRig rig;
    rig.files.put(name, rig.old);
    EXPECT_EQ(writeTimecodeTrack(rig.files, name, rig.timecode), TimecodeTrackResult{}) << name;
    EXPECT_EQ(rig.wordFor(rig.files.contents(name)), kNewMovie);
  }
}

TEST(TimecodeTrackWriter, RefusesOtherExtensionsWithoutTouchingAFile) {
  for (const char* name : {"/a.mp4", "/a.m4v", "/a", "/a.movie", "/a.mov/b", "/.mov", "/mov", "/a.mov."}) {
    WriterRig rig;
    rig.files.put(name, rig.old);
    rig.files.setHook([](auto, const auto& path) -> std::error_code {
      ADD_FAILURE() << path;
      return {};
    });
    EXPECT_EQ(writeTimecodeTrack(rig.files, name, rig.timecode), failedWith(kOnlyQuickTime)) << name;
  }
}

TEST(TimecodeTrackWriter, RefusesASymbolicLinkAndLeavesItsTarget) {
  WriterRig rig;
  rig.files.put("/link.mov", "Take 1.mov", FileAttributes::Kind::kSymbolicLink);
  EXPECT_EQ(writeTimecodeTrack(rig.files, "/link.mov", rig.timecode),
            failedWith("Choose the original .mov file rather than a symbolic link."));
  EXPECT_EQ(rig.sourceIs(), kOldMovie);
}

TEST(TimecodeTrackWriter, RefusesWhatIsNoFile) {
  SimulatedUserFiles files;
  files.put("/folder.mov", "", FileAttributes::Kind::kDirectory);
  files.put("/pipe.mov", "", FileAttributes::Kind::kOther);
  const auto rate = MTCFrameRate::fps25;
  EXPECT_EQ(write(files, "/absent.mov", rate), failedWith(wrapped("No such file or directory")));
  EXPECT_EQ(write(files, "/folder.mov", rate), failedWith(wrapped("Is a directory")));
  EXPECT_EQ(write(files, "/pipe.mov", rate), failedWith(wrapped("Operation not supported")));
  EXPECT_EQ(files.paths().size(), 2U);
}

TEST(TimecodeTrackWriter, NeedsFilesThatCanBeToldApart) {
  WriterRig rig(movieAt(25, 1), {.numbers = false});
  EXPECT_EQ(rig.run(), failedWith(wrapped("Could not verify the source file's identity.")));
  EXPECT_EQ(rig.sourceIs(), kOldMovie);
}

TEST(TimecodeTrackWriter, RefusesALTCRateThatIsNotThePictures) {
  EXPECT_EQ(refusalOf(movieAt(24, 1).bytes()),
            failedWith(wrapped("LTC 25 does not match the picture cadence (24.000 fps).")));
  EXPECT_EQ(refusalOf(movieAt(24000, 1001).bytes(), MTCFrameRate::fps2997),
            failedWith(wrapped("LTC 29.97 DF does not match the picture cadence (23.976 fps).")));
}

TEST(TimecodeTrackWriter, ComparesEveryPictureWithTheRateFirst) {
  TestMovie movie;
  movie.tracks = {pictureAt(1, 25, 1), pictureAt(2, 50, 1)};
  EXPECT_EQ(refusalOf(movie.bytes()), failedWith(wrapped("LTC 25 does not match the picture cadence (50.000 fps).")));
  movie.tracks = {pictureAt(1, 24, 1), pictureAt(2, 24000, 1001)};
  EXPECT_EQ(refusalOf(movie.bytes(), MTCFrameRate::fps24),
            failedWith(wrapped("The movie has video tracks with incompatible frame cadences.")));
}

TEST(TimecodeTrackWriter, LeavesOneTimecodeTrackOfSeveral) {
  TestMovie movie = movieAt(25, 1);
  movie.tracks[0].references = {{"tmcd", {3, 4}}};
  movie.tracks.push_back({.id = 3, .mediaType = "tmcd"});
  movie.tracks.push_back({.id = 4, .mediaType = "tmcd"});
  ASSERT_TRUE(writtenTo(movie, MTCFrameRate::fps25));
}

TEST(TimecodeTrackWriter, TakesAudioAloneWithTheFormatOfTheRate) {
  TestMovie movie;
  movie.tracks = {{.id = 1, .mediaType = "soun"}, {.id = 2, .mediaType = "soun"}};
  SimulatedUserFiles files;
  files.put("/a.mov", movie.bytes());
  ASSERT_EQ(write(files, "/a.mov", MTCFrameRate::fps24), TimecodeTrackResult{});
  EXPECT_EQ(readDedicatedTimecodeTrack(files, "/a.mov")->frameDuration, (FrameDuration{1, 24}));
  const ParsedMovie result(*files.contents("/a.mov"));
  for (const MovieTrack* sound : result.tracksOf(atomType("soun"))) {
    EXPECT_EQ(sound->references, (std::vector<TrackReference>{{atomType("tmcd"), {3}}}));
  }
}

TEST(TimecodeTrackWriter, AcceptsAMovieOfNoLength) {
  TestMovie movie;
  movie.duration = 0;
  movie.tracks = {{.id = 1, .mediaType = "soun", .duration = 0}};
  EXPECT_TRUE(writtenTo(movie, MTCFrameRate::fps30));
}

TEST(TimecodeTrackWriter, TellsWhyAMovieCannotBeEdited) {
  TestMovie movie = movieAt(25, 1);
  movie.afterTracks = atom("mvex", "");
  EXPECT_EQ(refusalOf(movie.bytes()), failedWith(wrapped("The movie is fragmented, which is not supported.")));
  EXPECT_EQ(refusalOf(atom("moov", atom("cmov", "zip"))),
            failedWith(wrapped("The movie header is compressed, which is not supported.")));
  EXPECT_EQ(refusalOf(""), failedWith(wrapped("The file holds no movie header.")));
  EXPECT_EQ(refusalOf("RIFF\1\2\3\4WAVEfmt a sound file"),
            failedWith(wrapped("An atom of the movie is longer than the space it lies in.")));
  movie = movieAt(25, 1);
  movie.tracks[1].id = movie.tracks[0].id;
  EXPECT_EQ(refusalOf(movie.bytes()), failedWith(wrapped("The atoms of the movie contradict each other.")));
  movie = movieAt(25, 1);
  movie.duration = movie.tracks[0].duration = movie.tracks[1].duration = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(refusalOf(movie.bytes()), failedWith(wrapped("The movie duration could not be validated.")));
}

TEST(TimecodeTrackWriter, RefusesAMovieThatIsCutOffAnywhere) {
  const std::string whole = movieAt(25, 1).bytes();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const TimecodeTrackResult result = refusalOf(whole.substr(0, size));
    EXPECT_TRUE(result.failed && result.text->starts_with(wrapped(""))) << "cut at " << size;
  }
}

TEST(TimecodeTrackWriter, RefusesAMovieTooFullOrTooLongForOneMoreTrack) {
  TestMovie movie;
  movie.tracks.clear();
  for (std::uint32_t id = 1; id <= kMostTracks; ++id) movie.tracks.push_back({.id = id, .mediaType = "text"});
  EXPECT_EQ(refusalOf(movie.bytes()), failedWith("Could not add timecode track."));

  movie = movieAt(25, 1);
  movie.wide = true;
  movie.timeScale = 1;
  for (TestTrack& track : movie.tracks) {
    track.wide = true;
    track.duration = 1ULL << 40U;
  }
  EXPECT_EQ(refusalOf(movie.bytes()), failedWith("Could not insert timecode media range into the movie timeline."));
}

TEST(TimecodeTrackWriter, RefusesATimecodeWithoutAFrameNumber) {
  WriterRig rig;
  const Timecode far{1'000'000, 0, 0, 0, MTCFrameRate::fps25};
  EXPECT_EQ(writeTimecodeTrack(rig.files, rig.url, far),
            failedWith("Could not append timecode sample: The timecode does not fit a timecode track."));
  EXPECT_EQ(rig.sourceIs(), kOldMovie);
  EXPECT_TRUE(rig.others().empty());
}

TEST(TimecodeTrackWriter, NeverWritesWhatItCannotReadBack) {
  WriterRig rig;
  // A 25th hour has a frame number, but is read as the first.
  EXPECT_EQ(writeTimecodeTrack(rig.files, rig.url, {24, 0, 0, 0, MTCFrameRate::fps25}),
            failedWith(wrapped("The rewritten movie's dedicated timecode track could not be verified.")));
  EXPECT_EQ(rig.sourceIs(), kOldMovie);
  EXPECT_TRUE(rig.others().empty());
}

TEST(TimecodeTrackWriter, IsCancelledBeforeItLooksAtTheFile) {
  WriterRig rig;
  std::stop_source stop;
  stop.request_stop();
  rig.files.setHook([](auto, const auto& path) -> std::error_code {
    ADD_FAILURE() << path;
    return {};
  });
  EXPECT_EQ(rig.run(stop.get_token()), failedWith(kCancelled));
  EXPECT_EQ(writeTimecodeTrack(rig.files, "/a.mp4", rig.timecode, stop.get_token()), failedWith(kOnlyQuickTime));
}

TEST(TimecodeTrackWriter, IsCancelledAtAnyMomentBeforeTheSwapAndNotAfter) {
  // The first step of the swap is the lock on the movie.
  int swapAt = 0;
  for (int moment = 60; moment >= 0; --moment) {
    SCOPED_TRACE(moment);
    WriterRig rig;
    std::stop_source stop;
    int calls = 0;
    rig.files.setHook([&](SimulatedUserFiles::Operation operation, const auto&) -> std::error_code {
      if (operation == SimulatedUserFiles::Operation::kLock) swapAt = calls;
      if (calls++ == moment) stop.request_stop();
      return {};
    });
    const TimecodeTrackResult result = rig.run(stop.get_token());
    const bool early = moment < swapAt;
    EXPECT_EQ(result, early ? failedWith(kCancelled) : TimecodeTrackResult{});
    EXPECT_EQ(rig.sourceIs(), early ? kOldMovie : kNewMovie);
    EXPECT_TRUE(rig.others().empty());
  }
  EXPECT_GT(swapAt, 10);
}

TEST(TimecodeTrackWriter, ShowsTheSystemsTextWhenTheDiskIsFull) {
  WriterRig rig;
  rig.files.setHook([](SimulatedUserFiles::Operation operation, const auto&) {
    return operation == SimulatedUserFiles::Operation::kCopy ? std::make_error_code(std::errc::no_space_on_device)
                                                             : std::error_code{};
  });
  EXPECT_EQ(rig.run(), failedWith(wrapped("No space left on device")));
  EXPECT_EQ(rig.sourceIs(), kOldMovie);
  EXPECT_TRUE(rig.others().empty());
}

TEST(TimecodeTrackWriter, WaitsForNobodyWhoHasTheMovieLocked) {
  WriterRig rig;
  rig.files.holdLock(rig.url);
  EXPECT_EQ(rig.run(), failedWith(wrapped("Device or resource busy")));
  EXPECT_EQ(rig.sourceIs(), kOldMovie);
  EXPECT_TRUE(rig.others().empty());
}

TEST(AddTimecodeTrack, ChecksWhatItIsGiven) {
  WriterRig rig;
  const TimecodeTrackFormat format = timecodeTrackFormat(MTCFrameRate::fps25);
  EXPECT_EQ(addTimecodeTrack(rig.files, "/a.mp4", rig.timecode, format), kOnlyQuickTime);
  rig.files.put("/a.MOV", rig.old);
  EXPECT_EQ(addTimecodeTrack(rig.files, "/a.MOV", rig.timecode, format), std::nullopt);
  EXPECT_EQ(rig.wordFor(rig.files.contents("/a.MOV")), kNewMovie);
  EXPECT_EQ(addTimecodeTrack(rig.files, "/absent.mov", rig.timecode, format),
            "Could not load duration: No such file or directory");
  for (const TimecodeTrackFormat& broken :
       {TimecodeTrackFormat{}, TimecodeTrackFormat{MTCFrameRate::fps25, {1, 25}, 256, 0},
        TimecodeTrackFormat{MTCFrameRate::fps25, {0, 25}, 25, 0},
        TimecodeTrackFormat{MTCFrameRate::fps25, {1, 0}, 25, 0}}) {
    EXPECT_EQ(addTimecodeTrack(rig.files, rig.url, rig.timecode, broken),
              "Could not create timecode format description. OSStatus -12710.");
  }
  EXPECT_EQ(rig.sourceIs(), kOldMovie);
}

class ValidateMovie : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(rig_.run(), TimecodeTrackResult{}); }

  TimecodeTrackError check(const Timecode& timecode, const TimecodeTrackFormat& format,
                           const MovieInspection& inspection = {10, 1, 1}) const {
    return validateMovie(rig_.files, rig_.url, timecode, format, inspection);
  }

  WriterRig rig_;
  const TimecodeTrackFormat format_ = timecodeTrackFormat(MTCFrameRate::fps25);
};

TEST_F(ValidateMovie, WantsTheSameTracksAndNearlyTheSameDuration) {
  EXPECT_FALSE(check(rig_.timecode, format_));
  EXPECT_FALSE(check(rig_.timecode, format_, {10.0499, 1, 1}));
  EXPECT_FALSE(check(rig_.timecode, format_, {9.9501, 1, 1}));
  for (const MovieInspection& other :
       {MovieInspection{10.0501, 1, 1}, MovieInspection{9.9499, 1, 1}, MovieInspection{10, 0, 1},
        MovieInspection{10, 2, 1}, MovieInspection{10, 1, 2}}) {
    EXPECT_EQ(check(rig_.timecode, format_, other).description,
              "The rewritten movie did not preserve its duration or media tracks.");
  }
}

TEST_F(ValidateMovie, WantsTheTrackThatWasWritten) {
  const auto refuses = [&](const Timecode& timecode, const TimecodeTrackFormat& format) {
    return check(timecode, format).code == TimecodeTrackFault::kTrackNotVerified;
  };
  for (const Timecode& other : {Timecode{2, 0, 0, 0, MTCFrameRate::fps25}, Timecode{1, 1, 0, 0, MTCFrameRate::fps25},
                                Timecode{1, 0, 1, 0, MTCFrameRate::fps25}, Timecode{1, 0, 0, 1, MTCFrameRate::fps25},
                                Timecode{1, 0, 0, 0, MTCFrameRate::fps30}}) {
    EXPECT_TRUE(refuses(other, format_)) << other.text();
  }
  EXPECT_TRUE(refuses(rig_.timecode, {MTCFrameRate::fps25, {1, 25}, 50, 0}));
  EXPECT_TRUE(refuses(rig_.timecode, {MTCFrameRate::fps25, {1, 25}, 25, 1}));
  EXPECT_TRUE(refuses(rig_.timecode, {MTCFrameRate::fps25, {1, 50}, 25, 0}));
  EXPECT_FALSE(refuses(rig_.timecode, {MTCFrameRate::fps25, {2, 50}, 25, 0})) << "the same length";
  EXPECT_FALSE(refuses(rig_.timecode, {MTCFrameRate::fps25, {1, 25}, 25, 2})) << "only the drop-frame flag counts";
}

TEST_F(ValidateMovie, PassesOnWhyTheMovieCannotBeRead) {
  EXPECT_EQ(validateMovie(rig_.files, "/absent.mov", rig_.timecode, format_, {}).code,
            std::errc::no_such_file_or_directory);
}

}  // namespace
}  // namespace tallyrig
