// Audio samples into the LTC decoder. The first byte chooses the sample rate, the second the size of the chunks, the
// third whether chunks carry a host time, change the sample rate, or are followed by a reset; the rest are samples,
// 32-bit floats as they lie in memory.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <span>
#include <vector>

#include "ltc/LTCTimecodeDecoder.h"
#include "platform/simulated/SimulatedClock.h"

namespace tallyrig {
namespace {

constexpr std::array kSampleRates{8000.0, 44100.0, 48000.0, 96000.0, 192000.0,
                                  0.0,    -8000.0, 30.0,    1e12,    std::numeric_limits<double>::quiet_NaN()};

void require(bool holds) {
  if (!holds) std::abort();
}

void checkFrame(const LTCTimecodeDecoder::DecodedFrame& frame) {
  const Timecode& timecode = frame.timecode;
  require(timecode.hours >= 0 && timecode.hours < 24);
  require(timecode.minutes >= 0 && timecode.minutes < 60);
  require(timecode.seconds >= 0 && timecode.seconds < 60);
  require(timecode.frames >= 0 && timecode.frames <= maxFrameField(timecode.frameRate));
}

void decode(const std::uint8_t* data, std::size_t size) {
  if (size < 3) return;
  double sampleRate = kSampleRates[data[0] % kSampleRates.size()];
  const std::size_t chunkSize = 1 + data[1] * 16;
  const bool hasHostTime = (data[2] & 1) != 0;
  const bool changesRate = (data[2] & 2) != 0;
  const bool resets = (data[2] & 4) != 0;
  std::vector<float> samples((size - 3) / sizeof(float));
  if (!samples.empty()) std::memcpy(samples.data(), data + 3, samples.size() * sizeof(float));

  const SimulatedClock clock({125, 3});
  LTCTimecodeDecoder decoder(clock);
  int reports = 0;
  decoder.onTimecode = [&](const LTCTimecodeDecoder::DecodedFrame& frame) {
    ++reports;
    checkFrame(frame);
    require(frame.startHostTime.has_value() == hasHostTime && frame.endHostTime.has_value() == hasHostTime);
  };
  std::size_t chunkNumber = 0;
  for (std::size_t position = 0; position < samples.size(); position += chunkSize, ++chunkNumber) {
    const std::span<const float> chunk(&samples[position], std::min(chunkSize, samples.size() - position));
    reports = 0;
    decoder.process(chunk, hasHostTime ? std::optional(HostTime{position}) : std::nullopt, sampleRate);
    require(reports <= 1);
    if (changesRate && chunkNumber % 5 == 4) sampleRate = kSampleRates[chunkNumber % kSampleRates.size()];
    if (resets && chunkNumber % 7 == 6) decoder.reset();
  }
}

}  // namespace
}  // namespace tallyrig

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tallyrig::decode(data, size);
  return 0;
}
