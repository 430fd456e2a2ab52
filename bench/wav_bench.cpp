// Rendering LTC into a new WAV file, against libltc's encoder alone. Budget: at least 0.7 times its rate.

#include <benchmark/benchmark.h>
#include <ltc.h>

#include <filesystem>
#include <string>

#include "CompareCosts.h"
#include "filetools/WAVRenderer.h"
#include "platform/sndfile/SndfileWavFiles.h"

namespace tallyrig {
namespace {

constexpr int kSampleRate = 48000;
constexpr int kSeconds = 120;

void render(benchmark::State& state) {
  const auto depth = static_cast<int>(state.range(0));
  const auto path = std::filesystem::temp_directory_path() / ("tallyrig-wav-bench-" + std::to_string(depth) + ".wav");
  SndfileWavFiles files;
  const auto bare = [&] {
    LTCEncoder* encoder = ltc_encoder_create(kSampleRate, 25, LTC_TV_625_50, 0);
    for (int frame = 0; frame < kSeconds * 25; ++frame) {
      ltc_encoder_encode_frame(encoder);
      ltcsnd_sample_t* bytes = nullptr;
      benchmark::DoNotOptimize(ltc_encoder_get_bufferptr(encoder, &bytes, 1));
      ltc_encoder_inc_timecode(encoder);
    }
    ltc_encoder_free(encoder);
  };
  const auto ours = [&] {
    const WAVStretch stretch{{}, WAVFrameRate::fps25, kSampleRate, depth, -6, kSeconds};
    if (const auto failure = renderWAV(files, stretch, path)) state.SkipWithError(failure->c_str());
  };
  const auto removed = [&] { std::filesystem::remove(path); };
  compareCosts(state, kSeconds, bare, ours, removed);
  removed();
}

BENCHMARK(render)->Arg(16)->Arg(24)->MinTime(3)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tallyrig

BENCHMARK_MAIN();
