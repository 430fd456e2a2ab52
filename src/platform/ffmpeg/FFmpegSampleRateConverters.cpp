#include "platform/ffmpeg/FFmpegSampleRateConverters.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace tallyrig {
namespace {

struct FreeContext {
  void operator()(SwrContext* context) const { swr_free(&context); }
};
using Context = std::unique_ptr<SwrContext, FreeContext>;

// The library takes no more at once; a file of more channels has several contexts side by side.
constexpr int kMostChannels = 64;

Context makeContext(int from, int to, int channels) {
  AVChannelLayout layout{};
  layout.order = AV_CHANNEL_ORDER_UNSPEC;
  layout.nb_channels = channels;
  SwrContext* made = nullptr;
  if (swr_alloc_set_opts2(&made, &layout, AV_SAMPLE_FMT_FLT, to, &layout, AV_SAMPLE_FMT_FLT, from, 0, nullptr) < 0) {
    return nullptr;
  }
  Context context(made);
  // Steeper than the library's own choice, so that the cut-off can lie above 20 kHz at 44.1 kHz.
  av_opt_set_int(made, "filter_size", 64, 0);
  av_opt_set_double(made, "cutoff", 0.97, 0);
  av_opt_set_int(made, "linear_interp", 1, 0);
  av_opt_set_int(made, "exact_rational", 1, 0);
  return swr_init(made) < 0 ? nullptr : std::move(context);
}

class Converter final : public SampleRateConverter {
 public:
  Converter(int from, int to, int channelCount) : from_(from), to_(to), channelCount_(channelCount) {
    for (int first = 0; first < channelCount; first += kMostChannels) {
      const int channels = std::min(kMostChannels, channelCount - first);
      groups_.push_back({first, channels, makeContext(from, to, channels)});
    }
  }

  bool isUsable() const {
    return std::all_of(groups_.begin(), groups_.end(), [](const Group& group) { return group.context != nullptr; });
  }

  void convert(std::span<const float> input, std::vector<float>& output) override {
    run(input.data(), static_cast<int>(input.size() / static_cast<std::size_t>(channelCount_)), output);
  }

  void finish(std::vector<float>& output) override { run(nullptr, 0, output); }

 private:
  struct Group {
    int first;
    int channels;
    Context context;
  };

  /// Without input the contexts give what they hold back.
  void run(const float* input, int frames, std::vector<float>& output) {
    const std::int64_t held = swr_get_delay(groups_.front().context.get(), from_);
    const auto room = static_cast<int>((held + frames) * to_ / from_ + 64);
    const std::size_t before = output.size();
    int made = room;
    output.resize(before + static_cast<std::size_t>(room) * static_cast<std::size_t>(channelCount_));
    for (Group& group : groups_) made = std::min(made, runGroup(group, input, frames, output.data() + before, room));
    output.resize(before + static_cast<std::size_t>(std::max(made, 0)) * static_cast<std::size_t>(channelCount_));
  }

  int runGroup(Group& group, const float* input, int frames, float* output, int room) {
    const std::uint8_t* in = nullptr;
    if (groups_.size() == 1) {
      in = reinterpret_cast<const std::uint8_t*>(input);
      auto* out = reinterpret_cast<std::uint8_t*>(output);
      return swr_convert(group.context.get(), &out, room, input == nullptr ? nullptr : &in, frames);
    }
    if (input != nullptr) copyLanes(input + group.first, channelCount_, groupInput_, group.channels, frames);
    groupOutput_.resize(static_cast<std::size_t>(room) * static_cast<std::size_t>(group.channels));
    in = reinterpret_cast<const std::uint8_t*>(groupInput_.data());
    auto* out = reinterpret_cast<std::uint8_t*>(groupOutput_.data());
    const int made = swr_convert(group.context.get(), &out, room, input == nullptr ? nullptr : &in, frames);
    for (int frame = 0; frame < made; ++frame) {
      std::copy_n(groupOutput_.data() + static_cast<std::ptrdiff_t>(frame) * group.channels, group.channels,
                  output + static_cast<std::ptrdiff_t>(frame) * channelCount_ + group.first);
    }
    return made;
  }

  static void copyLanes(const float* from, int fromStride, std::vector<float>& to, int channels, int frames) {
    to.resize(static_cast<std::size_t>(frames) * static_cast<std::size_t>(channels));
    for (int frame = 0; frame < frames; ++frame) {
      std::copy_n(from + static_cast<std::ptrdiff_t>(frame) * fromStride, channels,
                  to.data() + static_cast<std::ptrdiff_t>(frame) * channels);
    }
  }

  const int from_;
  const int to_;
  const int channelCount_;
  std::vector<Group> groups_;
  std::vector<float> groupInput_;
  std::vector<float> groupOutput_;
};

}  // namespace

std::unique_ptr<SampleRateConverter> FFmpegSampleRateConverters::make(double from, double to, int channelCount) {
  const auto isRate = [](double rate) { return rate >= 1 && rate <= 1e7 && rate == std::floor(rate); };
  if (!isRate(from) || !isRate(to) || channelCount < 1) return nullptr;
  auto converter = std::make_unique<Converter>(static_cast<int>(from), static_cast<int>(to), channelCount);
  if (!converter->isUsable()) return nullptr;
  return converter;
}

}  // namespace tallyrig
