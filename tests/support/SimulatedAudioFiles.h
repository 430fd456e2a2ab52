#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <vector>

#include "platform/AudioFile.h"

namespace tallyrig {

/// An audio file made up by a test.
struct SimulatedSound {
  double sampleRate = 48000;
  /// The samples of each channel, all of one length.
  std::vector<std::vector<float>> channels;
  /// Reads that reach this frame fail.
  std::int64_t failingFrom = std::numeric_limits<std::int64_t>::max();
};

/// Audio files in memory, by their path; a path without one cannot be opened.
class SimulatedAudioFiles : public AudioFiles {
 public:
  std::error_code open(const std::filesystem::path& path, std::unique_ptr<AudioFile>& file) override {
    ++opens;
    const auto found = files.find(path);
    if (found == files.end()) return std::make_error_code(std::errc::no_such_file_or_directory);
    file = std::make_unique<File>(*this, found->second);
    return {};
  }

  std::map<std::filesystem::path, SimulatedSound> files;
  int opens = 0;
  std::int64_t framesRead = 0;
  std::vector<std::int64_t> seeks;
  /// Called before each read.
  std::function<void()> beforeRead;

 private:
  class File : public AudioFile {
   public:
    File(SimulatedAudioFiles& owner, const SimulatedSound& sound) : owner_(owner), sound_(sound) {}

    AudioFormat format() const override { return {sound_.sampleRate, static_cast<int>(sound_.channels.size())}; }
    std::int64_t frameCount() const override { return static_cast<std::int64_t>(sound_.channels.front().size()); }
    std::error_code seek(std::int64_t frame) override {
      owner_.seeks.push_back(frame);
      position_ = frame;
      return {};
    }
    std::error_code read(std::span<float> samples, std::size_t& frames) override {
      frames = 0;
      if (owner_.beforeRead) owner_.beforeRead();
      if (isCancelled_) return std::make_error_code(std::errc::operation_canceled);
      const std::size_t width = sound_.channels.size();
      const auto room = static_cast<std::int64_t>(samples.size() / width);
      const std::int64_t count = std::clamp<std::int64_t>(frameCount() - position_, 0, room);
      if (position_ + count > sound_.failingFrom) return std::make_error_code(std::errc::io_error);
      for (std::int64_t frame = 0; frame < count; ++frame) {
        for (std::size_t channel = 0; channel < width; ++channel) {
          samples[static_cast<std::size_t>(frame) * width + channel] =
              sound_.channels[channel][static_cast<std::size_t>(position_ + frame)];
        }
      }
      position_ += count;
      owner_.framesRead += count;
      frames = static_cast<std::size_t>(count);
      return {};
    }
    void cancel() noexcept override { isCancelled_ = true; }

   private:
    SimulatedAudioFiles& owner_;
    const SimulatedSound& sound_;
    std::int64_t position_ = 0;
    bool isCancelled_ = false;
  };
};

}  // namespace tallyrig
