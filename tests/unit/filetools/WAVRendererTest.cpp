#include "filetools/WAVRenderer.h"

#include <cmath>
#include <map>
#include <memory>
#include <numeric>

#include "ltc/LTCAudioGenerator.h"
#include "ltc/LTCTimecodeDecoder.h"
#include "platform/simulated/SimulatedClock.h"

namespace tallyrig {
namespace {

/// A WAV file in memory, which can refuse what is asked of it.
class MemoryWavFiles final : public WavFiles {
 public:
  std::error_code create(const std::filesystem::path&, WavFormat format, std::unique_ptr<WavFile>& file) override {
    created = format;
    if (createError) return createError;
    file = std::make_unique<File>(*this, depth.value_or(format.bitDepth));
    return {};
  }

  /// A sample as a part of full scale, out of the bytes that the file got for it.
  double sample(std::size_t index) const {
    const std::size_t size = width();
    std::uint32_t word = 0;
    for (std::size_t byte = 0; byte < size; ++byte) {
      word |= std::uint32_t{bytes[index * size + byte]} << (32 - 8 * (size - byte));
    }
    return static_cast<std::int32_t>(word) / 2147483648.0;
  }
  std::size_t sampleCount() const { return bytes.size() / width(); }

  WavFormat created;
  std::vector<std::uint8_t> bytes;
  bool closed = false;
  std::error_code createError;
  std::error_code writeError;
  std::size_t writableBytes = ~std::size_t{0};
  std::error_code closeError;
  std::optional<int> depth;

 private:
  class File final : public WavFile {
   public:
    File(MemoryWavFiles& owner, int bitDepth) : owner_(owner), bitDepth_(bitDepth) {}
    int bitDepth() const override { return bitDepth_; }
    std::error_code write(std::span<const std::uint8_t> samples) override {
      EXPECT_EQ(samples.size() % owner_.width(), 0U) << "whole samples";
      if (owner_.bytes.size() + samples.size() > owner_.writableBytes) return owner_.writeError;
      owner_.bytes.insert(owner_.bytes.end(), samples.begin(), samples.end());
      return {};
    }
    std::error_code close() override {
      owner_.closed = true;
      return owner_.closeError;
    }

   private:
    MemoryWavFiles& owner_;
    const int bitDepth_;
  };

  std::size_t width() const { return static_cast<std::size_t>(created.bitDepth / 8); }
};

std::vector<LTCTimecodeDecoder::DecodedFrame> framesOf(const MemoryWavFiles& files) {
  SimulatedClock clock;
  LTCTimecodeDecoder decoder(clock);
  std::vector<LTCTimecodeDecoder::DecodedFrame> frames;
  decoder.onTimecode = [&](const auto& frame) { frames.push_back(frame); };
  std::vector<float> samples;
  for (std::size_t index = 0; index < files.sampleCount(); ++index) {
    samples.push_back(static_cast<float>(files.sample(index)));
  }
  for (std::size_t at = 0; at < samples.size(); at += 256) {
    decoder.process(std::span(samples).subspan(at, std::min<std::size_t>(256, samples.size() - at)), std::nullopt,
                    files.created.sampleRate);
  }
  return frames;
}

TEST(WAVRates, HaveTheirLabelsAndNumbers) {
  const std::vector<std::string> labels{"23.976", "24", "25", "29.97 DF", "30"};
  const std::vector<double> speeds{23.976023976023978, 24, 25, 29.97002997002997, 30};
  const std::vector<int> highest{23, 23, 24, 29, 29};
  for (std::size_t index = 0; index < kWAVFrameRates.size(); ++index) {
    EXPECT_EQ(wavRateLabel(kWAVFrameRates[index]), labels[index]);
    EXPECT_EQ(wavFramesPerSecond(kWAVFrameRates[index]), speeds[index]);
    EXPECT_EQ(maxFrameField(wavNumbering(kWAVFrameRates[index])), highest[index]);
  }
}

/// A sample between -1 and 1 as the file must have it: clamped, scaled, truncated towards zero, the low byte first.
std::vector<std::uint8_t> inFile(float sample, int bitDepth) {
  const double limited = std::clamp(static_cast<double>(sample), -1.0, 1.0);
  const bool narrow = bitDepth == 16;
  const auto scaled = static_cast<std::int64_t>(limited * (narrow ? 32767.0 : 2147483648.0));
  // Of 32 bits a file of 24 keeps the highest.
  const std::int64_t kept = narrow ? scaled : scaled >> 8;
  std::vector<std::uint8_t> bytes;
  for (int shift = 0; shift < bitDepth; shift += 8) bytes.push_back(static_cast<std::uint8_t>(kept >> shift & 0xff));
  return bytes;
}

TEST(PutSamples, GivesEveryValueOfTheEncoderWhatTheScaleSays) {
  std::vector<std::uint8_t> values(256);
  std::iota(values.begin(), values.end(), std::uint8_t{0});
  for (const int depth : {16, 24}) {
    std::vector<std::uint8_t> expected;
    for (const std::uint8_t value : values) {
      const auto bytes = inFile(static_cast<float>(value - 128) * 0.0078125F, depth);
      expected.insert(expected.end(), bytes.begin(), bytes.end());
    }
    std::vector<std::uint8_t> whole(expected.size());
    putSamples(values, depth, whole);
    EXPECT_EQ(whole, expected) << depth;
    // In stretches of any length and at any place, as frames of odd lengths have them.
    const std::size_t width = expected.size() / values.size();
    std::vector<std::uint8_t> pieces(expected.size());
    for (std::size_t at = 0, length = 0; at < values.size(); at += length) {
      length = std::min(values.size() - at, length % 23 + 1);
      putSamples(std::span(values).subspan(at, length), depth, std::span(pieces).subspan(at * width, length * width));
    }
    EXPECT_EQ(pieces, expected) << depth;
  }
}

TEST(PutSamples, KeepsSilenceAndNearlyReachesFullScale) {
  const std::vector<std::uint8_t> values{128, 255, 0, 129, 127};
  std::vector<std::uint8_t> narrow(10);
  std::vector<std::uint8_t> wide(15);
  putSamples(values, 16, narrow);
  putSamples(values, 24, wide);
  EXPECT_THAT(narrow, testing::ElementsAre(0, 0, 0xff, 0x7e, 0x01, 0x80, 0xff, 0, 0x01, 0xff));
  EXPECT_THAT(wide, testing::ElementsAre(0, 0, 0, 0, 0, 0x7f, 0, 0, 0x80, 0, 0, 0x01, 0, 0, 0xff));
}

TEST(RenderWAV, WritesTheSamplesOfTheGeneratorAtEveryLevel) {
  const Timecode start{23, 59, 59, 20, MTCFrameRate::fps2997};
  for (const int depth : {16, 24}) {
    std::map<float, std::vector<std::uint8_t>> known;
    for (int level = -18; level <= 0; ++level) {
      MemoryWavFiles files;
      ASSERT_EQ(renderWAV(files, {start, WAVFrameRate::fps2997, 44100, depth, static_cast<double>(level), 1}, "x.wav"),
                std::nullopt);
      const auto generator = LTCAudioGenerator::create(MTCFrameRate::fps2997, 44100, level);
      generator->setTimecode(start);
      std::vector<std::uint8_t> expected;
      while (expected.size() < files.bytes.size()) {
        for (const float sample : generator->nextFrame().samples) {
          std::vector<std::uint8_t>& bytes = known[sample];
          if (bytes.empty()) bytes = inFile(sample, depth);
          expected.insert(expected.end(), bytes.begin(), bytes.end());
        }
      }
      EXPECT_GT(expected.size(), files.bytes.size()) << "the last frame is cut off";
      expected.resize(files.bytes.size());
      EXPECT_TRUE(files.bytes == expected) << depth << " bits, " << level << " dBFS";
    }
  }
}

TEST(RenderWAV, IsAsLongAsItSaysAndCarriesTheFramesInOrder) {
  for (const WAVFrameRate rate : kWAVFrameRates) {
    for (const int sampleRate : {44100, 48000}) {
      for (const int depth : {16, 24}) {
        MemoryWavFiles files;
        const Timecode start{9, 59, 58, 3, wavNumbering(rate)};
        ASSERT_EQ(renderWAV(files, {start, rate, sampleRate, depth, -6, 5}, "x.wav"), std::nullopt);
        EXPECT_EQ(files.sampleCount(), static_cast<std::size_t>(5 * sampleRate));
        EXPECT_EQ(files.created.expectedSamples, 5 * sampleRate);
        EXPECT_TRUE(files.closed);
        EXPECT_EQ(files.created.sampleRate, sampleRate);
        EXPECT_EQ(files.created.bitDepth, depth);
        const auto frames = framesOf(files);
        ASSERT_GT(frames.size(), static_cast<std::size_t>(5 * wavFramesPerSecond(rate)) - 3);
        for (const auto& frame : frames) {
          const auto number = start.signedFrameDistance(frame.timecode);
          ASSERT_TRUE(number) << wavRateLabel(rate);
          const double ideal = static_cast<double>(*number) * sampleRate / wavFramesPerSecond(rate);
          EXPECT_NEAR(static_cast<double>(frame.startSamplePosition), ideal, 8) << wavRateLabel(rate);
        }
      }
    }
  }
}

TEST(RenderWAV, FramesOf23976AreLongerThanThoseOf24AtTheSameNumbers) {
  MemoryWavFiles slow;
  MemoryWavFiles fast;
  const Timecode start{1, 0, 0, 0, MTCFrameRate::fps24};
  ASSERT_EQ(renderWAV(slow, {start, WAVFrameRate::fps2397, 48000, 16, -6, 60}, "x.wav"), std::nullopt);
  ASSERT_EQ(renderWAV(fast, {start, WAVFrameRate::fps24, 48000, 16, -6, 60}, "x.wav"), std::nullopt);
  const auto length = [](const MemoryWavFiles& files) {
    const auto frames = framesOf(files);
    const auto numbers = frames[1].timecode.signedFrameDistance(frames.back().timecode).value();
    return static_cast<double>(frames.back().startSamplePosition - frames[1].startSamplePosition) /
           static_cast<double>(numbers);
  };
  EXPECT_NEAR(length(slow), 2002, 0.01);
  EXPECT_NEAR(length(fast), 2000, 0.01);
}

TEST(RenderWAV, TheLevelIsThePeak) {
  for (const double level : {-18.0, -6.0, -1.0}) {
    MemoryWavFiles files;
    ASSERT_EQ(renderWAV(files, {{}, WAVFrameRate::fps25, 48000, 24, level, 1}, "x.wav"), std::nullopt);
    double peak = 0;
    for (std::size_t index = 0; index < files.sampleCount(); ++index) {
      peak = std::max(peak, std::abs(files.sample(index)));
    }
    // The encoder has 8 bits.
    EXPECT_NEAR(20 * std::log10(peak), level, 0.6);
  }
}

TEST(RenderWAV, NoTimeIsAnEmptyFile) {
  MemoryWavFiles files;
  EXPECT_EQ(renderWAV(files, {{}, WAVFrameRate::fps25, 48000, 16, -6, 0}, "x.wav"), std::nullopt);
  EXPECT_TRUE(files.bytes.empty());
  EXPECT_TRUE(files.closed);
}

TEST(RenderWAV, EachFailureHasItsText) {
  const WAVStretch stretch{{}, WAVFrameRate::fps25, 48000, 24, -6, 60};
  {
    MemoryWavFiles files;
    files.createError = std::make_error_code(std::errc::permission_denied);
    EXPECT_EQ(renderWAV(files, stretch, "x.wav"), "Write failed: Permission denied");
  }
  {
    MemoryWavFiles files;
    files.depth = 16;
    EXPECT_EQ(renderWAV(files, stretch, "x.wav"), "The audio system could not create a 24-bit WAV file.");
  }
  {
    MemoryWavFiles files;
    files.writableBytes = 2000000;
    files.writeError = std::make_error_code(std::errc::no_space_on_device);
    EXPECT_EQ(renderWAV(files, stretch, "x.wav"), "Write failed: No space left on device");
    EXPECT_GT(files.bytes.size(), 0U) << "what was written stays";
  }
  {
    MemoryWavFiles files;
    files.closeError = std::make_error_code(std::errc::no_space_on_device);
    EXPECT_EQ(renderWAV(files, stretch, "x.wav"), "Write failed: No space left on device");
  }
  MemoryWavFiles files;
  EXPECT_EQ(renderWAV(files, {{}, WAVFrameRate::fps25, 0, 16, -6, 1}, "x.wav"), "Failed to create LTC encoder.");
}

}  // namespace
}  // namespace tallyrig
