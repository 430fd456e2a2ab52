#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace tallyrig {

/// FFmpeg's objects, freed by FFmpeg.
struct FreeFFmpeg {
  void operator()(AVFormatContext* context) const noexcept { avformat_close_input(&context); }
  void operator()(AVCodecContext* context) const noexcept { avcodec_free_context(&context); }
  void operator()(AVPacket* packet) const noexcept { av_packet_free(&packet); }
  void operator()(AVFrame* frame) const noexcept { av_frame_free(&frame); }
  void operator()(AVIOContext* context) const noexcept {
    // The library may have put a buffer of its own in the place of ours.
    av_freep(&context->buffer);
    avio_context_free(&context);
  }
};

template <typename Object>
using FFmpegHandle = std::unique_ptr<Object, FreeFFmpeg>;

}  // namespace tallyrig
