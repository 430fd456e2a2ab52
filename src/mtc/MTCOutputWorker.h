#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>

#include "platform/HostClock.h"
#include "platform/Log.h"
#include "platform/MidiSystem.h"
#include "platform/SerialQueue.h"
#include "timecode/TimecodeAnchor.h"

namespace tallyrig {

/// One run of MIDI Time Code to one destination. Every quarter frame is handed to the MIDI service ahead of its time,
/// with its instant; a timer keeps the next 100 ms full. What is sent follows from the anchor and the host time alone,
/// so that a timer that comes late changes nothing until the whole window has run dry.
///
/// A sequence of eight quarter frames carries the timecode that is true at its piece 0. Sequences follow each other
/// from the start on; they are not aligned to the anchor's frames.
///
/// Main thread. The work is done on a queue of its own.
class MTCOutputWorker : public std::enable_shared_from_this<MTCOutputWorker> {
 public:
  using ErrorHandler = std::function<void(PlatformStatus)>;

  /// All outlive the worker's run.
  MTCOutputWorker(const HostClock& clock, Scheduler& scheduler, Log& log, MidiSystem& midi);

  /// Locates the destination and starts the stream; returns when the locate has been sent. A send that fails ends the
  /// stream and calls `onError` on the worker's queue. The worker must be stopped.
  void start(MIDIPortRef outputPort, MIDIEndpointRef destination, const TimecodeAnchor& anchor, ErrorHandler onError);
  /// Ends the stream, and drops what was sent ahead; returns when that is done, with the timecode of the last quarter
  /// frame that was handed to the service.
  std::optional<Timecode> stop();
  /// Has the stream follow another anchor, some time after it returns. A difference of less than two frames is
  /// ignored, so that small corrections do not break the stream; otherwise the destination is located anew. What has
  /// been sent ahead still goes out, and the period of the quarter frames stays as it was at the start.
  void relocate(const TimecodeAnchor& anchor);

 private:
  void follow(const TimecodeAnchor& anchor);
  bool isWithinTolerance(const TimecodeAnchor& anchor) const;
  void refill();
  void restartIfDrained(HostTime now);
  void restartSequence();
  bool sendFullFrame(const Timecode& timecode, HostTime when);
  bool scheduleQuarterFrame(HostTime when);
  bool send(std::span<const std::uint8_t> bytes, HostTime when);

  const HostClock& clock_;
  Log& log_;
  MidiSystem& midi_;
  const std::shared_ptr<SerialQueue> queue_;

  // Own queue only.
  std::unique_ptr<RepeatingTimer> timer_;
  MIDIPortRef outputPort_ = 0;
  MIDIEndpointRef destination_ = 0;
  std::optional<TimecodeAnchor> anchor_;
  HostTime nextPacketHostTime_;
  HostDuration quarterFrameHostTicks_;
  bool hasScheduledPackets_ = false;
  int nextPiece_ = 0;
  /// Shared by the eight pieces under way.
  std::optional<Timecode> sequenceTimecode_;
  std::optional<Timecode> latestScheduledTimecode_;
  ErrorHandler onError_;
};

}  // namespace tallyrig
