#include "ltc/LTCAudioGenerator.h"

#include <ltc.h>

#include <algorithm>
#include <cmath>

namespace tallyrig {
namespace {

LTC_TV_STANDARD standard(MTCFrameRate rate) {
  switch (rate) {
    case MTCFrameRate::fps24:
      return LTC_TV_FILM_24;
    case MTCFrameRate::fps25:
      return LTC_TV_625_50;
    case MTCFrameRate::fps2997:
    case MTCFrameRate::fps30:
      break;
  }
  return LTC_TV_525_60;
}

}  // namespace

void LTCAudioGenerator::FreeEncoder::operator()(LTCEncoder* encoder) const noexcept {
  ltc_encoder_free(encoder);
}

std::unique_ptr<LTCAudioGenerator> LTCAudioGenerator::create(MTCFrameRate frameRate, double sampleRate,
                                                             double volumeDBFS) {
  return create(frameRate, exactFrameRate(frameRate), sampleRate, volumeDBFS);
}

std::unique_ptr<LTCAudioGenerator> LTCAudioGenerator::create(MTCFrameRate frameRate, double framesPerSecond,
                                                             double sampleRate, double volumeDBFS) {
  if (!std::isfinite(sampleRate)) return nullptr;
  // At 29.97 frames a second the library sets the drop-frame flag and counts so by itself.
  LTCEncoder* encoder = ltc_encoder_create(sampleRate, framesPerSecond, standard(frameRate), 0);
  if (encoder == nullptr) return nullptr;
  ltc_encoder_set_volume(encoder, volumeDBFS);
  return std::unique_ptr<LTCAudioGenerator>(new LTCAudioGenerator(frameRate, encoder));
}

LTCAudioGenerator::LTCAudioGenerator(MTCFrameRate frameRate, LTCEncoder* encoder)
    : frameRate_(frameRate), encoder_(encoder) {}

void LTCAudioGenerator::setTimecode(const Timecode& timecode) {
  SMPTETimecode fields{};
  fields.hours = static_cast<unsigned char>(timecode.hours);
  fields.mins = static_cast<unsigned char>(timecode.minutes);
  fields.secs = static_cast<unsigned char>(timecode.seconds);
  fields.frame = static_cast<unsigned char>(timecode.frames);
  ltc_encoder_set_timecode(encoder_.get(), &fields);
}

LTCAudioGenerator::GeneratedFrame LTCAudioGenerator::nextFrame() {
  SMPTETimecode fields{};
  ltc_encoder_get_timecode(encoder_.get(), &fields);
  GeneratedFrame frame{.timecode = {fields.hours, fields.mins, fields.secs, fields.frame, frameRate_}, .samples = {}};
  const std::span<const std::uint8_t> samples = nextSamples();
  frame.samples.resize(samples.size());
  std::ranges::transform(samples, frame.samples.begin(),
                         [](std::uint8_t sample) { return static_cast<float>(sample - 128) * 0.0078125F; });
  return frame;
}

std::span<const std::uint8_t> LTCAudioGenerator::nextSamples() {
  ltc_encoder_encode_frame(encoder_.get());
  ltcsnd_sample_t* samples = nullptr;
  const int count = ltc_encoder_get_bufferptr(encoder_.get(), &samples, 1);
  ltc_encoder_inc_timecode(encoder_.get());
  return {samples, static_cast<std::size_t>(std::max(count, 0))};
}

}  // namespace tallyrig
