#include "filetools/WAVRenderer.h"

#include <cmath>
#include <memory>

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

  WavFormat created;
  std::vector<std::int32_t> samples;
  bool closed = false;
  std::error_code createError;
  std::error_code writeError;
  std::size_t writableSamples = ~std::size_t{0};
  std::error_code closeError;
  std::optional<int> depth;

 private:
  class File final : public WavFile {
   public:
    File(MemoryWavFiles& owner, int bitDepth) : owner_(owner), bitDepth_(bitDepth) {}
    int bitDepth() const override { return bitDepth_; }
    std::error_code write(std::span<const std::int32_t> samples) override {
      if (owner_.samples.size() + samples.size() > owner_.writableSamples) return owner_.writeError;
      owner_.samples.insert(owner_.samples.end(), samples.begin(), samples.end());
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
};

std::vector<LTCTimecodeDecoder::DecodedFrame> framesOf(const MemoryWavFiles& files) {
  SimulatedClock clock;
  LTCTimecodeDecoder decoder(clock);
  std::vector<LTCTimecodeDecoder::DecodedFrame> frames;
  decoder.onTimecode = [&](const auto& frame) { frames.push_back(frame); };
  std::vector<float> samples(files.samples.size());
  std::transform(files.samples.begin(), files.samples.end(), samples.begin(),
                 [](std::int32_t sample) { return static_cast<float>(sample) / 2147483648.0F; });
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

TEST(Quantising, SixteenBitsAreTruncatedTowardsZeroAndSaturate) {
  const std::vector<float> samples{0, 0.5F, -0.5F, 1, 2, -1, -2, 1.0F / 32767 * 1.99F, -1.0F / 32767 * 1.99F};
  std::vector<std::int32_t> quantised(samples.size());
  quantise(samples, 16, quantised);
  for (std::int32_t& sample : quantised) sample >>= 16;
  EXPECT_THAT(quantised, testing::ElementsAre(0, 16383, -16383, 32767, 32767, -32767, -32767, 1, -1));
}

TEST(Quantising, TwentyFourBitsComeOutOfThirtyTwo) {
  const std::vector<float> samples{0, 0.5F, -0.5F, 1, 2, -1, -2, 0x1p-31F, -0x1p-31F};
  std::vector<std::int32_t> quantised(samples.size());
  quantise(samples, 24, quantised);
  EXPECT_THAT(quantised, testing::ElementsAre(0, 1 << 30, -(1 << 30), 2147483647, 2147483647, -2147483648LL,
                                              -2147483648LL, 1, -1));
}

TEST(RenderWAV, IsAsLongAsItSaysAndCarriesTheFramesInOrder) {
  for (const WAVFrameRate rate : kWAVFrameRates) {
    for (const int sampleRate : {44100, 48000}) {
      for (const int depth : {16, 24}) {
        MemoryWavFiles files;
        const Timecode start{9, 59, 58, 3, wavNumbering(rate)};
        ASSERT_EQ(renderWAV(files, {start, rate, sampleRate, depth, -6, 5}, "x.wav"), std::nullopt);
        EXPECT_EQ(files.samples.size(), static_cast<std::size_t>(5 * sampleRate));
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
    std::int32_t peak = 0;
    for (const std::int32_t sample : files.samples) peak = std::max(peak, std::abs(sample));
    // The encoder has 8 bits.
    EXPECT_NEAR(20 * std::log10(peak / 2147483648.0), level, 0.6);
  }
}

TEST(RenderWAV, NoTimeIsAnEmptyFile) {
  MemoryWavFiles files;
  EXPECT_EQ(renderWAV(files, {{}, WAVFrameRate::fps25, 48000, 16, -6, 0}, "x.wav"), std::nullopt);
  EXPECT_TRUE(files.samples.empty());
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
    files.writableSamples = 100000;
    files.writeError = std::make_error_code(std::errc::no_space_on_device);
    EXPECT_EQ(renderWAV(files, stretch, "x.wav"), "Write failed: No space left on device");
    EXPECT_GT(files.samples.size(), 0U);
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
