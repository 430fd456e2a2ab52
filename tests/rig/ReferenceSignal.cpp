#include "rig/ReferenceSignal.h"

#include <ltc.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <string_view>

namespace tallyrig {
namespace {

struct Rate {
  std::string_view name;
  double framesPerSecond;
  LTC_TV_STANDARD standard;
};

// The encoder sets the drop-frame flag by itself at 29.97.
constexpr std::array<Rate, 4> kRates{{
    {"24", 24.0, LTC_TV_FILM_24},
    {"25", 25.0, LTC_TV_625_50},
    {"29.97df", 30000.0 / 1001.0, LTC_TV_525_60},
    {"30", 30.0, LTC_TV_525_60},
}};

struct DecoderDeleter {
  void operator()(LTCDecoder* decoder) const { ltc_decoder_free(decoder); }
};

struct EncoderDeleter {
  void operator()(LTCEncoder* encoder) const { ltc_encoder_free(encoder); }
};

const Rate* findRate(std::string_view name) {
  for (const Rate& rate : kRates) {
    if (rate.name == name) return &rate;
  }
  return nullptr;
}

std::optional<SMPTETimecode> parseTimecode(const std::string& text) {
  SMPTETimecode value{};
  char rest = 0;
  const int count = std::sscanf(text.c_str(), "%2hhu:%2hhu:%2hhu:%2hhu%c", &value.hours, &value.mins, &value.secs,
                                &value.frame, &rest);
  if (count != 4 || value.hours > 23 || value.mins > 59 || value.secs > 59 || value.frame > 29) return std::nullopt;
  return value;
}

std::string text(const SMPTETimecode& value) {
  std::array<char, 16> buffer{};
  std::snprintf(buffer.data(), buffer.size(), "%02d:%02d:%02d:%02d", value.hours, value.mins, value.secs, value.frame);
  return buffer.data();
}

}  // namespace

std::optional<ReferenceSignal> encodeReference(const ReferenceSpec& signal) {
  const Rate* rate = findRate(signal.rate);
  std::optional<SMPTETimecode> start = parseTimecode(signal.start);
  if (rate == nullptr || !start || signal.frames <= 0 || signal.sampleRate <= 0) return std::nullopt;
  const std::unique_ptr<LTCEncoder, EncoderDeleter> encoder(
      ltc_encoder_create(signal.sampleRate, rate->framesPerSecond, rate->standard, 0));
  if (!encoder) return std::nullopt;
  ltc_encoder_set_volume(encoder.get(), signal.levelDBFS);
  ltc_encoder_set_timecode(encoder.get(), &*start);

  ReferenceSignal result;
  for (int index = 0; index < signal.frames; ++index) {
    SMPTETimecode current{};
    ltc_encoder_get_timecode(encoder.get(), &current);
    result.timecodes.push_back(text(current));
    ltc_encoder_encode_frame(encoder.get());
    ltcsnd_sample_t* bytes = nullptr;
    const int count = ltc_encoder_get_bufferptr(encoder.get(), &bytes, 1);
    for (int sample = 0; sample < count; ++sample) {
      result.samples.push_back(static_cast<float>(bytes[sample] - 128) / 128.0F);
    }
    ltc_encoder_inc_timecode(encoder.get());
  }
  return result;
}

std::vector<std::string> decodeReference(const std::vector<float>& samples, double sampleRate) {
  constexpr std::size_t kChunk = 1024;
  const std::size_t silence = kChunk * 10;
  std::vector<float> line(silence + (samples.size() / kChunk + 1) * kChunk + silence);
  std::copy(samples.begin(), samples.end(), line.begin() + static_cast<std::ptrdiff_t>(silence));
  const std::unique_ptr<LTCDecoder, DecoderDeleter> decoder(ltc_decoder_create(static_cast<int>(sampleRate / 25), 32));
  std::vector<std::string> result;
  for (std::size_t at = 0; at < line.size(); at += kChunk) {
    ltc_decoder_write_float(decoder.get(), line.data() + at, kChunk, static_cast<ltc_off_t>(at));
    LTCFrameExt frame{};
    while (ltc_decoder_read(decoder.get(), &frame) == 1) {
      SMPTETimecode value{};
      ltc_frame_to_time(&value, &frame.ltc, 0);
      result.push_back(text(value));
    }
  }
  return result;
}

}  // namespace tallyrig
