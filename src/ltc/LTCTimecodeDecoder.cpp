#include "ltc/LTCTimecodeDecoder.h"

#include <ltc.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "timecode/TimecodeAnchor.h"

namespace tallyrig {
namespace {

constexpr int kQueuedFrames = 32;
// libltc wants the expected length of a frame in samples, and adapts to the real one.
constexpr double kExpectedFramesPerSecond = 25.0;

constexpr auto kFullScaleBits = std::bit_cast<std::uint32_t>(1.0F);
constexpr auto kInfinityBits = std::bit_cast<std::uint32_t>(std::numeric_limits<float>::infinity());

// The largest magnitude of the samples, as the bits of a float. For magnitudes the order of the bits is that of the
// numbers, with infinity and NaN above every number, so that one integer pass finds loud and broken samples alike.
std::uint32_t largestMagnitudeBits(std::span<const float> samples) {
  std::uint32_t largest = 0;
  for (const float sample : samples) largest = std::max(largest, std::bit_cast<std::uint32_t>(sample) & 0x7fffffffU);
  return largest;
}

std::optional<Timecode> unpack(const LTCFrame& frame, MTCFrameRate rate) {
  const Timecode timecode{.hours = frame.hours_units + 10 * frame.hours_tens,
                          .minutes = frame.mins_units + 10 * frame.mins_tens,
                          .seconds = frame.secs_units + 10 * frame.secs_tens,
                          .frames = frame.frame_units + 10 * frame.frame_tens,
                          .frameRate = rate};
  if (timecode.frames > maxFrameField(rate) || timecode.seconds > 59 || timecode.minutes > 59 || timecode.hours > 23) {
    return std::nullopt;
  }
  return timecode;
}

}  // namespace

void LTCTimecodeDecoder::FreeDecoder::operator()(LTCDecoder* decoder) const noexcept {
  ltc_decoder_free(decoder);
}

LTCTimecodeDecoder::LTCTimecodeDecoder(const HostClock& clock) : clock_(clock) {}

void LTCTimecodeDecoder::process(std::span<const float> samples, std::optional<HostTime> hostTime, double sampleRate) {
  if (!prepareDecoder(sampleRate)) return;
  const std::int64_t chunkStart = samplePosition_;
  writeSamples(samples);
  std::optional<DecodedFrame> newest = readNewestFrame(sampleRate);
  if (!newest) return;
  if (hostTime) {
    newest->startHostTime = offsetBySamples(*hostTime, newest->startSamplePosition - chunkStart, sampleRate, clock_);
    newest->endHostTime = offsetBySamples(*hostTime, newest->endSamplePosition - chunkStart, sampleRate, clock_);
  }
  if (onTimecode) onTimecode(*newest);
}

void LTCTimecodeDecoder::reset() {
  decoder_.reset();
  currentSampleRate_ = 0;
  samplePosition_ = 0;
  rateLock_.reset();
}

bool LTCTimecodeDecoder::prepareDecoder(double sampleRate) {
  if (decoder_ && sampleRate == currentSampleRate_) return true;
  decoder_.reset();
  const double samplesPerFrame = sampleRate / kExpectedFramesPerSecond;
  // Also refuses NaN. A rate that gives no whole sample a frame is no audio.
  if (!(samplesPerFrame >= 1 && samplesPerFrame <= std::numeric_limits<int>::max())) return false;
  decoder_.reset(ltc_decoder_create(static_cast<int>(samplesPerFrame), kQueuedFrames));
  currentSampleRate_ = sampleRate;
  samplePosition_ = 0;
  return decoder_ != nullptr;
}

void LTCTimecodeDecoder::writeSamples(std::span<const float> samples) {
  std::uint32_t largest = largestMagnitudeBits(samples);
  // libltc reads through a pointer to non-const. Almost every chunk is within full scale and goes to it as it stands.
  auto* source = const_cast<float*>(samples.data());
  if (largest > kFullScaleBits) {
    normalized_.assign(samples.begin(), samples.end());
    if (largest >= kInfinityBits) {
      // A sample that is no number counts as silence, so that neither the peak nor libltc ever sees one.
      std::replace_if(
          normalized_.begin(), normalized_.end(), [](float sample) { return !std::isfinite(sample); }, 0.0F);
      largest = std::max(largestMagnitudeBits(normalized_), kFullScaleBits);
    }
    const auto peak = std::bit_cast<float>(largest);
    for (float& sample : normalized_) sample /= peak;
    source = normalized_.data();
  }
  ltc_decoder_write_float(decoder_.get(), source, samples.size(), samplePosition_);
  samplePosition_ += static_cast<std::int64_t>(samples.size());
}

std::optional<LTCTimecodeDecoder::DecodedFrame> LTCTimecodeDecoder::readNewestFrame(double sampleRate) {
  std::optional<DecodedFrame> newest;
  LTCFrameExt frame{};
  while (ltc_decoder_read(decoder_.get(), &frame) == 1) {
    const auto duration = static_cast<double>(frame.off_end - frame.off_start);
    const MTCFrameRate rate = rateLock_.resolve(observedFrameRate(frame.ltc.dfbit != 0, duration, sampleRate));
    if (const auto timecode = unpack(frame.ltc, rate)) newest = {*timecode, frame.off_start, frame.off_end, {}, {}};
  }
  return newest;
}

}  // namespace tallyrig
