#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stop_token>
#include <vector>

#include "filetools/FileAnalysis.h"
#include "ltc/LTCTimecodeDecoder.h"
#include "platform/AudioFile.h"

namespace tallyrig {

/// The probes of one channel, decoded one after the other by one decoder. One thread.
class ProbeRun {
 public:
  ProbeRun(const HostClock& clock, double sampleRate, std::stop_token stop);

  /// Samples of a channel from the reader's present place on, up to `length`, fewer where the sound ends or cannot be
  /// read further. `fault` tells the two apart. Empty when cancelled.
  std::vector<float> collect(AudioReader& reader, int channel, std::int64_t length, bool& fault) const;

  /// Decodes one probe, which begins at sample `position` of the file, until its first frame, and adds its row. No
  /// samples add an empty row.
  void decode(std::span<const float> samples, std::int64_t position);

  bool isCancelled() const { return stop_.stop_requested(); }
  /// The result of all rows so far, by the first of them with a frame; absent if there is none.
  std::optional<FileAnalysisResult> result() const;

 private:
  struct Anchor {
    Timecode timecode;
    std::int64_t samplePosition = 0;
  };

  const double sampleRate_;
  const std::stop_token stop_;
  LTCTimecodeDecoder decoder_;
  std::vector<ProbeResult> rows_;
  std::optional<Anchor> anchor_;
};

}  // namespace tallyrig
