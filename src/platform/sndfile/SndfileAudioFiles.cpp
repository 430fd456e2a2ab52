#include "platform/sndfile/SndfileAudioFiles.h"

#include <sndfile.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <span>
#include <utility>
#include <vector>

#include "platform/sndfile/SndfileError.h"

namespace tallyrig {
namespace {

// The library's first block after a seek in Vorbis lacks what overlaps it from the block before; no block is longer.
constexpr sf_count_t kOggPreroll = 8192;

// The library looks for the frames of an MP3 by single headers. What it reads in larger pieces needs no help.
constexpr sf_count_t kSmallRead = 4096;
constexpr sf_count_t kWindow = 32768;

/// The bytes of one file as libsndfile reads them.
struct VirtualFile {
  std::unique_ptr<ByteSource> bytes;
  sf_count_t position = 0;
  /// The first thing that went wrong below libsndfile, which itself only notices that bytes are missing.
  std::error_code failure;
  std::atomic<bool> cancelled = false;
  /// Bytes that were read ahead, and the place of the first.
  std::vector<std::uint8_t> window;
  sf_count_t windowStart = 0;

  sf_count_t length() const { return static_cast<sf_count_t>(bytes->size()); }

  sf_count_t seek(sf_count_t offset, int whence) {
    if (whence == SEEK_CUR) offset += position;
    if (whence == SEEK_END) offset += length();
    return position = std::max<sf_count_t>(offset, 0);
  }

  sf_count_t read(void* into, sf_count_t size) {
    size = std::min(size, length() - position);
    if (size <= 0 || failure || cancelled) return 0;
    const std::span<std::uint8_t> room(static_cast<std::uint8_t*>(into), static_cast<std::size_t>(size));
    if (size < kSmallRead && fillWindow(size)) {
      std::copy_n(window.begin() + (position - windowStart), size, room.begin());
    } else {
      failure = bytes->read(static_cast<std::uint64_t>(position), room);
    }
    if (failure) return 0;
    position += size;
    return size;
  }

  /// Whether the next `size` bytes are in the window. Where the file has become shorter they may be there without it.
  bool fillWindow(sf_count_t size) {
    const auto held = static_cast<sf_count_t>(window.size());
    if (position >= windowStart && position + size <= windowStart + held) return true;
    window.resize(static_cast<std::size_t>(std::min(kWindow, length() - position)));
    windowStart = position;
    if (!bytes->read(static_cast<std::uint64_t>(position), window)) return true;
    window.clear();
    return false;
  }
};

VirtualFile& fileOf(void* user) {
  return *static_cast<VirtualFile*>(user);
}

SF_VIRTUAL_IO callbacks() {
  return {[](void* user) { return fileOf(user).length(); },
          [](sf_count_t offset, int whence, void* user) { return fileOf(user).seek(offset, whence); },
          [](void* into, sf_count_t size, void* user) { return fileOf(user).read(into, size); }, nullptr,
          [](void* user) { return fileOf(user).position; }};
}

class SndfileAudioFile final : public AudioFile {
 public:
  explicit SndfileAudioFile(std::unique_ptr<ByteSource> bytes) { file_.bytes = std::move(bytes); }
  ~SndfileAudioFile() override {
    if (sound_ != nullptr) sf_close(sound_);
  }
  SndfileAudioFile(const SndfileAudioFile&) = delete;
  SndfileAudioFile& operator=(const SndfileAudioFile&) = delete;

  std::error_code open() {
    SF_VIRTUAL_IO io = callbacks();
    sound_ = sf_open_virtual(&io, SFM_READ, &info_, &file_);
    if (file_.failure) return file_.failure;
    if (sound_ == nullptr) return sndfileError(sf_error(nullptr));
    const bool sound = info_.samplerate > 0 && info_.channels > 0 && info_.frames >= 0;
    // A length that the library could not find out is one without an end.
    return sound && info_.frames < SF_COUNT_MAX / 2 ? std::error_code{} : sndfileError(SF_ERR_MALFORMED_FILE);
  }

  AudioFormat format() const override { return {static_cast<double>(info_.samplerate), info_.channels}; }
  std::int64_t frameCount() const override { return info_.frames; }

  std::error_code seek(std::int64_t frame) override {
    if (file_.cancelled) return std::make_error_code(std::errc::operation_canceled);
    if (frame < 0) return std::make_error_code(std::errc::invalid_argument);
    const sf_count_t target = std::min<sf_count_t>(frame, info_.frames);
    const bool isOgg = (info_.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_OGG;
    const sf_count_t begin = isOgg ? std::max<sf_count_t>(target - kOggPreroll, 0) : target;
    if (sf_seek(sound_, begin, SEEK_SET) != begin) return failure();
    return passOver(target - begin);
  }

  std::error_code read(std::span<float> samples, std::size_t& frames) override {
    frames = 0;
    if (file_.cancelled) return std::make_error_code(std::errc::operation_canceled);
    const auto room = static_cast<sf_count_t>(samples.size()) / info_.channels;
    const sf_count_t count = sf_readf_float(sound_, samples.data(), room);
    if (file_.cancelled) return std::make_error_code(std::errc::operation_canceled);
    if (file_.failure) return file_.failure;
    if (count < 0 || (count == 0 && sf_error(sound_) != SF_ERR_NO_ERROR)) return failure();
    frames = static_cast<std::size_t>(count);
    return {};
  }

  void cancel() noexcept override { file_.cancelled = true; }

 private:
  std::error_code passOver(sf_count_t count) {
    std::vector<float> room(static_cast<std::size_t>(count * info_.channels));
    return sf_readf_float(sound_, room.data(), count) == count ? std::error_code{} : failure();
  }

  std::error_code failure() const {
    if (file_.failure) return file_.failure;
    const int number = sf_error(sound_);
    return sndfileError(number == SF_ERR_NO_ERROR ? SF_ERR_MALFORMED_FILE : number);
  }

  VirtualFile file_;
  SF_INFO info_{};
  SNDFILE* sound_ = nullptr;
};

}  // namespace

SndfileAudioFiles::SndfileAudioFiles(OpenBytes openBytes) : openBytes_(std::move(openBytes)) {}

std::error_code SndfileAudioFiles::open(const std::filesystem::path& path, std::unique_ptr<AudioFile>& file) {
  std::unique_ptr<ByteSource> bytes;
  if (const auto error = openBytes_(path, bytes)) return error;
  auto opened = std::make_unique<SndfileAudioFile>(std::move(bytes));
  if (const auto error = opened->open()) return error;
  file = std::move(opened);
  return {};
}

}  // namespace tallyrig
