#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "mtc/MTCQuarterFrameDecoder.h"
#include "platform/HostClock.h"
#include "platform/Log.h"
#include "platform/SerialQueue.h"

namespace tallyrig {

/// The half of an MTC receiver that works off the main thread: takes MIDI packets from the reading thread, finds the
/// quarter frames and full frames in them on its own queue, and judges when quarter frames have stopped.
class MTCInputWorker : public std::enable_shared_from_this<MTCInputWorker> {
 public:
  /// Each is called on the worker's queue and may be left empty.
  struct Events {
    /// A steady run of eight quarter frames, see `MTCQuarterFrameDecoder::AnchorCallback`.
    MTCQuarterFrameDecoder::AnchorCallback onAnchor;
    /// A located position, at its packet's time stamp.
    std::function<void(const TimecodeAnchor&)> onFullFrame;
    /// No packet came for a frame's time after a quarter frame. When the last packet came, and how many milliseconds
    /// ago that was.
    std::function<void(HostTime, double)> onTimeout;
  };

  MTCInputWorker(const HostClock& clock, Scheduler& scheduler, Log& log, Events events);

  /// One packet: any MIDI 1.0 bytes and their time stamp. Messages other than quarter frames and full frames are
  /// passed over. MIDI reading thread; does not wait.
  void receive(std::span<const std::uint8_t> bytes, HostTime packetHostTime);

  /// Forgets what has been heard so far and every pending time-out. Main thread.
  void reset();

  /// When the newest packet was received, by the clock and not by its stamp; 0 since `reset`. Any thread.
  HostTime latestPacketReceiptHostTime() const noexcept {
    return latestPacketReceiptHostTime_.load(std::memory_order_acquire);
  }

 private:
  /// A time-out that waits to be judged.
  struct Timeout {
    std::uint64_t generation;
    HostTime receipt;
    HostTime deadline;
    double seconds;
    bool canDefer;
  };

  void walk(std::span<const std::uint8_t> bytes, HostTime packetHostTime, HostTime receipt);
  void endSystemExclusive(HostTime packetHostTime, HostTime receipt);
  void armTimeout(HostTime receipt);
  void schedule(const Timeout& timeout);
  void handleTimeout(Timeout timeout);

  const HostClock& clock_;
  Log& log_;
  const Events events_;
  const std::shared_ptr<SerialQueue> queue_;
  std::atomic<HostTime> latestPacketReceiptHostTime_{HostTime{}};

  // The worker's queue only.
  MTCQuarterFrameDecoder decoder_;
  /// Each new value ends every older pending time-out.
  std::uint64_t timeoutGeneration_ = 0;
  /// Of the last steady sequence.
  MTCFrameRate lastFrameRate_ = MTCFrameRate::fps30;
  /// The system-exclusive message under assembly, from its 0xF0 on; empty while none is open. Only its end, or the
  /// start of another, empties it, so that it grows as long as the message does.
  std::vector<std::uint8_t> sysexBuffer_;
};

}  // namespace tallyrig
