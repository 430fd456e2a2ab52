#include "platform/ffmpeg/FFmpegAudioFiles.h"

#include <cstdint>
#include <optional>
#include <utility>

#include "platform/ffmpeg/FFmpegMediaFile.h"

namespace tallyrig {
namespace {

class TrackAsFile final : public AudioFile {
 public:
  /// False if the media has no sound that can be decoded.
  bool open(std::unique_ptr<ByteSource> bytes) {
    media_ = std::make_unique<FFmpegMediaFile>(std::move(bytes));
    return !media_->open() && !media_->openAudio(0, reader_) && reader_;
  }

  AudioFormat format() const override { return reader_->format(); }
  std::error_code seek(std::int64_t frame) override {
    position_ = frame;
    return reader_->seek(frame);
  }
  std::error_code read(std::span<float> samples, std::size_t& frames) override {
    const auto error = reader_->read(samples, frames);
    position_ += static_cast<std::int64_t>(frames);
    return error;
  }
  void cancel() noexcept override { reader_->cancel(); }

  /// Counted when it is first asked for.
  std::int64_t frameCount() const override {
    if (!frameCount_) {
      frameCount_ = media_->frameCount(0);
      // The counting has led the file elsewhere. A place behind the end is sure not to be where it was.
      (void)reader_->seek(*frameCount_ + kBehindTheEnd);
      (void)reader_->seek(position_);
    }
    return *frameCount_;
  }

 private:
  static constexpr std::int64_t kBehindTheEnd = 1 << 24;

  std::unique_ptr<FFmpegMediaFile> media_;
  std::unique_ptr<AudioReader> reader_;
  std::int64_t position_ = 0;
  mutable std::optional<std::int64_t> frameCount_;
};

}  // namespace

FFmpegAudioFiles::FFmpegAudioFiles(AudioFiles& first, OpenBytes openBytes)
    : first_(first), openBytes_(std::move(openBytes)) {}

std::error_code FFmpegAudioFiles::open(const std::filesystem::path& path, std::unique_ptr<AudioFile>& file) {
  const auto refusal = first_.open(path, file);
  if (!refusal) return {};
  std::unique_ptr<ByteSource> bytes;
  auto track = std::make_unique<TrackAsFile>();
  if (openBytes_(path, bytes) || !track->open(std::move(bytes))) return refusal;
  file = std::move(track);
  return {};
}

}  // namespace tallyrig
