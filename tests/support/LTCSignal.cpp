#include "support/LTCSignal.h"

#include <algorithm>

namespace tallyrig {
namespace {

/// Generated ahead in pieces, so that a fill is mostly a copy.
constexpr std::int64_t kPiece = 48000;
/// Audio kept behind the newest position asked for.
constexpr std::int64_t kKept = 10 * kPiece;

}  // namespace

LTCSignal::LTCSignal(MTCFrameRate rate, const Timecode& start, double sampleRate, double levelDBFS)
    : generator_(LTCAudioGenerator::create(rate, sampleRate, levelDBFS)) {
  generator_->setTimecode(start);
}

void LTCSignal::generateTo(std::int64_t position) {
  if (generated_ > position) return;
  while (generated_ <= position + kPiece) {
    auto frame = generator_->nextFrame();
    frames_.push_back({generated_, frame.timecode});
    samples_.insert(samples_.end(), frame.samples.begin(), frame.samples.end());
    generated_ += static_cast<std::int64_t>(frame.samples.size());
  }
  const std::int64_t forgotten = position - kKept - firstKept_;
  if (forgotten > kKept) {
    samples_.erase(samples_.begin(), samples_.begin() + forgotten);
    firstKept_ += forgotten;
    std::erase_if(frames_, [this](const Frame& frame) { return frame.start < firstKept_; });
  }
}

void LTCSignal::fill(std::int64_t position, std::span<float> samples) {
  generateTo(position + static_cast<std::int64_t>(samples.size()));
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const std::int64_t at = position + static_cast<std::int64_t>(i);
    samples[i] = at < 0 ? 0.0F : samples_.at(static_cast<std::size_t>(at - firstKept_));
  }
}

const LTCSignal::Frame& LTCSignal::find(std::int64_t position) {
  generateTo(position);
  const auto next = std::upper_bound(frames_.begin(), frames_.end(), position,
                                     [](std::int64_t at, const Frame& frame) { return at < frame.start; });
  return *std::prev(next);
}

Timecode LTCSignal::frameAt(std::int64_t position) {
  return find(position).timecode;
}

std::int64_t LTCSignal::frameStart(std::int64_t position) {
  return find(position).start;
}

}  // namespace tallyrig
