// Jam sync of a card: it locks to a stable input, starts its output there and runs on when the input goes.

#include "reader/ReaderInstance.h"

namespace tallyrig {
namespace {

/// How many anchors in a row must agree. One of MTC stands for two frames, one of LTC for one.
std::int64_t requiredAnchors(SourceType source) {
  return source == SourceType::ltc ? 3 : 2;
}

}  // namespace

void ReaderInstance::enableJam() {
  if (isJammed()) return;
  jamStability_.reset();
  if (!liveAnchor_) {
    setJamSyncState(JamSyncState::waiting);
    return;
  }
  setJamSyncState(JamSyncState::acquiring);
  // The offset is applied a second time to this one anchor; those that follow come from the receiver without it.
  handleJamAnchor(*liveAnchor_);
}

void ReaderInstance::handleJamAnchor(const TimecodeAnchor& anchor) {
  const TimecodeAnchor candidate{applyFrameOffset(anchor.timecode), anchor.hostTime};
  setTimecode(currentTimecode_, candidate);
  if (jamSyncState_ == JamSyncState::waiting) setJamSyncState(JamSyncState::acquiring);
  jamStability_.add(candidate, services_.clock);
  if (jamStability_.count() < requiredAnchors(settings_.sourceType)) return;

  switch (jamSyncState_) {
    case JamSyncState::acquiring:
    case JamSyncState::reacquiring:
      setTimecode(candidate.extrapolated(services_.clock.now(), services_.clock), liveAnchor_);
      startOutput(candidate, true);
      setJamSyncState(JamSyncState::locked);
      break;
    case JamSyncState::locked:
      retargetRunningOutput(candidate);
      break;
    case JamSyncState::off:
    case JamSyncState::waiting:
    case JamSyncState::freewheeling:
      break;
  }
}

void ReaderInstance::handleJamReceivingChanged(bool receiving) {
  if (receiving) {
    if (jamSyncState_ != JamSyncState::freewheeling) return;
    jamStability_.restart();
    setJamSyncState(JamSyncState::reacquiring);
  } else if (jamSyncState_ == JamSyncState::locked || jamSyncState_ == JamSyncState::reacquiring) {
    setJamSyncState(JamSyncState::freewheeling);
  }
}

void ReaderInstance::disableJam() {
  if (!isJammed()) return;
  stopOutputImmediately();
  jamStability_.reset();
  setJamSyncState(JamSyncState::off);
  if (isReceiving_ && liveAnchor_) {
    setTimecode(liveAnchor_->extrapolated(services_.clock.now(), services_.clock), liveAnchor_);
  }
}

}  // namespace tallyrig
