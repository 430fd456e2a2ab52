// One LTC reader's decoding, against libltc alone on the same samples in the same chunks.

#include <benchmark/benchmark.h>
#include <ltc.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "CompareCosts.h"
#include "ltc/LTCAudioGenerator.h"
#include "ltc/LTCTimecodeDecoder.h"
#include "platform/simulated/SimulatedClock.h"

namespace tallyrig {
namespace {

constexpr double kSampleRate = 48000;
constexpr int kSeconds = 20;

std::vector<float> code(float gain) {
  const auto generator = LTCAudioGenerator::create(MTCFrameRate::fps25, kSampleRate, -6);
  std::vector<float> samples;
  for (int frame = 0; frame < kSeconds * 25; ++frame) {
    for (const float sample : generator->nextFrame().samples) samples.push_back(sample * gain);
  }
  return samples;
}

template <typename Chunk>
void forEachChunk(std::vector<float>& samples, std::size_t chunkSize, Chunk chunk) {
  for (std::size_t position = 0; position < samples.size(); position += chunkSize) {
    chunk(&samples[position], std::min(chunkSize, samples.size() - position), position);
  }
}

void decode(benchmark::State& state, float gain) {
  const auto chunkSize = static_cast<std::size_t>(state.range(0));
  // Libltc cannot take samples beyond full scale: it gets the same code within it.
  std::vector<float> withinScale = code(std::min(gain, 1.0F));
  std::vector<float> samples = code(gain);
  std::size_t bareFrames = 0;
  std::size_t ourFrames = 0;
  const auto bare = [&] {
    LTCDecoder* decoder = ltc_decoder_create(static_cast<int>(kSampleRate / 25), 32);
    forEachChunk(withinScale, chunkSize, [&](float* chunk, std::size_t count, std::size_t position) {
      ltc_decoder_write_float(decoder, chunk, count, static_cast<ltc_off_t>(position));
      LTCFrameExt frame;
      while (ltc_decoder_read(decoder, &frame) == 1) ++bareFrames;
    });
    ltc_decoder_free(decoder);
  };
  const SimulatedClock clock;
  const auto ours = [&] {
    LTCTimecodeDecoder decoder(clock);
    decoder.onTimecode = [&](const LTCTimecodeDecoder::DecodedFrame&) { ++ourFrames; };
    forEachChunk(samples, chunkSize, [&](float* chunk, std::size_t count, std::size_t position) {
      decoder.process({chunk, count}, HostTime{position * 20833}, kSampleRate);
    });
  };
  compareCosts(state, kSeconds, bare, ours);
  // A chunk longer than a frame reports the newest only.
  if (chunkSize < 1920 && bareFrames != ourFrames) state.SkipWithError("the two have not decoded the same frames");
}

BENCHMARK_CAPTURE(decode, within_full_scale, 1.0F)
    ->Arg(64)
    ->Arg(256)
    ->Arg(1024)
    ->Arg(4096)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decode, above_full_scale, 4.0F)->Arg(256)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tallyrig

BENCHMARK_MAIN();
