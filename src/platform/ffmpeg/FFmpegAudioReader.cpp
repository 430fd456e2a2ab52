#include "platform/ffmpeg/FFmpegAudioReader.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "platform/ffmpeg/FFmpegError.h"
#include "platform/ffmpeg/FloatSamples.h"

namespace tallyrig {
namespace {

// What a compressed stream is decoded ahead of a place until it sounds as if it had been decoded from its beginning:
// more than the bit reservoir of MP3 at its lowest rate, and than the 80 ms of Opus.
constexpr std::int64_t kPrerollFrames = 16384;

AudioFormat formatOf(const AVFrame& frame) {
  return {static_cast<double>(frame.sample_rate), frame.ch_layout.nb_channels};
}

}  // namespace

std::error_code FFmpegAudioReader::open(FFmpegInput& input, AVFormatContext& context, int stream, FFmpegSpan span,
                                        std::unique_ptr<FFmpegAudioReader>& reader) {
  for (unsigned index = 0; index < context.nb_streams; ++index) {
    context.streams[index]->discard = static_cast<int>(index) == stream ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
  }
  std::unique_ptr<FFmpegDecoder> decoder;
  if (const auto error = FFmpegDecoder::open(context, stream, decoder)) return error;
  std::unique_ptr<FFmpegAudioReader> opened(new FFmpegAudioReader(input, context, stream, span, std::move(decoder)));
  if (const auto error = opened->findFirst()) return error;
  reader = std::move(opened);
  return {};
}

FFmpegAudioReader::FFmpegAudioReader(FFmpegInput& input, AVFormatContext& context, int stream, FFmpegSpan span,
                                     std::unique_ptr<FFmpegDecoder> decoder)
    : input_(input), context_(context), stream_(*context.streams[stream]), span_(span), decoder_(std::move(decoder)) {
  format_ = {static_cast<double>(stream_.codecpar->sample_rate), stream_.codecpar->ch_layout.nb_channels};
}

std::error_code FFmpegAudioReader::findFirst() {
  const AVFrame* frame = nullptr;
  if (const auto error = decoder_->next(frame)) return error;
  if (frame != nullptr) format_ = formatOf(*frame);
  if (format_.sampleRate <= 0 || format_.channelCount <= 0) return ffmpegError(AVERROR_INVALIDDATA);
  continuous_ = false;
  return {};
}

std::error_code FFmpegAudioReader::seek(std::int64_t frame) {
  if (input_.isCancelled()) return std::make_error_code(std::errc::operation_canceled);
  if (frame < 0) return std::make_error_code(std::errc::invalid_argument);
  const bool within = continuous_ && frame >= decodedStart_ && frame <= decodedStart_ + decodedFrames();
  if (!within) continuous_ = false;
  position_ = frame;
  return {};
}

std::error_code FFmpegAudioReader::read(std::span<float> samples, std::size_t& frames) {
  frames = 0;
  if (input_.isCancelled()) return std::make_error_code(std::errc::operation_canceled);
  if (!continuous_) {
    if (const auto error = findPosition()) return error;
  }
  while (!ended_ && decodedStart_ + decodedFrames() <= position_) {
    if (const auto error = decode()) return error;
  }
  const auto channels = static_cast<std::int64_t>(format_.channelCount);
  const std::int64_t room = static_cast<std::int64_t>(samples.size()) / channels;
  if (position_ < decodedStart_) {
    // A hole in the sound, such as an empty edit of a movie.
    const std::int64_t count = std::min(room, decodedStart_ - position_);
    std::ranges::fill(samples.first(static_cast<std::size_t>(count * channels)), 0.0F);
    position_ += count;
    frames = static_cast<std::size_t>(count);
    return {};
  }
  const std::int64_t offset = position_ - decodedStart_;
  const std::int64_t count = std::clamp<std::int64_t>(decodedFrames() - offset, 0, room);
  std::copy_n(decoded_.begin() + static_cast<std::ptrdiff_t>(offset * channels), count * channels, samples.begin());
  position_ += count;
  frames = static_cast<std::size_t>(count);
  return {};
}

std::error_code FFmpegAudioReader::findPosition() {
  const bool exact = av_get_exact_bits_per_sample(stream_.codecpar->codec_id) > 0;
  const std::int64_t preroll = exact ? 0 : kPrerollFrames;
  for (const std::int64_t target : {std::max<std::int64_t>(position_ - preroll, 0), std::int64_t{0}}) {
    if (const auto error = jump(target)) return error;
    continuous_ = true;
    if (const auto error = decode()) return error;
    // Some containers come out behind the place. From the beginning the way is long but sure.
    if (decodedStart_ <= position_ || target == 0) break;
  }
  return {};
}

std::error_code FFmpegAudioReader::jump(std::int64_t frame) {
  decoded_.clear();
  decodedStart_ = frame;
  ended_ = false;
  continuous_ = false;
  // The first packets of some streams lie before their beginning, since an encoder's delay is in them.
  const AVRational sampleBase{1, static_cast<int>(format_.sampleRate)};
  const std::int64_t target = frame > 0 ? frame : -kPrerollFrames;
  const std::int64_t timeStamp = span_.origin + av_rescale_q_rnd(target, sampleBase, stream_.time_base, AV_ROUND_DOWN);
  int status = av_seek_frame(&context_, stream_.index, timeStamp, AVSEEK_FLAG_BACKWARD);
  if (status < 0 && frame == 0) status = av_seek_frame(&context_, stream_.index, span_.origin, AVSEEK_FLAG_BACKWARD);
  if (input_.isCancelled()) return std::make_error_code(std::errc::operation_canceled);
  if (status < 0) return ffmpegError(status);
  decoder_->reset();
  return {};
}

std::error_code FFmpegAudioReader::decode() {
  const bool first = decoded_.empty();
  const AVFrame* frame = nullptr;
  do {
    if (const auto error = decoder_->next(frame)) {
      continuous_ = false;
      return error;
    }
    // After a jump only a time stamp tells where it has led to; at the beginning there may be none.
  } while (frame != nullptr && frame->pts == AV_NOPTS_VALUE && first && decodedStart_ > 0);
  if (frame == nullptr) {
    ended_ = true;
    return {};
  }
  if (formatOf(*frame) != format_) return ffmpegError(AVERROR_INPUT_CHANGED);

  const std::int64_t expected = decodedStart_ + decodedFrames();
  std::int64_t start = frame->pts == AV_NOPTS_VALUE ? expected : placeOf(frame->pts);
  // Time stamps that are coarser than the samples jitter.
  const std::int64_t grain = av_rescale_q_rnd(1, stream_.time_base, {1, frame->sample_rate}, AV_ROUND_UP);
  if (!first && std::abs(start - expected) <= grain) start = expected;
  decoded_.clear();
  decodedStart_ = start;
  if (!appendFloatSamples(*frame, decoded_)) return ffmpegError(AVERROR_PATCHWELCOME);
  if (span_.end != AV_NOPTS_VALUE) {
    const std::int64_t left = std::max<std::int64_t>(placeOf(span_.end) - start, 0);
    if (left < decodedFrames()) {
      decoded_.resize(static_cast<std::size_t>(left * format_.channelCount));
      ended_ = true;
    }
  }
  return {};
}

std::int64_t FFmpegAudioReader::placeOf(std::int64_t timeStamp) const {
  return av_rescale_q(timeStamp - span_.origin, stream_.time_base, {1, static_cast<int>(format_.sampleRate)});
}

std::int64_t FFmpegAudioReader::decodedFrames() const {
  return static_cast<std::int64_t>(decoded_.size()) / format_.channelCount;
}

}  // namespace tallyrig
