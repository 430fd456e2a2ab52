#include "rig/WavFile.h"

#include <sndfile.h>

#include <memory>

namespace tallyrig {
namespace {

struct FileCloser {
  void operator()(SNDFILE* file) const { sf_close(file); }
};

}  // namespace

std::string writeWav(const std::filesystem::path& path, const Sound& sound) {
  SF_INFO info{};
  info.samplerate = static_cast<int>(sound.sampleRate);
  info.channels = 1;
  info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_24;
  SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
  if (file == nullptr) return path.string() + ": " + sf_strerror(nullptr);
  const auto count = static_cast<sf_count_t>(sound.samples.size());
  const bool complete = sf_write_float(file, sound.samples.data(), count) == count;
  const bool closed = sf_close(file) == 0;
  return complete && closed ? "" : path.string() + ": not all of it could be written";
}

std::optional<Sound> readSound(const std::filesystem::path& path) {
  SF_INFO info{};
  const std::unique_ptr<SNDFILE, FileCloser> file(sf_open(path.c_str(), SFM_READ, &info));
  if (!file || info.channels <= 0) return std::nullopt;
  std::vector<float> frames(static_cast<std::size_t>(info.frames * info.channels));
  if (sf_readf_float(file.get(), frames.data(), info.frames) != info.frames) return std::nullopt;
  Sound result;
  result.sampleRate = info.samplerate;
  for (std::size_t index = 0; index < frames.size(); index += static_cast<std::size_t>(info.channels)) {
    result.samples.push_back(frames[index]);
  }
  return result;
}

}  // namespace tallyrig
