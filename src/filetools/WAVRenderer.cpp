#include "filetools/WAVRenderer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

#include "ltc/LTCAudioGenerator.h"
#include "platform/Log.h"

namespace tallyrig {
namespace {

// What is handed to the file at once.
constexpr std::size_t kWriteBytes = std::size_t{512} << 10U;

static_assert(std::endian::native == std::endian::little, "samples are put together as the file has them");

std::string writeFailure(const std::error_code& error) {
  return "Write failed: " + error.message();
}

/// A part of full scale times 32767 lies less than one below the same part of 32768.
void put16(std::span<const std::uint8_t> samples, std::uint8_t* into) noexcept {
  for (std::size_t index = 0; index < samples.size(); ++index) {
    const auto sample = static_cast<std::int16_t>(samples[index] - 128);
    const auto value = static_cast<std::int16_t>(sample * 256 - (sample > 0 ? 1 : 0) + (sample < 0 ? 1 : 0));
    std::memcpy(into + index * sizeof(value), &value, sizeof(value));
  }
}

/// The encoder's bits are the highest eight; eight samples at a time fill three words.
void put24(std::span<const std::uint8_t> samples, std::uint8_t* into) noexcept {
  constexpr std::uint64_t kSigns = 0x8080808080808080;
  for (; samples.size() >= 8; samples = samples.subspan(8)) {
    const auto put = [&](std::uint64_t word) {
      std::memcpy(into, &word, sizeof(word));
      into += sizeof(word);
    };
    std::uint64_t eight = 0;
    std::memcpy(&eight, samples.data(), sizeof(eight));
    eight ^= kSigns;
    put((eight & 0xff) << 16 | (eight & 0xff00) << 32);
    put((eight >> 16 & 0xff) | (eight & 0xff000000) | (eight & 0xff00000000) << 16);
    put((eight >> 32 & 0xff00) | (eight >> 16 & 0xff00000000) | (eight & 0xff00000000000000));
  }
  for (const std::uint8_t sample : samples) {
    const std::array<std::uint8_t, 3> bytes{0, 0, static_cast<std::uint8_t>(sample ^ 0x80)};
    into = std::ranges::copy(bytes, into).out;
  }
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

std::optional<std::string> renderWAV(WavFiles& files, const WAVStretch& stretch, const std::filesystem::path& url) {
  const auto generator = LTCAudioGenerator::create(
      wavNumbering(stretch.frameRate), wavFramesPerSecond(stretch.frameRate), stretch.sampleRate, stretch.levelDBFS);
  if (!generator) return "Failed to create LTC encoder.";
  generator->setTimecode(stretch.startTimecode);

  const std::int64_t total = std::int64_t{stretch.sampleRate} * stretch.durationSeconds;
  std::unique_ptr<WavFile> file;
  if (const auto error = files.create(url, {stretch.sampleRate, stretch.bitDepth, total}, file)) {
    return writeFailure(error);
  }
  if (file->bitDepth() != stretch.bitDepth) {
    return formatted("The audio system could not create a %d-bit WAV file.", stretch.bitDepth);
  }
  const auto bytesPerSample = static_cast<std::size_t>(stretch.bitDepth / 8);
  std::vector<std::uint8_t> bytes(kWriteBytes);
  std::size_t filled = 0;
  for (std::int64_t left = total; left > 0;) {
    std::span<const std::uint8_t> samples = generator->nextSamples();
    if (samples.empty()) return "Failed to allocate audio buffer.";
    if (std::cmp_greater(samples.size(), left)) samples = samples.first(static_cast<std::size_t>(left));
    left -= static_cast<std::int64_t>(samples.size());
    const std::size_t size = samples.size() * bytesPerSample;
    if (filled + size > bytes.size()) {
      if (const auto error = file->write(std::span(bytes).first(filled))) return writeFailure(error);
      filled = 0;
      bytes.resize(std::max(bytes.size(), size));
    }
    putSamples(samples, stretch.bitDepth, std::span(bytes).subspan(filled, size));
    filled += size;
  }
  if (const auto error = file->write(std::span(bytes).first(filled))) return writeFailure(error);
  if (const auto error = file->close()) return writeFailure(error);
  return std::nullopt;
}

void putSamples(std::span<const std::uint8_t> samples, int bitDepth, std::span<std::uint8_t> into) noexcept {
  if (bitDepth == 16) {
    put16(samples, into.data());
  } else {
    put24(samples, into.data());
  }
}

}  // namespace tallyrig
