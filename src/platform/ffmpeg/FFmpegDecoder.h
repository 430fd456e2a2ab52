#pragma once

#include <memory>
#include <system_error>

#include "platform/AudioFile.h"
#include "platform/ffmpeg/FFmpegHandles.h"

namespace tallyrig {

/// Decodes one audio stream of an open file, from wherever the file is read at. One thread at a time.
class FFmpegDecoder {
 public:
  /// On failure `decoder` is empty. `context` must outlive the decoder.
  static std::error_code open(AVFormatContext& context, int stream, std::unique_ptr<FFmpegDecoder>& decoder);

  /// The next frame of sound, valid until the next call; null at the end of the stream. Damage is passed over, unless
  /// there is nothing else for long.
  std::error_code next(const AVFrame*& frame);

  /// Forgets what it has taken in, after the file has been set to another place.
  void reset();

 private:
  FFmpegDecoder(AVFormatContext& context, int stream, FFmpegHandle<AVCodecContext> codec);

  std::error_code feed();

  AVFormatContext& context_;
  const int stream_;
  FFmpegHandle<AVCodecContext> codec_;
  FFmpegHandle<AVPacket> packet_;
  FFmpegHandle<AVFrame> frame_;
  int damagedInARow_ = 0;
};

}  // namespace tallyrig
