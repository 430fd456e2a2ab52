#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "mtc/MTCQuarterFrame.h"
#include "platform/HostClock.h"
#include "platform/Log.h"
#include "timecode/TimecodeAnchor.h"

namespace tallyrig {

/// Makes an anchor out of eight quarter frames that arrive in ascending order and at a steady pace.
///
/// The timecode of a sequence held true at the time stamp of its piece 0; that is the anchor, some seven quarter frames
/// old when it is issued, and no two frames are added for the transmission. A stream that runs backwards yields
/// nothing. One thread at a time; not real-time safe.
class MTCQuarterFrameDecoder {
 public:
  /// An anchor, the time from piece 0 to piece 7, and the time from piece 7 to now, both in milliseconds.
  using AnchorCallback = std::function<void(const TimecodeAnchor&, double, double)>;

  MTCQuarterFrameDecoder(const HostClock& clock, Log& log) : clock_(clock), log_(log) {}

  /// One quarter frame: its data byte and its packet's time stamp. Stamps may stand still or run backwards; such a
  /// sequence is not steady.
  void process(std::uint8_t dataByte, HostTime hostTime);

  /// Drops the sequence under assembly.
  void reset() noexcept { anchorHostTime_.reset(); }

  AnchorCallback onAnchor;

 private:
  void completeSequence();
  bool isCadenceValid(MTCFrameRate rate) const noexcept;
  void logInvalidCadence(MTCFrameRate rate);

  const HostClock& clock_;
  Log& log_;
  /// When the sequence under assembly began; absent while none is. Without it nothing below means anything.
  std::optional<HostTime> anchorHostTime_;
  HostTime previousHostTime_;
  int lastPiece_ = 0;
  QuarterFrameNibbles values_{};
  /// Seconds between the quarter frames of the sequence whose stamps rose; at most seven.
  std::vector<double> intervals_;
};

}  // namespace tallyrig
