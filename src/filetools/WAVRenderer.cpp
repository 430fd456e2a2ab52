#include "filetools/WAVRenderer.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <system_error>
#include <vector>

#include "ltc/LTCAudioGenerator.h"
#include "platform/Log.h"

namespace tallyrig {
namespace {

// Samples that are handed to the file at once.
constexpr std::size_t kWriteSamples = 32768;

std::string writeFailure(const std::error_code& error) {
  return "Write failed: " + error.message();
}

}  // namespace

const char* wavRateLabel(WAVFrameRate rate) noexcept {
  return rate == WAVFrameRate::fps2397 ? "23.976" : rateText(wavNumbering(rate));
}

double wavFramesPerSecond(WAVFrameRate rate) noexcept {
  return rate == WAVFrameRate::fps2397 ? 24000.0 / 1001.0 : exactFrameRate(wavNumbering(rate));
}

MTCFrameRate wavNumbering(WAVFrameRate rate) noexcept {
  switch (rate) {
    case WAVFrameRate::fps2397:
    case WAVFrameRate::fps24:
      return MTCFrameRate::fps24;
    case WAVFrameRate::fps25:
      return MTCFrameRate::fps25;
    case WAVFrameRate::fps2997:
      return MTCFrameRate::fps2997;
    case WAVFrameRate::fps30:
      break;
  }
  return MTCFrameRate::fps30;
}

void quantise(std::span<const float> samples, int bitDepth, std::span<std::int32_t> into) noexcept {
  if (bitDepth == 16) {
    constexpr double kFullScale = std::numeric_limits<std::int16_t>::max();
    std::transform(samples.begin(), samples.end(), into.begin(), [](float sample) {
      const double limited = std::clamp(static_cast<double>(sample), -1.0, 1.0);
      return static_cast<std::int32_t>(limited * kFullScale) * 65536;
    });
    return;
  }
  constexpr double kFullScale = 2147483648.0;
  std::transform(samples.begin(), samples.end(), into.begin(), [](float sample) {
    const double scaled = std::max(static_cast<double>(sample), -1.0) * kFullScale;
    return static_cast<std::int32_t>(std::min(scaled, kFullScale - 1));
  });
}

std::optional<std::string> renderWAV(WavFiles& files, const WAVStretch& stretch, const std::filesystem::path& url) {
  const auto generator = LTCAudioGenerator::create(
      wavNumbering(stretch.frameRate), wavFramesPerSecond(stretch.frameRate), stretch.sampleRate, stretch.levelDBFS);
  if (!generator) return "Failed to create LTC encoder.";
  generator->setTimecode(stretch.startTimecode);

  std::unique_ptr<WavFile> file;
  if (const auto error = files.create(url, {stretch.sampleRate, stretch.bitDepth}, file)) return writeFailure(error);
  if (file->bitDepth() != stretch.bitDepth) {
    return formatted("The audio system could not create a %d-bit WAV file.", stretch.bitDepth);
  }
  std::int64_t left = stretch.sampleRate * stretch.durationSeconds;
  std::vector<float> samples;
  std::vector<std::int32_t> quantised;
  while (left > 0) {
    generator->nextFrame(samples);
    if (samples.empty()) return "Failed to allocate audio buffer.";
    const auto count = static_cast<std::size_t>(std::min(left, static_cast<std::int64_t>(samples.size())));
    const std::size_t begin = quantised.size();
    quantised.resize(begin + count);
    quantise(std::span(samples).first(count), stretch.bitDepth, std::span(quantised).subspan(begin));
    left -= static_cast<std::int64_t>(count);
    if (left > 0 && quantised.size() < kWriteSamples) continue;
    if (const auto error = file->write(quantised)) return writeFailure(error);
    quantised.clear();
  }
  if (const auto error = file->close()) return writeFailure(error);
  return std::nullopt;
}

}  // namespace tallyrig
