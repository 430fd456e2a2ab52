#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <system_error>

#include "platform/MediaFile.h"

namespace tallyrig {

/// A media file made up by a test: its sound is a formula.
struct SimulatedMedia {
  MediaDescription description;
  AudioFormat format;
  std::int64_t frameCount = 0;
  std::function<float(std::int64_t frame, int channel)> sample;
  std::error_code openError;
  std::error_code audioError;
  bool givesNoReader = false;
  /// The first frame that cannot be read, and why.
  std::int64_t faultAt = std::numeric_limits<std::int64_t>::max();
  std::error_code fault = std::make_error_code(std::errc::io_error);
  /// No read gives more at once.
  std::size_t mostFramesAtOnce = std::numeric_limits<std::size_t>::max();
};

/// Sample value of channel c at frame f: f + 1 + c * 1,000,000, exact in a float for what a test is long.
inline float countedSample(std::int64_t frame, int channel) {
  return static_cast<float>(frame + 1 + channel * 1'000'000);
}

/// A file with one audio track whose samples count themselves.
inline SimulatedMedia countedMedia(double rate, int channels, std::int64_t frames) {
  SimulatedMedia media;
  media.format = {rate, channels};
  media.frameCount = frames;
  media.sample = countedSample;
  media.description.durationSeconds = static_cast<double>(frames) / rate;
  media.description.audioTracks.push_back({media.format});
  return media;
}

/// Media files in memory, by their path; a path without one cannot be opened.
class SimulatedMediaFiles : public MediaFiles {
 public:
  std::error_code open(const std::filesystem::path& path, std::unique_ptr<MediaFile>& file) override {
    ++opens;
    const auto found = files.find(path);
    if (found == files.end()) return std::make_error_code(std::errc::no_such_file_or_directory);
    if (found->second.openError) return found->second.openError;
    file = std::make_unique<File>(*this, found->second);
    return {};
  }

  std::map<std::filesystem::path, SimulatedMedia> files;
  int opens = 0;
  /// Files open and readers alive at present, and calls of `AudioReader::cancel` so far.
  int openFiles = 0;
  int liveReaders = 0;
  int cancels = 0;
  std::int64_t framesRead = 0;
  /// Called before each read.
  std::function<void()> beforeRead;

 private:
  class Reader : public AudioReader {
   public:
    Reader(SimulatedMediaFiles& owner, const SimulatedMedia& media) : owner_(owner), media_(media) {
      ++owner_.liveReaders;
    }
    ~Reader() override { --owner_.liveReaders; }

    AudioFormat format() const override { return media_.format; }

    std::error_code seek(std::int64_t frame) override {
      position_ = frame;
      return isCancelled_ ? std::make_error_code(std::errc::operation_canceled) : std::error_code();
    }

    std::error_code read(std::span<float> samples, std::size_t& frames) override {
      frames = 0;
      if (owner_.beforeRead) owner_.beforeRead();
      if (isCancelled_) return std::make_error_code(std::errc::operation_canceled);
      if (position_ >= media_.faultAt) return media_.fault;
      const auto channels = static_cast<std::size_t>(media_.format.channelCount);
      const std::int64_t left = std::min(media_.frameCount, media_.faultAt) - position_;
      if (left <= 0) return {};
      frames = std::min({samples.size() / channels, static_cast<std::size_t>(left), media_.mostFramesAtOnce});
      for (std::size_t i = 0; i < frames * channels; ++i) {
        samples[i] = media_.sample(position_ + static_cast<std::int64_t>(i / channels), static_cast<int>(i % channels));
      }
      position_ += static_cast<std::int64_t>(frames);
      owner_.framesRead += static_cast<std::int64_t>(frames);
      return {};
    }

    void cancel() noexcept override {
      isCancelled_ = true;
      ++owner_.cancels;
    }

   private:
    SimulatedMediaFiles& owner_;
    const SimulatedMedia& media_;
    std::int64_t position_ = 0;
    std::atomic<bool> isCancelled_{false};
  };

  class File : public MediaFile {
   public:
    File(SimulatedMediaFiles& owner, const SimulatedMedia& media) : owner_(owner), media_(media) { ++owner_.openFiles; }
    ~File() override { --owner_.openFiles; }

    const MediaDescription& description() const override { return media_.description; }

    std::error_code openAudio(std::size_t, std::unique_ptr<AudioReader>& reader) override {
      if (media_.audioError) return media_.audioError;
      if (!media_.givesNoReader) reader = std::make_unique<Reader>(owner_, media_);
      return {};
    }

   private:
    SimulatedMediaFiles& owner_;
    const SimulatedMedia& media_;
  };
};

}  // namespace tallyrig
