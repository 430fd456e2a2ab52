#include "platform/ffmpeg/FloatSamples.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/samplefmt.h>
}

namespace tallyrig {
namespace {

template <typename Sample>
float toFloat(Sample sample) {
  if constexpr (std::is_floating_point_v<Sample>) {
    return static_cast<float>(sample);
  } else if constexpr (std::is_same_v<Sample, std::uint8_t>) {
    return static_cast<float>(sample - 128) * 0x1p-7F;
  } else {
    return static_cast<float>(static_cast<double>(sample) /
                              (static_cast<double>(std::uint64_t{1} << (sizeof(Sample) * 8 - 1))));
  }
}

template <typename Sample>
void append(const AVFrame& frame, bool planar, std::vector<float>& samples) {
  const auto channels = static_cast<std::size_t>(frame.ch_layout.nb_channels);
  const auto count = static_cast<std::size_t>(frame.nb_samples);
  const std::size_t begin = samples.size();
  samples.resize(begin + count * channels);
  float* into = samples.data() + begin;
  if (!planar) {
    const auto* source = reinterpret_cast<const Sample*>(frame.extended_data[0]);
    for (std::size_t index = 0; index < count * channels; ++index) into[index] = toFloat(source[index]);
    return;
  }
  for (std::size_t channel = 0; channel < channels; ++channel) {
    const auto* source = reinterpret_cast<const Sample*>(frame.extended_data[channel]);
    for (std::size_t index = 0; index < count; ++index) into[index * channels + channel] = toFloat(source[index]);
  }
}

}  // namespace

bool appendFloatSamples(const AVFrame& frame, std::vector<float>& samples) {
  const auto format = static_cast<AVSampleFormat>(frame.format);
  const bool planar = av_sample_fmt_is_planar(format) != 0;
  switch (av_get_packed_sample_fmt(format)) {
    case AV_SAMPLE_FMT_U8:
      append<std::uint8_t>(frame, planar, samples);
      return true;
    case AV_SAMPLE_FMT_S16:
      append<std::int16_t>(frame, planar, samples);
      return true;
    case AV_SAMPLE_FMT_S32:
      append<std::int32_t>(frame, planar, samples);
      return true;
    case AV_SAMPLE_FMT_S64:
      append<std::int64_t>(frame, planar, samples);
      return true;
    case AV_SAMPLE_FMT_FLT:
      append<float>(frame, planar, samples);
      return true;
    case AV_SAMPLE_FMT_DBL:
      append<double>(frame, planar, samples);
      return true;
    default:
      return false;
  }
}

}  // namespace tallyrig
