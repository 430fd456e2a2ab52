#pragma once

#include <QObject>
#include <QString>
#include <memory>
#include <optional>
#include <vector>

#include "ltc/LTCOutputGenerator.h"
#include "ltc/LTCReceiver.h"
#include "mtc/MTCOutputGenerator.h"
#include "mtc/MTCReceiver.h"
#include "reader/JamStability.h"
#include "reader/ReaderServices.h"
#include "reader/ReaderSnapshot.h"
#include "timecode/TimecodeAnchor.h"

namespace tallyrig {

/// One card of the wall: its settings, the receiver that feeds it, the output that it drives, and the values that its
/// tile shows. A reader monitors an input and may re-emit it, under jam sync also when the input has gone; a generator
/// has no input and emits from a start value.
///
/// Shared ownership by `ReaderStore`. Main thread.
class ReaderInstance : public QObject, public std::enable_shared_from_this<ReaderInstance> {
  Q_OBJECT
  Q_PROPERTY(QString cardRole READ cardRoleText NOTIFY settingsChanged)
  Q_PROPERTY(QString label READ labelText NOTIFY settingsChanged)
  Q_PROPERTY(QString backgroundColorHex READ backgroundColorHexText NOTIFY settingsChanged)
  Q_PROPERTY(QString sourceType READ sourceTypeText NOTIFY settingsChanged)
  Q_PROPERTY(QString tileSize READ tileSizeText NOTIFY settingsChanged)
  Q_PROPERTY(QString displayMode READ displayModeText NOTIFY settingsChanged)
  Q_PROPERTY(QString outputProtocol READ outputProtocolText NOTIFY settingsChanged)
  /// Empty while absent, like the other names below.
  Q_PROPERTY(QString selectedDeviceName READ selectedDeviceNameText NOTIFY settingsChanged)
  Q_PROPERTY(qint64 selectedChannel READ selectedChannelNumber NOTIFY settingsChanged)
  Q_PROPERTY(QString selectedMIDISourceName READ selectedMIDISourceNameText NOTIFY settingsChanged)
  Q_PROPERTY(QString selectedOutputDeviceName READ selectedOutputDeviceNameText NOTIFY settingsChanged)
  Q_PROPERTY(qint64 selectedOutputChannel READ selectedOutputChannelNumber NOTIFY settingsChanged)
  Q_PROPERTY(QString selectedMIDIDestinationName READ selectedMIDIDestinationNameText NOTIFY settingsChanged)
  /// Input present (reader) or output running (generator).
  Q_PROPERTY(bool isReceiving READ isReceiving NOTIFY isReceivingChanged)
  /// A generator is emitting.
  Q_PROPERTY(bool isGeneratorRunning READ isGeneratorRunning NOTIFY isGeneratorRunningChanged)
  /// Jam sync is switched on.
  Q_PROPERTY(bool isJammed READ isJammed NOTIFY jamChanged)
  Q_PROPERTY(QString jamSyncState READ jamSyncStateText NOTIFY jamChanged)
  /// The card's one warning; empty when all is well.
  Q_PROPERTY(
      QString sourceAvailabilityWarning READ sourceAvailabilityWarningText NOTIFY sourceAvailabilityWarningChanged)
  /// Input peak, 0 to 1.
  Q_PROPERTY(float peakLevel READ peakLevel NOTIFY peakLevelChanged)

 public:
  ReaderInstance(const ReaderServices& services, ReaderSnapshot settings);
  ~ReaderInstance() override;

  /// Begins, or begins anew; always stops first.
  void startMonitoring();
  /// Ends all activity of the card. Its last timecode stays. Safe in any state.
  void stopMonitoring();

  const ReaderSnapshot& settings() const { return settings_; }

  /// Writes one setting and notifies if it changed. Restarts nothing.
  template <typename Value>
  void set(Value ReaderSnapshot::*field, const std::type_identity_t<Value>& value) {
    if (settings_.*field == value) return;
    settings_.*field = value;
    emit settingsChanged();
    emit changed();
  }

  /// Stores the offset and, while LTC is being received, moves the display at once.
  void setLtcFrameOffset(std::int64_t offset);
  /// Stores the choice with the name it has in `devices`, and clears the warning. Restarts nothing.
  void selectInputDevice(std::optional<AudioDeviceID> id, const std::vector<AudioInputDevice>& devices);
  void selectOutputDevice(std::optional<AudioDeviceID> id, const std::vector<AudioOutputDevice>& devices);
  void selectMIDISource(std::optional<MIDIEndpointRef> endpoint, const std::vector<MIDISourceDevice>& sources);

  /// An idle generator shows what it would start at. Does nothing on a reader, nor on a running generator.
  void prepareGeneratorDisplay();
  /// Start and Stop of a generator. LTC ends after the frame on the air; until then the generator counts as running.
  Q_INVOKABLE void toggleGenerator();

  /// Switches jam sync on: once the input has proved stable the output starts there, and it runs on when the input
  /// goes.
  Q_INVOKABLE void enableJam();
  /// Switches jam sync off and stops the output at once.
  Q_INVOKABLE void disableJam();

  /// The last settled value: what the tile shows when it does not extrapolate.
  const std::optional<Timecode>& currentTimecode() const { return currentTimecode_; }
  /// What the tile extrapolates from.
  const std::optional<TimecodeAnchor>& liveAnchor() const { return liveAnchor_; }
  /// What the tile shows at a tick of the render clock.
  std::optional<Timecode> displayedTimecode(HostTime tick) const;

  bool isReceiving() const { return isReceiving_; }
  bool isGeneratorRunning() const { return isGeneratorRunning_; }
  bool isJammed() const { return jamSyncState_ != JamSyncState::off; }
  JamSyncState jamSyncState() const { return jamSyncState_; }
  const std::optional<std::string>& sourceAvailabilityWarning() const { return sourceAvailabilityWarning_; }
  float peakLevel() const { return peakLevel_; }
  const std::optional<MIDIEndpointRef>& selectedMIDIEndpoint() const { return selectedMIDIEndpoint_; }

  QString cardRoleText() const;
  QString labelText() const;
  QString backgroundColorHexText() const;
  QString sourceTypeText() const;
  QString tileSizeText() const;
  QString displayModeText() const;
  QString outputProtocolText() const;
  QString selectedDeviceNameText() const;
  qint64 selectedChannelNumber() const;
  QString selectedMIDISourceNameText() const;
  QString selectedOutputDeviceNameText() const;
  qint64 selectedOutputChannelNumber() const;
  QString selectedMIDIDestinationNameText() const;
  QString sourceAvailabilityWarningText() const;
  QString jamSyncStateText() const;

 signals:
  /// After any change of a setting or of live state; what the store's debounced save listens to.
  void changed();
  void settingsChanged();
  /// `currentTimecode` or `liveAnchor` has changed: once per frame while code is being received.
  void timecodeChanged();
  void isReceivingChanged();
  void isGeneratorRunningChanged();
  void jamChanged();
  void sourceAvailabilityWarningChanged();
  void peakLevelChanged();

 private:
  void startLTCMonitoring();
  void startMTCMonitoring();
  /// Finds the stored device among the receiver's, by number and then by name; writes the warning if it has gone.
  void resolveInputDevice(LTCReceiver& receiver);
  /// The same for the stored MIDI source.
  void resolveMIDISource(MTCReceiver& receiver);
  void startReceiver();
  void handleAnchor(const TimecodeAnchor& anchor);
  void handleReceivingChanged(bool receiving);
  Timecode applyFrameOffset(const Timecode& timecode) const;

  void handleJamAnchor(const TimecodeAnchor& anchor);
  void handleJamReceivingChanged(bool receiving);

  Timecode generatorStartTimecode() const;
  void startGenerator();
  /// The rate of an output that starts from `anchor`.
  MTCFrameRate effectiveOutputRate(const TimecodeAnchor& anchor) const;
  /// Starts the output where `anchor` stands now. Without `restart` an output that runs already is refreshed instead.
  /// A failure leaves its text in the warning.
  void startOutput(const TimecodeAnchor& anchor, bool restart);
  void startLTCOutput(MTCFrameRate rate, const Timecode& target);
  void startMTCOutput(const TimecodeAnchor& anchor);
  /// Whether a start has succeeded; if not, its text becomes the warning and the reservation ends.
  bool adoptOutput(const std::optional<std::string>& errorMessage);
  /// Gives a running output the input's new anchor. LTC runs on its own sample clock and is never nudged.
  void retargetRunningOutput(const TimecodeAnchor& anchor);
  /// What the output says it emits; the display of a generator and of a card under jam sync follows it.
  void handleOutputAnchor(const TimecodeAnchor& anchor);
  /// What the output has to say while it runs. One that has ended by itself is given up.
  void handleOutputState();
  void giveUpMTCOutput();
  /// Ends the output as its protocol ends best: LTC after the frame on the air. The display then holds `at`, or the
  /// last frame sent.
  void stopOutput(const std::optional<Timecode>& at);
  void stopOutputImmediately();
  void forgetOutputSubscriptions();
  bool isOutputRunning() const;
  /// What the card's lines in the log begin with.
  std::string logTag() const;

  /// What a boundary stop was asked for, kept until its completion.
  struct BoundaryStop {
    std::optional<Timecode> at;
    std::int64_t generation = 0;
    std::weak_ptr<LTCOutputGenerator> generator;
  };
  void handleLTCStopCompleted(const Timecode& finalTimecode, const BoundaryStop& request);

  void setTimecode(std::optional<Timecode> current, std::optional<TimecodeAnchor> live);
  void setReceiving(bool receiving);
  void setGeneratorRunning(bool running);
  void setJamSyncState(JamSyncState state);
  void setWarning(std::optional<std::string> warning);
  void setPeakLevel(float level);

  ReaderServices services_;
  ReaderSnapshot settings_;
  std::optional<MIDIEndpointRef> selectedMIDIEndpoint_;

  std::optional<Timecode> currentTimecode_;
  std::optional<TimecodeAnchor> liveAnchor_;
  bool isReceiving_ = false;
  bool isGeneratorRunning_ = false;
  JamSyncState jamSyncState_ = JamSyncState::off;
  std::optional<std::string> sourceAvailabilityWarning_;
  float peakLevel_ = 0;

  std::shared_ptr<LTCReceiver> ltcReceiver_;
  std::shared_ptr<MTCReceiver> mtcReceiver_;
  std::vector<QMetaObject::Connection> receiverConnections_;
  /// The newest anchor that was accepted outside jam sync; never cleared.
  std::optional<TimecodeAnchor> lastConfirmedInputAnchor_;
  JamStability jamStability_;

  std::shared_ptr<LTCOutputGenerator> ltcOutputGenerator_;
  std::shared_ptr<MTCOutputGenerator> mtcOutputGenerator_;
  std::vector<QMetaObject::Connection> outputConnections_;
  /// Rises whenever an output is given up or begun, so that the news of an earlier one can be told as stale.
  std::int64_t outputGeneration_ = 0;
};

}  // namespace tallyrig
