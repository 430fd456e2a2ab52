#pragma once

#include "platform/WavFile.h"

namespace tallyrig {

/// WAV files on the machine's own disks.
class SndfileWavFiles final : public WavFiles {
 public:
  std::error_code create(const std::filesystem::path& path, WavFormat format, std::unique_ptr<WavFile>& file) override;
};

}  // namespace tallyrig
