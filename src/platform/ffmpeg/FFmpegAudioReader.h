#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/AudioFile.h"
#include "platform/ffmpeg/FFmpegDecoder.h"
#include "platform/ffmpeg/FFmpegInput.h"

namespace tallyrig {

/// Where on its stream's own time line, in units of the stream's time base, an audio track begins and ends.
struct FFmpegSpan {
  std::int64_t origin = 0;
  /// Of the file's sound, what an encoder has added excluded; `AV_NOPTS_VALUE` if only the decoding can tell.
  std::int64_t end = AV_NOPTS_VALUE;
};

/// Puts what an audio track decodes to in its place, sample for sample, by the time stamps.
class FFmpegAudioReader final : public AudioReader {
 public:
  /// Decodes the first of the track to learn its format. On failure `reader` is empty. All that is given must outlive
  /// the reader.
  static std::error_code open(FFmpegInput& input, AVFormatContext& context, int stream, FFmpegSpan span,
                              std::unique_ptr<FFmpegAudioReader>& reader);

  AudioFormat format() const override { return format_; }
  std::error_code seek(std::int64_t frame) override;
  std::error_code read(std::span<float> samples, std::size_t& frames) override;
  void cancel() noexcept override { input_.cancel(); }

 private:
  FFmpegAudioReader(FFmpegInput& input, AVFormatContext& context, int stream, FFmpegSpan span,
                    std::unique_ptr<FFmpegDecoder> decoder);

  std::error_code findFirst();
  std::error_code findPosition();
  std::error_code jump(std::int64_t frame);
  std::error_code decode();
  std::int64_t placeOf(std::int64_t timeStamp) const;
  std::int64_t decodedFrames() const;

  FFmpegInput& input_;
  AVFormatContext& context_;
  AVStream& stream_;
  const FFmpegSpan span_;
  std::unique_ptr<FFmpegDecoder> decoder_;
  AudioFormat format_;
  /// The next frame to be handed out.
  std::int64_t position_ = 0;
  /// What has been decoded and not handed out, and the place of its first frame.
  std::vector<float> decoded_;
  std::int64_t decodedStart_ = 0;
  /// Whether the decoder stands where `decoded_` ends.
  bool continuous_ = false;
  bool ended_ = false;
};

}  // namespace tallyrig
