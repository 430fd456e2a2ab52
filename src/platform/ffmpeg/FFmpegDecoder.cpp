#include "platform/ffmpeg/FFmpegDecoder.h"

#include <utility>

#include "platform/ffmpeg/FFmpegError.h"

namespace tallyrig {
namespace {

constexpr int kMostDamagedInARow = 64;

}  // namespace

std::error_code FFmpegDecoder::open(AVFormatContext& context, int stream, std::unique_ptr<FFmpegDecoder>& decoder) {
  const AVStream& track = *context.streams[stream];
  const AVCodec* codec = avcodec_find_decoder(track.codecpar->codec_id);
  if (codec == nullptr) return ffmpegError(AVERROR_DECODER_NOT_FOUND);
  FFmpegHandle<AVCodecContext> opened(avcodec_alloc_context3(codec));
  if (!opened) return std::make_error_code(std::errc::not_enough_memory);
  if (const int status = avcodec_parameters_to_context(opened.get(), track.codecpar); status < 0) {
    return ffmpegError(status);
  }
  // Lets the decoder drop an encoder's delay from the sound and set the time stamps right.
  opened->pkt_timebase = track.time_base;
  opened->thread_count = 1;
  if (const int status = avcodec_open2(opened.get(), codec, nullptr); status < 0) return ffmpegError(status);
  decoder.reset(new FFmpegDecoder(context, stream, std::move(opened)));
  if (!decoder->packet_ || !decoder->frame_) {
    decoder.reset();
    return std::make_error_code(std::errc::not_enough_memory);
  }
  return {};
}

FFmpegDecoder::FFmpegDecoder(AVFormatContext& context, int stream, FFmpegHandle<AVCodecContext> codec)
    : context_(context),
      stream_(stream),
      codec_(std::move(codec)),
      packet_(av_packet_alloc()),
      frame_(av_frame_alloc()) {}

std::error_code FFmpegDecoder::next(const AVFrame*& frame) {
  frame = nullptr;
  while (true) {
    const int status = avcodec_receive_frame(codec_.get(), frame_.get());
    if (status == 0) {
      damagedInARow_ = 0;
      frame = frame_.get();
      return {};
    }
    if (status == AVERROR_EOF) return {};
    if (status != AVERROR(EAGAIN) && ++damagedInARow_ > kMostDamagedInARow) return ffmpegError(status);
    if (const auto error = feed()) return error;
  }
}

std::error_code FFmpegDecoder::feed() {
  int status = av_read_frame(&context_, packet_.get());
  if (status == AVERROR_EOF) {
    avcodec_send_packet(codec_.get(), nullptr);
    return {};
  }
  if (status < 0) return ffmpegError(status);
  if (packet_->stream_index == stream_) {
    status = avcodec_send_packet(codec_.get(), packet_.get());
    if (status < 0 && ++damagedInARow_ > kMostDamagedInARow) {
      av_packet_unref(packet_.get());
      return ffmpegError(status);
    }
  }
  av_packet_unref(packet_.get());
  return {};
}

void FFmpegDecoder::reset() {
  avcodec_flush_buffers(codec_.get());
  damagedInARow_ = 0;
}

}  // namespace tallyrig
