#include "mtc/MTCQuarterFrameDecoder.h"

#include <algorithm>
#include <string>

namespace tallyrig {
namespace {

constexpr int kLastPiece = kQuarterFramePieces - 1;
constexpr std::size_t kIntervals = kQuarterFramePieces - 1;
constexpr double kLongestIntervalInPeriods = 2.5;

}  // namespace

void MTCQuarterFrameDecoder::process(std::uint8_t dataByte, HostTime hostTime) {
  const int piece = quarterFramePiece(dataByte);
  if (piece == 0) {
    anchorHostTime_ = hostTime;
    intervals_.clear();
  } else if (!anchorHostTime_ || lastPiece_ != piece - 1) {
    reset();
    return;
  } else if (hostTime > previousHostTime_) {
    intervals_.push_back(clock_.seconds(hostTime - previousHostTime_));
  }
  previousHostTime_ = hostTime;
  lastPiece_ = piece;
  values_.at(static_cast<std::size_t>(piece)) = quarterFrameNibble(dataByte);
  if (piece == kLastPiece) completeSequence();
}

void MTCQuarterFrameDecoder::completeSequence() {
  const TimecodeAnchor anchor{timecodeFromQuarterFrames(values_), *anchorHostTime_};
  reset();
  if (!isCadenceValid(anchor.timecode.frameRate)) {
    logInvalidCadence(anchor.timecode.frameRate);
    return;
  }
  if (!onAnchor) return;
  onAnchor(anchor, clock_.milliseconds(previousHostTime_ - anchor.hostTime),
           clock_.milliseconds(clock_.now() - previousHostTime_));
}

bool MTCQuarterFrameDecoder::isCadenceValid(MTCFrameRate rate) const noexcept {
  const double longest = 1.0 / quarterFramesPerSecond(rate) * kLongestIntervalInPeriods;
  return intervals_.size() == kIntervals &&
         std::all_of(intervals_.begin(), intervals_.end(),
                     [longest](double interval) { return interval > 0 && interval <= longest; });
}

void MTCQuarterFrameDecoder::logInvalidCadence(MTCFrameRate rate) {
  std::string list;
  for (const double interval : intervals_) {
    if (!list.empty()) list += ", ";
    list += formatted("%.1f", interval * 1000.0);
  }
  log_.line(
      formatted("MTCReceiver: rejecting invalid quarter-frame cadence [%s]ms at %s fps", list.c_str(), rateText(rate)));
}

}  // namespace tallyrig
