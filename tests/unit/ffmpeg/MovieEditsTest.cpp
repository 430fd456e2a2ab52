#include "platform/ffmpeg/MovieEdits.h"

#include <string>
#include <utility>

#include "support/MemoryBytes.h"
#include "support/TestMovie.h"

namespace tallyrig {
namespace {

/// One edit, in units of the movie, of media from `mediaTime` on.
std::string edit(std::uint64_t duration, std::uint64_t mediaTime, bool wide = false, std::uint64_t rate = 0x10000) {
  return (wide ? number64(duration) + number64(mediaTime) : number32(duration) + number32(mediaTime)) + number32(rate);
}

std::string edits(const std::string& entries, std::uint64_t count, bool wide = false) {
  return atom("edts", atom("elst", number32(wide ? 1U << 24U : 0U) + number32(count) + entries));
}

/// Ten seconds of sound at 600 units a second, in a movie of as many.
TestTrack sound(const std::string& editList = {}, const std::string& codec = "sowt") {
  TestTrack track;
  track.mediaType = "soun";
  track.description = number32(1) + atom(codec, std::string(28, '\0'));
  track.more = editList;
  return track;
}

TestMovie movieOf(std::vector<TestTrack> tracks) {
  TestMovie movie;
  movie.tracks = std::move(tracks);
  return movie;
}

bool unedited(const TestMovie& movie) {
  return hasUneditedSound(MemoryBytes(movie.bytes()));
}

TEST(MovieEdits, SoundWithoutEditsOrWithOneOfAllOfItIsUnedited) {
  EXPECT_TRUE(unedited(movieOf({sound()})));
  EXPECT_TRUE(unedited(movieOf({sound(edits(edit(6000, 0), 1))})));
  EXPECT_TRUE(unedited(movieOf({sound(edits(edit(6000, 0, true), 1, true))})));
  EXPECT_TRUE(unedited(movieOf({sound(edits("", 0))})));
  TestTrack wide = sound(edits(edit(6000, 0), 1));
  wide.wide = true;
  EXPECT_TRUE(unedited(movieOf({wide})));
  TestMovie streamed = movieOf({sound()});
  streamed.headerFirst = true;
  streamed.wide = true;
  EXPECT_TRUE(unedited(streamed));
}

TEST(MovieEdits, AnyOtherEditCounts) {
  EXPECT_FALSE(unedited(movieOf({sound(edits(edit(6000, 1), 1))})));
  EXPECT_FALSE(unedited(movieOf({sound(edits(edit(6000, 0xffffffff), 1))})));
  EXPECT_FALSE(unedited(movieOf({sound(edits(edit(6000, 0, false, 0x20000), 1))})));
  EXPECT_FALSE(unedited(movieOf({sound(edits(edit(3000, 0) + edit(3000, 1800), 2))})));
  EXPECT_FALSE(unedited(movieOf({sound(edits(edit(6000, 0), 1) + edits(edit(6000, 0), 1))})));
  EXPECT_FALSE(unedited(movieOf({sound(), sound(edits(edit(6000, 1), 1))})));
}

TEST(MovieEdits, AnEditMayEndUpToOneUnitOfTheMovieEarly) {
  EXPECT_TRUE(unedited(movieOf({sound(edits(edit(5999, 0), 1))})));
  EXPECT_FALSE(unedited(movieOf({sound(edits(edit(5998, 0), 1))})));
}

TEST(MovieEdits, OnlySoundCounts) {
  TestTrack picture;
  picture.more = edits(edit(3000, 1200), 1);
  EXPECT_TRUE(unedited(movieOf({picture, sound()})));
  EXPECT_TRUE(unedited(movieOf({picture})));
}

TEST(MovieEdits, CompressedSoundMayBeginBeforeItsFirstSample) {
  EXPECT_FALSE(unedited(movieOf({sound({}, "mp4a")})));
  TestTrack two = sound();
  two.description = number32(2) + atom("sowt", std::string(28, '\0')) + atom("mp4a", std::string(28, '\0'));
  EXPECT_FALSE(unedited(movieOf({two})));
  TestTrack none = sound();
  none.description.clear();
  EXPECT_FALSE(unedited(movieOf({none})));
}

TEST(MovieEdits, WhatIsNoWholeMovieIsNotJudged) {
  EXPECT_FALSE(hasUneditedSound(MemoryBytes("")));
  EXPECT_FALSE(hasUneditedSound(MemoryBytes("RIFF and whatever follows it")));
  const std::string whole = movieOf({sound()}).bytes();
  EXPECT_FALSE(hasUneditedSound(MemoryBytes(whole + whole)));
  TestMovie fragments = movieOf({sound()});
  fragments.afterTracks = atom("mvex", "");
  EXPECT_FALSE(unedited(fragments));
  TestMovie compressed = movieOf({sound()});
  compressed.afterTracks = atom("cmov", "");
  EXPECT_FALSE(unedited(compressed));
  TestMovie continued = movieOf({sound()});
  continued.atEnd = atom("moof", "");
  EXPECT_FALSE(unedited(continued));
}

TEST(MovieEdits, AFileThatIsCutOrCannotBeReadIsNotJudged) {
  TestMovie movie = movieOf({sound(edits(edit(6000, 0), 1))});
  const std::string whole = movie.bytes();
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(hasUneditedSound(MemoryBytes(whole.substr(0, length)))) << length;
  }
  for (const char* type : {"moov", "mvhd", "elst", "mdhd", "hdlr", "stsd"}) {
    MemoryBytes failing(whole);
    failing.failFrom(whole.find(type), std::errc::io_error);
    EXPECT_FALSE(hasUneditedSound(failing)) << type;
  }
}

TEST(MovieEdits, LittleIsReadOfAHostileFile) {
  // A movie header of exabytes, and one that is millions of empty atoms.
  MemoryBytes exabytes(number32(1) + "moov" + number64(std::uint64_t{1} << 60));
  exabytes.extendWithZeros(std::uint64_t{1} << 60);
  (void)hasUneditedSound(exabytes);
  EXPECT_LT(exabytes.bytesRead(), 1000U);

  std::string crowd;
  for (int count = 0; count < 1'000'000; ++count) crowd += number32(8) + "free";
  const MemoryBytes crowded(atom("moov", crowd));
  EXPECT_FALSE(hasUneditedSound(crowded));
  EXPECT_LT(crowded.bytesRead(), 1'000'000U);

  std::string nested;
  for (int depth = 0; depth < 100'000; ++depth) nested = number32(nested.size() + 8) + "moov" + nested.substr(0, 64);
  EXPECT_FALSE(hasUneditedSound(MemoryBytes(nested)));
}

}  // namespace
}  // namespace tallyrig
