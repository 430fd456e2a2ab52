#include "platform/sndfile/SndfileWavFiles.h"

#include <fcntl.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <span>
#include <utility>
#include <vector>

#include "platform/sndfile/SndfileError.h"

namespace tallyrig {
namespace {

std::error_code lastError() {
  return {errno, std::generic_category()};
}

/// An open file for libsndfile to write to. It keeps the first error of the system, of which the library only notices
/// that bytes were not taken.
class DiskFile {
 public:
  DiskFile() = default;
  ~DiskFile() { close(); }
  DiskFile(const DiskFile&) = delete;
  DiskFile& operator=(const DiskFile&) = delete;

  std::error_code open(const std::filesystem::path& path) {
    // Without O_NONBLOCK the opening of a named pipe waits for a reader.
    number_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0666);
    if (number_ < 0) return lastError();
    struct stat status {};
    if (::fstat(number_, &status) != 0) return lastError();
    if (!S_ISREG(status.st_mode)) return std::make_error_code(std::errc::invalid_argument);
    return ::ftruncate(number_, 0) == 0 ? std::error_code{} : lastError();
  }

  /// Asks for room for so many bytes. Where that cannot be had at once, it is found while writing, or not then.
  void reserve(std::int64_t bytes) {
    ::fallocate(number_, FALLOC_FL_KEEP_SIZE, 0, bytes);
    reserved_ = bytes;
  }

  std::error_code close() {
    if (number_ < 0) return {};
    flush();
    giveRoomBack();
    return ::close(std::exchange(number_, -1)) == 0 || errno == EINTR ? std::error_code{} : lastError();
  }

  sf_count_t length() {
    flush();
    struct stat status {};
    return ::fstat(number_, &status) == 0 ? status.st_size : 0;
  }

  sf_count_t seek(sf_count_t offset, int whence) {
    flush();
    const off_t reached = ::lseek(number_, offset, whence);
    if (reached >= 0) offset_ = reached;
    return reached;
  }

  /// Up to where a page ends at once, and what the library gives beyond that with the next piece: writes that begin or
  /// end within a page are dear. An error shows at the latest in `flush`.
  sf_count_t write(const void* from, sf_count_t size) {
    std::span bytes(static_cast<const char*>(from), static_cast<std::size_t>(size));
    const off_t end = offset_ + static_cast<off_t>(gathered_.size() + bytes.size());
    const off_t boundary = end - end % kPage;
    if (boundary > offset_) {
      const auto first = bytes.first(static_cast<std::size_t>(boundary - offset_) - gathered_.size());
      writeAll({{{gathered_.data(), gathered_.size()}, {const_cast<char*>(first.data()), first.size()}}});
      gathered_.clear();
      bytes = bytes.subspan(first.size());
    }
    gathered_.insert(gathered_.end(), bytes.begin(), bytes.end());
    return failure_ ? 0 : size;
  }

  void flush() {
    writeAll({{{gathered_.data(), gathered_.size()}, {}}});
    gathered_.clear();
  }

  const std::error_code& failure() const { return failure_; }

 private:
  /// A multiple of any page's size; fewer bytes than that are gathered.
  static constexpr off_t kPage = off_t{64} << 10U;

  /// What has not been needed of it. The file is as good where that fails.
  void giveRoomBack() {
    struct stat status {};
    const bool needed = ::fstat(number_, &status) != 0 || status.st_size >= reserved_;
    if (!needed && ::ftruncate(number_, status.st_size) == 0) reserved_ = 0;
  }

  void writeAll(std::array<iovec, 2> parts) {
    while (parts[0].iov_len + parts[1].iov_len > 0 && !failure_) {
      const ssize_t count = ::writev(number_, parts.data(), static_cast<int>(parts.size()));
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) failure_ = lastError();
      if (count == 0) failure_ = std::make_error_code(std::errc::io_error);
      if (count <= 0) return;
      offset_ += count;
      auto written = static_cast<std::size_t>(count);
      for (iovec& part : parts) {
        const std::size_t done = std::min(written, part.iov_len);
        part = {static_cast<char*>(part.iov_base) + done, part.iov_len - done};
        written -= done;
      }
    }
  }

  int number_ = -1;
  /// Where in the file `gathered_` is to begin.
  off_t offset_ = 0;
  std::int64_t reserved_ = 0;
  std::vector<char> gathered_;
  std::error_code failure_;
};

DiskFile& fileOf(void* user) {
  return *static_cast<DiskFile*>(user);
}

SF_VIRTUAL_IO callbacks() {
  return {[](void* user) { return fileOf(user).length(); },
          [](sf_count_t offset, int whence, void* user) { return fileOf(user).seek(offset, whence); },
          [](void*, sf_count_t, void*) -> sf_count_t { return 0; },
          [](const void* from, sf_count_t size, void* user) { return fileOf(user).write(from, size); },
          [](void* user) { return fileOf(user).seek(0, SEEK_CUR); }};
}

class SndfileWavFile final : public WavFile {
 public:
  SndfileWavFile() = default;
  ~SndfileWavFile() override {
    if (sound_ != nullptr) sf_close(sound_);
  }
  SndfileWavFile(const SndfileWavFile&) = delete;
  SndfileWavFile& operator=(const SndfileWavFile&) = delete;

  std::error_code open(const std::filesystem::path& path, WavFormat format) {
    const int depth = format.bitDepth == 16 ? SF_FORMAT_PCM_16 : SF_FORMAT_PCM_24;
    SF_INFO info{};
    info.samplerate = format.sampleRate;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | depth;
    if (sf_format_check(&info) == 0) return sndfileError(SF_ERR_UNSUPPORTED_ENCODING);
    if (const auto error = file_.open(path)) return error;
    if (format.expectedSamples > 0) file_.reserve(format.expectedSamples * (format.bitDepth / 8));
    SF_VIRTUAL_IO io = callbacks();
    sound_ = sf_open_virtual(&io, SFM_WRITE, &info, &file_);
    if (file_.failure()) return file_.failure();
    if (sound_ == nullptr) return sndfileError(sf_error(nullptr));
    bitDepth_ = (info.format & SF_FORMAT_SUBMASK) == SF_FORMAT_PCM_16 ? 16 : 24;
    return {};
  }

  int bitDepth() const override { return bitDepth_; }

  std::error_code write(std::span<const std::uint8_t> samples) override {
    const auto size = static_cast<sf_count_t>(samples.size());
    const sf_count_t count = sf_write_raw(sound_, samples.data(), size);
    if (file_.failure()) return file_.failure();
    return count == size ? std::error_code{} : sndfileError(sf_error(sound_));
  }

  std::error_code close() override {
    // What is still to be written is the header, with the length in it.
    const int number = sf_close(std::exchange(sound_, nullptr));
    const std::error_code closing = file_.close();
    if (file_.failure()) return file_.failure();
    return number == SF_ERR_NO_ERROR ? closing : sndfileError(number);
  }

 private:
  DiskFile file_;
  SNDFILE* sound_ = nullptr;
  int bitDepth_ = 0;
};

}  // namespace

std::error_code SndfileWavFiles::create(const std::filesystem::path& path, WavFormat format,
                                        std::unique_ptr<WavFile>& file) {
  auto opened = std::make_unique<SndfileWavFile>();
  if (const auto error = opened->open(path, format)) return error;
  file = std::move(opened);
  return {};
}

}  // namespace tallyrig
