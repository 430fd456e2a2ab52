#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <utility>

#include "platform/OpenBytes.h"
#include "platform/desktop/LocalUserFiles.h"

namespace tallyrig {

/// The machine's own files, and how much is read of them.
class CountedFiles {
 public:
  OpenBytes opener() {
    return [this](const std::filesystem::path& path, std::unique_ptr<ByteSource>& file) {
      std::unique_ptr<ByteSource> bytes;
      if (const auto error = files_.openForReading(path, bytes)) return error;
      ++opened_;
      file = std::make_unique<Counted>(*this, std::move(bytes));
      return std::error_code{};
    };
  }

  std::uint64_t bytesRead() const { return bytesRead_; }
  int reads() const { return reads_; }
  int opened() const { return opened_; }
  void reset() {
    bytesRead_ = 0;
    reads_ = 0;
    opened_ = 0;
  }

 private:
  class Counted final : public ByteSource {
   public:
    Counted(CountedFiles& owner, std::unique_ptr<ByteSource> bytes) : owner_(owner), bytes_(std::move(bytes)) {}
    std::uint64_t size() const override { return bytes_->size(); }
    std::error_code read(std::uint64_t offset, std::span<std::uint8_t> into) const override {
      owner_.bytesRead_ += into.size();
      ++owner_.reads_;
      return bytes_->read(offset, into);
    }

   private:
    CountedFiles& owner_;
    std::unique_ptr<ByteSource> bytes_;
  };

  LocalUserFiles files_;
  std::uint64_t bytesRead_ = 0;
  int reads_ = 0;
  int opened_ = 0;
};

}  // namespace tallyrig
