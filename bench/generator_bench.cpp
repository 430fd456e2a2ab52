// Producing LTC frames, against libltc's encoder alone.

#include <benchmark/benchmark.h>
#include <ltc.h>

#include "CompareCosts.h"
#include "ltc/LTCAudioGenerator.h"

namespace tallyrig {
namespace {

constexpr double kSampleRate = 48000;
constexpr int kSeconds = 20;

void generate(benchmark::State& state) {
  std::size_t bareSamples = 0;
  std::size_t ourSamples = 0;
  const auto bare = [&] {
    LTCEncoder* encoder = ltc_encoder_create(kSampleRate, 25, LTC_TV_625_50, 0);
    for (int frame = 0; frame < kSeconds * 25; ++frame) {
      ltc_encoder_encode_frame(encoder);
      ltcsnd_sample_t* bytes = nullptr;
      bareSamples += static_cast<std::size_t>(ltc_encoder_get_bufferptr(encoder, &bytes, 1));
      benchmark::DoNotOptimize(bytes);
      ltc_encoder_inc_timecode(encoder);
    }
    ltc_encoder_free(encoder);
  };
  const auto ours = [&] {
    const auto generator = LTCAudioGenerator::create(MTCFrameRate::fps25, kSampleRate, -6);
    for (int frame = 0; frame < kSeconds * 25; ++frame) {
      const auto next = generator->nextFrame();
      ourSamples += next.samples.size();
      benchmark::DoNotOptimize(next.samples.data());
    }
  };
  compareCosts(state, kSeconds, bare, ours);
  if (bareSamples != ourSamples) state.SkipWithError("the two have not made the same samples");
}

BENCHMARK(generate)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tallyrig

BENCHMARK_MAIN();
