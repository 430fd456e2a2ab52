#include "filetools/ProbeRun.h"

#include <algorithm>
#include <utility>

namespace tallyrig {
namespace {

constexpr std::size_t kChunkSamples = 1024;
constexpr std::int64_t kFramesAtOnce = 4096;
// How far libltc may find a frame before its true first sample, as a part of the frame: up to a hundredth was seen.
// Without it a file that begins with the first sample of a frame would be reckoned to begin in the frame before.
constexpr double kEdgeTolerance = 1.0 / 64;

}  // namespace

ProbeRun::ProbeRun(const HostClock& clock, double sampleRate, std::stop_token stop)
    : sampleRate_(sampleRate), stop_(std::move(stop)), decoder_(clock) {}

std::vector<float> ProbeRun::collect(AudioReader& reader, int channel, std::int64_t length, bool& fault) const {
  fault = false;
  const auto channels = static_cast<std::size_t>(reader.format().channelCount);
  std::vector<float> samples;
  samples.reserve(static_cast<std::size_t>(length));
  std::vector<float> piece;
  while (static_cast<std::int64_t>(samples.size()) < length) {
    if (isCancelled()) return {};
    const std::int64_t wanted = std::min(kFramesAtOnce, length - static_cast<std::int64_t>(samples.size()));
    piece.resize(static_cast<std::size_t>(wanted) * channels);
    std::size_t frames = 0;
    fault = static_cast<bool>(reader.read(piece, frames));
    if (fault || frames == 0) break;
    for (std::size_t frame = 0; frame < frames; ++frame) {
      samples.push_back(piece[frame * channels + static_cast<std::size_t>(channel)]);
    }
  }
  return samples;
}

void ProbeRun::decode(std::span<const float> samples, std::int64_t position) {
  std::optional<LTCTimecodeDecoder::DecodedFrame> first;
  decoder_.reset();
  decoder_.onTimecode = [&](const LTCTimecodeDecoder::DecodedFrame& frame) {
    if (!first) first = frame;
  };
  while (!samples.empty() && !first && !isCancelled()) {
    const auto chunk = samples.first(std::min(kChunkSamples, samples.size()));
    decoder_.process(chunk, std::nullopt, sampleRate_);
    samples = samples.subspan(chunk.size());
  }
  decoder_.onTimecode = nullptr;
  auto& row = rows_.emplace_back(ProbeResult{static_cast<double>(position) / sampleRate_, std::nullopt});
  if (!first) return;
  row.timecode = first->timecode;
  if (anchor_) return;
  const auto tolerance =
      static_cast<std::int64_t>(kEdgeTolerance * sampleRate_ / exactFrameRate(first->timecode.frameRate));
  anchor_ = {first->timecode, position + first->startSamplePosition + tolerance};
}

std::optional<FileAnalysisResult> ProbeRun::result() const {
  if (!anchor_) return std::nullopt;
  FileAnalysisResult result;
  result.detectedFrameRate = anchor_->timecode.frameRate;
  result.timecodeAtFileStart = projectToFileStart(anchor_->timecode, anchor_->samplePosition, sampleRate_);
  result.probeResults = rows_;
  return result;
}

}  // namespace tallyrig
