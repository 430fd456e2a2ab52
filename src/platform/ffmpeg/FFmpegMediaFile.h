#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "platform/MediaFile.h"
#include "platform/ffmpeg/FFmpegInput.h"

namespace tallyrig {

/// A media file of any container that FFmpeg reads.
class FFmpegMediaFile final : public MediaFile {
 public:
  explicit FFmpegMediaFile(std::unique_ptr<ByteSource> bytes) : input_(std::move(bytes)) {}

  /// To be called once, before all else.
  std::error_code open();
  const MediaDescription& description() const override { return description_; }
  std::error_code openAudio(std::size_t track, std::unique_ptr<AudioReader>& reader) override;

  /// The length of an audio track. Where the file does not tell, as in a bare stream of packets, the whole of it is
  /// read to count them, and not decoded; its reader must be sought after that. Ends early when the reader is
  /// cancelled.
  std::int64_t frameCount(std::size_t track);

 private:
  std::error_code learnFormats();
  void describe();
  std::int64_t countedFrames(const AVStream& stream);

  FFmpegInput input_;
  FFmpegHandle<AVFormatContext> context_;
  MediaDescription description_;
  /// The stream of each audio track.
  std::vector<int> audioStreams_;
};

}  // namespace tallyrig
