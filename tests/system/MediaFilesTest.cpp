// Media made by ffmpeg and sox, read through the program's own readers. The sound is noise, in which no two places are
// alike: what is read of a place is the truth only if it is that place.

#include <cmath>
#include <cstdint>

#include "platform/ffmpeg/FFmpegAudioFiles.h"
#include "platform/ffmpeg/FFmpegMediaFiles.h"
#include "platform/sndfile/SndfileAudioFiles.h"
#include "support/CountedFiles.h"
#include "support/MediaFolder.h"
#include "support/ReadSound.h"

namespace tallyrig {
namespace {

/// Mono noise of a low level, by a fixed seed.
std::string noise(int rate, const std::string& seconds) {
  return "-f lavfi -i anoisesrc=r=" + std::to_string(rate) + ":d=" + seconds + ":a=0.3:seed=7:c=pink ";
}

double difference(const std::vector<float>& one, const std::vector<float>& other) {
  if (one.size() != other.size()) return 1e9;
  double largest = 0;
  for (std::size_t index = 0; index < one.size(); ++index) {
    largest = std::max(largest, static_cast<double>(std::fabs(one[index] - other[index])));
  }
  return largest;
}

double correlation(const std::vector<float>& one, const std::vector<float>& other, std::int64_t shift) {
  double product = 0;
  double squares = 0;
  double otherSquares = 0;
  for (std::int64_t index = 0; index < static_cast<std::int64_t>(one.size()); ++index) {
    if (index + shift < 0 || index + shift >= static_cast<std::int64_t>(other.size())) continue;
    const double a = one[static_cast<std::size_t>(index)];
    const double b = other[static_cast<std::size_t>(index + shift)];
    product += a * b;
    squares += a * a;
    otherSquares += b * b;
  }
  return product / std::sqrt(squares * otherSquares + 1e-30);
}

struct MediaCase {
  std::string name;
  std::string options;
  int rate = 48000;
  /// How much two decodings may differ that began at different places, and each from the original.
  double repeatable = 0;
  double faithful = 0;
  /// Frames that may follow the end, where the file does not say how much of its last packet is sound.
  std::size_t padding = 0;
};

class Media : public testing::Test {
 protected:
  MediaFolder folder_;
  CountedFiles files_;
  FFmpegMediaFiles media_{files_.opener()};
  SndfileAudioFiles audio_{files_.opener()};
  FFmpegAudioFiles anyAudio_{audio_, files_.opener()};

  std::string original(int rate, const std::string& seconds = "9.37") {
    return folder_.make("original.wav", noise(rate, seconds) + "-c:a pcm_f32le");
  }

  std::unique_ptr<MediaFile> open(const std::string& path) {
    std::unique_ptr<MediaFile> file;
    const auto error = media_.open(path, file);
    EXPECT_FALSE(error) << error.message();
    return file;
  }

  std::vector<float> truth(const std::string& path) {
    std::unique_ptr<AudioFile> file;
    EXPECT_FALSE(audio_.open(path, file));
    return readFrames(*file, 0, kAllFrames);
  }
};

void PrintTo(const MediaCase& media, std::ostream* out) {
  *out << media.name;
}

std::string caseName(const testing::TestParamInfo<MediaCase>& media) {
  std::string name = media.param.name;
  std::ranges::replace(name, '.', '_');
  return name;
}

/// What is read of a place is the same from wherever it is reached, and lies where the original has it.
void expectExactPlaces(AudioReader& reader, const std::vector<float>& truth, const MediaCase& media) {
  const std::vector<float> whole = readFrames(reader, 0, kAllFrames);
  ASSERT_GE(whole.size(), truth.size());
  ASSERT_LE(whole.size(), truth.size() + media.padding);
  for (const std::int64_t start : {0, 1, 1023, 1024, 1025, 47999, 96000, 200003, 333333, 4097, 0}) {
    constexpr std::int64_t kCount = 3001;
    const std::vector<float> read = readFrames(reader, start, kCount, 777);
    const std::vector<float> expected(whole.begin() + start, whole.begin() + start + kCount);
    ASSERT_EQ(read.size(), expected.size());
    EXPECT_LE(difference(read, expected), media.repeatable) << media.name << " at " << start;

    const std::vector<float> there(truth.begin() + start, truth.begin() + start + kCount);
    if (media.faithful > 0) {
      EXPECT_LE(difference(read, there), media.faithful) << media.name << " at " << start;
    } else {
      const double here = correlation(read, there, 0);
      EXPECT_GT(here, 0.7) << media.name << " at " << start;
      for (const std::int64_t shift : {-2, -1, 1, 2}) {
        EXPECT_GT(here, correlation(read, there, shift)) << media.name << " at " << start << ", shifted " << shift;
      }
    }
  }
  EXPECT_LE(readFrames(reader, static_cast<std::int64_t>(whole.size()), 2000).size(), media.padding);
  EXPECT_TRUE(readFrames(reader, static_cast<std::int64_t>(whole.size()) + 100000, 10).empty());
  EXPECT_EQ(readFrames(reader, static_cast<std::int64_t>(whole.size()) - 5, 10).size(), 5U);
}

class MediaPlaces : public Media, public testing::WithParamInterface<MediaCase> {};

TEST_P(MediaPlaces, AreTheSameSamplesFromWhereverTheyAreReached) {
  const MediaCase& media = GetParam();
  const std::string source = original(media.rate);
  const auto file = open(folder_.make(media.name, "-i " + source + " " + media.options));
  ASSERT_TRUE(file);
  ASSERT_EQ(file->description().audioTracks.size(), 1U);
  const AudioFormat expected{static_cast<double>(media.rate), 1};
  EXPECT_EQ(file->description().audioTracks[0].format, expected);
  EXPECT_NEAR(file->description().durationSeconds, 9.37, 0.05);
  std::unique_ptr<AudioReader> reader;
  ASSERT_FALSE(file->openAudio(0, reader));
  EXPECT_EQ(reader->format(), expected);
  expectExactPlaces(*reader, truth(source), media);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, MediaPlaces,
    testing::Values(MediaCase{"pcm16.mov", "-c:a pcm_s16le", 48000, 0, 0x1p-15},
                    MediaCase{"pcm24.mov", "-c:a pcm_s24le", 48000, 0, 0x1p-22},
                    MediaCase{"float.mov", "-c:a pcm_f32le", 44100, 0, 1e-9},
                    MediaCase{"alac.m4a", "-c:a alac -sample_fmt s32p", 48000, 0, 0x1p-22},
                    MediaCase{"aac.m4a", "-c:a aac -aac_pns 0 -b:a 160k", 48000, 1e-4},
                    MediaCase{"aac.mov", "-c:a aac -aac_pns 0 -b:a 160k", 44100, 1e-4},
                    MediaCase{"aac.mp4", "-c:a aac -aac_pns 0 -b:a 160k -movflags +faststart", 48000, 1e-4},
                    MediaCase{"fragments.mp4",
                              "-c:a aac -aac_pns 0 -b:a 160k -movflags +frag_keyframe+delay_moov -frag_duration 500000",
                              48000, 1e-4, 0, 1023},
                    MediaCase{"mp3.mp4", "-c:a libmp3lame -b:a 192k", 48000, 1e-4},
                    MediaCase{"cbr.mp3", "-c:a libmp3lame -b:a 192k", 48000, 1e-4},
                    MediaCase{"vbr.mp3", "-c:a libmp3lame -q:a 3", 44100, 1e-4},
                    MediaCase{"plain.wav", "-c:a pcm_s24le", 48000, 0, 0x1p-22},
                    MediaCase{"flac.flac", "-c:a flac -sample_fmt s32", 48000, 0, 0x1p-22},
                    MediaCase{"opus.ogg", "-c:a libopus -b:a 256k", 48000, 1e-2, 0, 1919},
                    MediaCase{"vorbis.ogg", "-c:a libvorbis -q:a 8", 48000, 1e-4}),
    caseName);

class AudioPlaces : public Media, public testing::WithParamInterface<MediaCase> {};

TEST_P(AudioPlaces, AreTheSameSamplesFromWhereverTheyAreReached) {
  const MediaCase& media = GetParam();
  const std::string source = original(media.rate);
  const std::string path = folder_.make(media.name, "-i " + source + " " + media.options);
  std::unique_ptr<AudioFile> file;
  const auto error = audio_.open(path, file);
  ASSERT_FALSE(error) << error.message();
  EXPECT_EQ(file->format(), (AudioFormat{static_cast<double>(media.rate), 1}));
  const auto expected = truth(source);
  EXPECT_EQ(file->frameCount(), static_cast<std::int64_t>(expected.size()));
  expectExactPlaces(*file, expected, media);
}

INSTANTIATE_TEST_SUITE_P(Kinds, AudioPlaces,
                         testing::Values(MediaCase{"pcm8.wav", "-c:a pcm_u8", 48000, 0, 0x1p-6},
                                         MediaCase{"pcm16.wav", "-c:a pcm_s16le", 44100, 0, 0x1p-15},
                                         MediaCase{"pcm24.wav", "-c:a pcm_s24le", 192000, 0, 0x1p-22},
                                         MediaCase{"float.wav", "-c:a pcm_f32le", 48000, 0, 1e-9},
                                         MediaCase{"double.wav", "-c:a pcm_f64le", 48000, 0, 1e-9},
                                         MediaCase{"rf64.wav", "-c:a pcm_s24le -rf64 always", 48000, 0, 0x1p-22},
                                         MediaCase{"sony.w64", "-c:a pcm_s24le", 48000, 0, 0x1p-22},
                                         MediaCase{"pcm24.aiff", "-c:a pcm_s24be", 48000, 0, 0x1p-22},
                                         MediaCase{"flac.flac", "-c:a flac -sample_fmt s32", 48000, 0, 0x1p-22},
                                         MediaCase{"cbr.mp3", "-c:a libmp3lame -b:a 192k", 48000, 1e-3},
                                         MediaCase{"vbr.mp3", "-c:a libmp3lame -q:a 3", 44100, 1e-3},
                                         MediaCase{"vorbis.ogg", "-c:a libvorbis -q:a 8", 48000, 1e-4}),
                         caseName);

TEST_F(Media, WhatOnlyFFmpegKnowsIsAnAudioFileToo) {
  const std::string source = original(48000);
  const auto expected = truth(source);
  // AC-3 is decoded with noise of its own for what has no bits. The first block of bare packets overlaps with whatever
  // was decoded before it.
  for (const auto& [name, options, tolerance, exactFrom] :
       std::vector<std::tuple<std::string, std::string, double, std::int64_t>>{
           {"bare.aac", "-c:a aac -aac_pns 0 -b:a 160k", 1e-4, 1024},
           {"bare.ac3", "-c:a ac3 -b:a 192k", 0.05, 256},
           {"book.m4b", "-f ipod -c:a alac", 0, 0}}) {
    const std::string path = folder_.make(name, "-i " + source + " " + options);
    std::unique_ptr<AudioFile> file;
    ASSERT_TRUE(audio_.open(path, file)) << name << " is none of the others";
    ASSERT_FALSE(anyAudio_.open(path, file)) << name;
    EXPECT_EQ(file->format(), (AudioFormat{48000, 1})) << name;
    const auto beginning = readFrames(*file, 0, 5000);
    ASSERT_FALSE(file->seek(4321));
    const std::int64_t count = file->frameCount();
    // Bare packets do not say how much an encoder has put before and behind the sound.
    EXPECT_GE(count, static_cast<std::int64_t>(expected.size())) << name;
    EXPECT_LE(count, static_cast<std::int64_t>(expected.size()) + 3 * 1536) << name;
    std::vector<float> piece(1000);
    std::size_t frames = 0;
    ASSERT_FALSE(file->read(piece, frames));
    ASSERT_GT(frames, 0U);
    const auto whole = readFrames(*file, 0, kAllFrames);
    EXPECT_EQ(static_cast<std::int64_t>(whole.size()), count) << name;
    EXPECT_LE(difference({piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(frames)},
                         {whole.begin() + 4321, whole.begin() + 4321 + static_cast<std::ptrdiff_t>(frames)}),
              tolerance)
        << name << ": the counting loses no place";
    EXPECT_LE(
        difference({beginning.begin() + exactFrom, beginning.end()}, {whole.begin() + exactFrom, whole.begin() + 5000}),
        tolerance)
        << name;
    for (const std::int64_t start : {1, 1023, 1024, 200003, 333333, 4097, 0}) {
      const std::int64_t from = std::max(start, exactFrom);
      const std::vector<float> there(whole.begin() + from, whole.begin() + from + 3001);
      EXPECT_LE(difference(readFrames(*file, from, 3001), there), tolerance) << name << " at " << from;
    }
  }
}

TEST_F(Media, WhatNobodyKnowsIsRefusedAsTheFirstReaderDoes) {
  for (const std::string& bytes : {std::string(), std::string("#EXTM3U"), std::string(5000, 'x')}) {
    const std::string path = folder_.file("odd.aac");
    writeWhole(path, bytes);
    std::unique_ptr<AudioFile> file;
    const auto refusal = audio_.open(path, file);
    EXPECT_TRUE(refusal);
    EXPECT_EQ(anyAudio_.open(path, file), refusal);
    EXPECT_FALSE(file);
  }
  const std::string silent = folder_.make("silent.mkv", "-f lavfi -i testsrc=s=64x48:d=1:r=25 -c:v mpeg4");
  std::unique_ptr<AudioFile> file;
  EXPECT_TRUE(anyAudio_.open(silent, file));
}

TEST_F(Media, SoundThatBeginsLateInAMovieReadsAsSilenceUntilThen) {
  const std::string source = original(48000);
  const auto file = open(folder_.make(
      "late.mov", "-f lavfi -i testsrc=s=64x48:d=12:r=25 -itsoffset 2 -i " + source + " -c:v mpeg4 -c:a pcm_s24le"));
  std::unique_ptr<AudioReader> reader;
  ASSERT_FALSE(file->openAudio(0, reader));
  const auto expected = truth(source);
  std::vector<float> delayed(96000, 0.0F);
  delayed.insert(delayed.end(), expected.begin(), expected.end());
  const auto whole = readFrames(*reader, 0, kAllFrames);
  EXPECT_LE(difference(whole, delayed), 0x1p-22);
  for (const std::int64_t start : {0, 50000, 95999, 96000, 96001, 150000}) {
    const auto read = readFrames(*reader, start, 3000);
    EXPECT_LE(difference(read, {delayed.begin() + start, delayed.begin() + start + 3000}), 0x1p-22) << start;
  }
}

TEST_F(Media, EditsOfAMoviesSoundAreHeeded) {
  const std::string source = original(48000);
  const auto expected = truth(source);
  const std::string whole = folder_.make("whole.mov", "-i " + source + " -c:a pcm_s24le");
  for (const std::string from : {"2", "3.0123"}) {
    const auto file = open(folder_.make("cut.mov", "-ss " + from + " -i " + whole + " -t 4 -c copy"));
    std::unique_ptr<AudioReader> reader;
    ASSERT_FALSE(file->openAudio(0, reader));
    const auto cut = readFrames(*reader, 0, kAllFrames);
    const auto begin = static_cast<std::ptrdiff_t>(std::lround(std::stod(from) * 48000));
    ASSERT_NEAR(static_cast<double>(cut.size()), 4 * 48000, 1024);
    // A packet is as exact as such a copy is.
    const std::vector<float> place(cut.begin() + 5000, cut.begin() + 6000);
    double nearest = 1;
    for (std::ptrdiff_t shift = -1024; shift <= 1024; ++shift) {
      const auto there = expected.begin() + begin + 5000 + shift;
      nearest = std::min(nearest, difference(place, {there, there + 1000}));
    }
    EXPECT_LE(nearest, 0x1p-22) << from;
    for (const std::int64_t start : {1, 48000, 100001}) {
      const auto read = readFrames(*reader, start, 3000);
      EXPECT_LE(difference(read, {cut.begin() + start, cut.begin() + start + 3000}), 0) << from << " " << start;
    }
  }
}

TEST_F(Media, ChannelsStayInTheirOrder) {
  const std::string path = folder_.file("sixty-four.wav");
  std::string inputs;
  std::string merge;
  for (int channel = 0; channel < 64; ++channel) {
    inputs += " -f lavfi -i aevalsrc=" + std::to_string(channel + 1) + "/128:s=48000:d=0.1";
    merge += "[" + std::to_string(channel) + ":a]";
  }
  outputOf("ffmpeg -v error -nostdin -y" + inputs + " -filter_complex '" + merge + "amerge=inputs=64' -c:a pcm_s24le " +
           path);
  folder_.make("sixty-four.mov", "-i " + path + " -c copy");
  const auto file = open(folder_.file("sixty-four.mov"));
  std::unique_ptr<AudioReader> reader;
  ASSERT_FALSE(file->openAudio(0, reader));
  std::unique_ptr<AudioFile> wav;
  ASSERT_FALSE(audio_.open(path, wav));
  for (AudioReader* one : {reader.get(), static_cast<AudioReader*>(wav.get())}) {
    ASSERT_EQ(one->format().channelCount, 64);
    const auto frame = readFrames(*one, 1000, 1);
    for (std::size_t channel = 0; channel < 64; ++channel) {
      EXPECT_NEAR(frame[channel], static_cast<float>(channel + 1) / 128, 1e-6) << channel;
    }
  }
}

TEST_F(Media, ATrackOfManyIsReadByItsNumber) {
  const auto file = open(folder_.make("tracks.mov",
                                      "-f lavfi -i aevalsrc=0.25:s=48000:d=3 -f lavfi -i testsrc=s=64x48:d=3:r=25 "
                                      "-f lavfi -i aevalsrc='0.5|0.125':s=44100:d=3 -map 0 -map 1 -map 2 -c:v mpeg4 "
                                      "-c:a pcm_s16le"));
  ASSERT_EQ(file->description().audioTracks.size(), 2U);
  EXPECT_EQ(file->description().audioTracks[1].format, (AudioFormat{44100, 2}));
  for (int turn = 0; turn < 2; ++turn) {
    std::unique_ptr<AudioReader> reader;
    ASSERT_FALSE(file->openAudio(1, reader));
    EXPECT_EQ(readFrames(*reader, 100000, 1), (std::vector<float>{0.5F, 0.125F}));
    ASSERT_FALSE(file->openAudio(0, reader));
    EXPECT_EQ(readFrames(*reader, 100000, 2), (std::vector<float>{0.25F, 0.25F}));
  }
  std::unique_ptr<AudioReader> none;
  EXPECT_EQ(file->openAudio(2, none), std::errc::invalid_argument);
}

TEST_F(Media, ThePictureRateIsFramesOverDuration) {
  const auto rateOf = [&](const std::string& rate) {
    const auto file = open(folder_.make("rate.mov", "-f lavfi -i testsrc=s=64x48:d=4:r=" + rate + " -c:v mpeg4"));
    EXPECT_EQ(file->description().videoTracks.size(), 1U);
    EXPECT_TRUE(file->description().audioTracks.empty());
    return file->description().videoTracks.at(0).nominalFrameRate;
  };
  EXPECT_NEAR(rateOf("24000/1001"), 24000.0 / 1001, 1e-6);
  EXPECT_NEAR(rateOf("25"), 25, 1e-6);
  EXPECT_NEAR(rateOf("30000/1001"), 30000.0 / 1001, 1e-6);
  EXPECT_NEAR(rateOf("12.5"), 12.5, 1e-6);

  // A copy from the middle keeps the pictures since the last key frame, and an edit that leaves them out.
  const std::string long25 = folder_.make("whole.mov", "-f lavfi -i testsrc=s=64x48:d=10:r=25 -c:v mpeg4 -g 250");
  const auto cut = open(folder_.make("cut.mov", "-ss 5 -i " + long25 + " -c copy"));
  EXPECT_NEAR(cut->description().videoTracks.at(0).nominalFrameRate, 25, 1e-6);
}

TEST_F(Media, TagsAreMetadataAndTheBuildOfTheFileIsNot) {
  const auto keysOf = [&](const std::string& name, const std::string& recipe) {
    std::vector<std::string> found;
    const auto file = open(folder_.make(name, recipe));
    for (const auto& item : file->description().metadata) {
      found.push_back(item.key + "=" + item.stringValue.value_or("none"));
    }
    return found;
  };
  const std::string sound = "-f lavfi -i anullsrc=d=1 ";
  const std::string tags = " -metadata creation_time=2026-01-01T00:00:00Z -metadata title=Take -fflags +bitexact ";
  EXPECT_THAT(keysOf("plain.mov", sound + tags), testing::ElementsAre("title=Take"));
  EXPECT_THAT(keysOf("keys.mov", sound + tags + "-metadata shot.time=01:02:03:04 -movflags use_metadata_tags"),
              testing::IsSupersetOf({"title=Take", "shot.time=01:02:03:04"}));
  EXPECT_THAT(keysOf("bext.wav", sound + tags +
                                     "-write_bext 1 -metadata time_reference=48000 "
                                     "-metadata origination_time=10:11:12 -flags +bitexact"),
              testing::Not(testing::Contains(testing::HasSubstr("time"))));
}

TEST_F(Media, APlaceFarIntoAMovieCostsNoMoreThanItsSamples) {
  const std::string path = folder_.make("hour.mov", "-f lavfi -i anullsrc=r=48000:cl=mono:d=3600 -c:a pcm_s16le");
  const auto file = open(path);
  std::unique_ptr<AudioReader> reader;
  ASSERT_FALSE(file->openAudio(0, reader));
  files_.reset();
  EXPECT_EQ(readFrames(*reader, 48000LL * 3500, 96000).size(), 96000U);
  EXPECT_LT(files_.bytesRead(), 2 * 96000 + 4 * 32768U);
}

TEST_F(Media, FramesOfAnMP3AreFoundInFewReads) {
  const std::string path =
      folder_.make("long.mp3", "-f lavfi -i anullsrc=r=48000:cl=mono:d=600 -c:a libmp3lame -b:a 64k");
  std::unique_ptr<AudioFile> file;
  ASSERT_FALSE(audio_.open(path, file));
  files_.reset();
  EXPECT_EQ(readFrames(*file, 48000LL * 500, 4800).size(), 4800U);
  EXPECT_LT(files_.reads(), 500) << "of 20,000 frames";
}

TEST_F(Media, ACancelledReaderEnds) {
  const std::string source = original(48000);
  const auto file = open(source);
  std::unique_ptr<AudioReader> reader;
  ASSERT_FALSE(file->openAudio(0, reader));
  std::unique_ptr<AudioFile> wav;
  ASSERT_FALSE(audio_.open(source, wav));
  for (AudioReader* one : {reader.get(), static_cast<AudioReader*>(wav.get())}) {
    std::vector<float> room(100);
    std::size_t frames = 1;
    one->cancel();
    EXPECT_EQ(one->read(room, frames), std::errc::operation_canceled);
    EXPECT_EQ(frames, 0U);
    EXPECT_EQ(one->seek(0), std::errc::operation_canceled);
  }
}

TEST_F(Media, FilesThatNameOthersGetNoneOfThem) {
  const std::string secret = original(48000, "1");
  for (const auto& [name, text] : std::vector<std::pair<std::string, std::string>>{
           {"list.mov", "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n" + secret + "\n#EXT-X-ENDLIST\n"},
           {"concat.mov", "ffconcat version 1.0\nfile '" + secret + "'\n"},
           {"sdp.mov", "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nm=audio 5004 RTP/AVP 0\n"}}) {
    writeWhole(folder_.file(name), text);
    std::unique_ptr<MediaFile> file;
    EXPECT_TRUE(media_.open(folder_.file(name), file)) << name;
    EXPECT_FALSE(file);
  }
}

}  // namespace
}  // namespace tallyrig
