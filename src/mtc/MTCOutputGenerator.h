#pragma once

#include <QObject>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "audio/AudioDevices.h"
#include "mtc/MIDIOutputPortManager.h"
#include "mtc/MTCOutputWorker.h"
#include "platform/HostClock.h"
#include "platform/Lifetime.h"
#include "platform/Log.h"
#include "platform/MidiSystem.h"
#include "platform/SerialQueue.h"
#include "timecode/TimecodeAnchor.h"

namespace tallyrig {

/// MIDI Time Code to one destination, as a card drives it: start, correct the anchor, stop. All generators send through
/// the one port of the `MIDIOutputPortManager`.
///
/// Main thread.
class MTCOutputGenerator : public QObject {
  Q_OBJECT

 public:
  /// All outlive the generator.
  MTCOutputGenerator(const HostClock& clock, Scheduler& scheduler, Log& log, MidiSystem& midi,
                     MIDIOutputPortManager& ports);
  ~MTCOutputGenerator() override;

  /// Starts, or starts anew, at the timecode of `anchor`. The destination is found by its exact name, or else without
  /// regard to case and to blanks around it; of several the first. A failure leaves a text in `errorMessage`.
  void start(const std::string& destinationName, const TimecodeAnchor& anchor);
  /// Has a running stream follow another anchor. Corrections of less than two frames change `currentAnchor` only.
  void update(const TimecodeAnchor& anchor);
  /// Stops at once; nothing that was sent ahead goes out any more. The error message stays.
  void stop();

  /// Read at each start, and filled by the owner.
  std::vector<MIDIDestinationDevice> availableDestinations;

  /// What the stream is meant to follow, also where it ignores a small correction; absent once stopped.
  const std::optional<TimecodeAnchor>& currentAnchor() const { return currentAnchor_; }
  bool isGenerating() const { return isGenerating_; }
  const std::optional<std::string>& errorMessage() const { return errorMessage_; }

 signals:
  void currentAnchorChanged(const tallyrig::TimecodeAnchor& anchor);
  void stateChanged();

 private:
  /// The output port, built if there is none; 0 leaves the reason in `errorMessage_`.
  MIDIPortRef openPort();
  const MIDIDestinationDevice* findDestination(const std::string& name) const;
  void run(MIDIPortRef port, const MIDIDestinationDevice& destination, const TimecodeAnchor& anchor);
  void handleSendFailure(PlatformStatus status);

  SerialQueue& main_;
  Log& log_;
  MidiSystem& midi_;
  MIDIOutputPortManager& ports_;
  Lifetime lifetime_;

  std::optional<TimecodeAnchor> currentAnchor_;
  bool isGenerating_ = false;
  std::optional<std::string> errorMessage_;

  const std::shared_ptr<MTCOutputWorker> worker_;
  /// Counts the starts: a failure of an earlier one that is still on its way is not taken for the present one's.
  std::uint64_t run_ = 0;
};

}  // namespace tallyrig
