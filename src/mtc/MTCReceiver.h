#pragma once

#include <QObject>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "audio/AudioDevices.h"
#include "mtc/MTCInputWorker.h"
#include "platform/HostClock.h"
#include "platform/Lifetime.h"
#include "platform/Log.h"
#include "platform/MidiSystem.h"
#include "platform/SerialQueue.h"
#include "timecode/TimecodeAnchor.h"

namespace tallyrig {

/// The live MTC input of one card: one MIDI source, read through a client and a port of its own. Publishes the newest
/// anchor, whether quarter frames are arriving, the sources there are, and the one that is listened to, which is
/// followed by name when it returns under another number.
///
/// Main thread. A failure to set MIDI up is a line in the log and leaves a receiver that hears nothing.
class MTCReceiver : public QObject {
  Q_OBJECT

 public:
  MTCReceiver(const HostClock& clock, Scheduler& scheduler, Log& log, MidiSystem& midi);
  ~MTCReceiver() override;

  /// Lists the sources anew and finds the selected one among them, by number and then by name; a selection that is
  /// not there any more is cleared.
  void refreshSources();

  /// Call `reconnect` after each write.
  void setSelectedSource(std::optional<MIDISourceDevice> source);

  /// Forgets what has been heard of the old source and listens to the selected one. Anchor and `isReceiving` stay as
  /// they are.
  void reconnect();

  const std::vector<MIDISourceDevice>& availableSources() const { return availableSources_; }
  const std::optional<MIDISourceDevice>& selectedSource() const { return selectedSource_; }
  /// The last position: of a sequence at the stamp of its piece 0, of a full frame, or where the code stopped.
  const std::optional<TimecodeAnchor>& currentAnchor() const { return currentAnchor_; }
  /// From the first steady sequence on, until quarter frames time out or a full frame comes.
  bool isReceiving() const { return isReceiving_; }

 signals:
  /// With a sequence `isReceiving` has been written before, and with a full frame too; a position that the code
  /// stopped at comes before `isReceiving` ends.
  void currentAnchorChanged(const tallyrig::TimecodeAnchor& anchor);
  void isReceivingChanged(bool isReceiving);
  void availableSourcesChanged();
  void selectedSourceChanged();

 private:
  MTCInputWorker::Events makeWorkerEvents(SerialQueue& main);
  bool setUpMIDI();
  void connectSelectedSource();
  void disconnectSources();
  void handleAnchor(const TimecodeAnchor& anchor, double spanMilliseconds, double delayMilliseconds);
  void handleFullFrame(const TimecodeAnchor& anchor);
  void handleTimeout(HostTime receipt, double ageMilliseconds);
  void setReceiving(bool receiving);
  void setCurrentAnchor(const TimecodeAnchor& anchor);

  const HostClock& clock_;
  Log& log_;
  MidiSystem& midi_;
  Lifetime lifetime_;

  std::optional<TimecodeAnchor> currentAnchor_;
  bool isReceiving_ = false;
  std::vector<MIDISourceDevice> availableSources_;
  std::optional<MIDISourceDevice> selectedSource_;

  MIDIClientRef midiClient_ = 0;
  MIDIPortRef inputPort_ = 0;
  std::set<MIDIEndpointRef> connectedSources_;
  std::shared_ptr<MTCInputWorker> inputWorker_;
  bool hasLoggedQuarterFrameTiming_ = false;
};

}  // namespace tallyrig
