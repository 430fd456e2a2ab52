#pragma once

#include <QObject>
#include <QString>
#include <memory>
#include <optional>
#include <vector>

#include "ltc/LTCReceiver.h"
#include "reader/ReaderServices.h"
#include "reader/ReaderSnapshot.h"
#include "timecode/TimecodeAnchor.h"

namespace tallyrig {

/// One card of the wall: its settings, the receiver that feeds it, and the values that its tile shows.
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
  Q_PROPERTY(bool isReceiving READ isReceiving NOTIFY isReceivingChanged)
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

  /// An idle generator shows what it would start at. Does nothing on a reader.
  void prepareGeneratorDisplay();

  /// The last settled value: what the tile shows when it does not extrapolate.
  const std::optional<Timecode>& currentTimecode() const { return currentTimecode_; }
  /// What the tile extrapolates from.
  const std::optional<TimecodeAnchor>& liveAnchor() const { return liveAnchor_; }
  /// What the tile shows at a tick of the render clock.
  std::optional<Timecode> displayedTimecode(HostTime tick) const;

  bool isReceiving() const { return isReceiving_; }
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

 signals:
  /// After any change of a setting or of live state; what the store's debounced save listens to.
  void changed();
  void settingsChanged();
  /// `currentTimecode` or `liveAnchor` has changed: once per frame while code is being received.
  void timecodeChanged();
  void isReceivingChanged();
  void sourceAvailabilityWarningChanged();
  void peakLevelChanged();

 private:
  void startLTCMonitoring();
  void startMTCMonitoring();
  /// Finds the stored device among the receiver's, by number and then by name; writes the warning if it has gone.
  void resolveInputDevice(LTCReceiver& receiver);
  void startReceiver();
  void handleAnchor(const TimecodeAnchor& anchor);
  void handleReceivingChanged(bool receiving);
  Timecode applyFrameOffset(const Timecode& timecode) const;
  Timecode generatorStartTimecode() const;

  void setTimecode(std::optional<Timecode> current, std::optional<TimecodeAnchor> live);
  void setReceiving(bool receiving);
  void setWarning(std::optional<std::string> warning);
  void setPeakLevel(float level);

  ReaderServices services_;
  ReaderSnapshot settings_;
  std::optional<MIDIEndpointRef> selectedMIDIEndpoint_;

  std::optional<Timecode> currentTimecode_;
  std::optional<TimecodeAnchor> liveAnchor_;
  bool isReceiving_ = false;
  std::optional<std::string> sourceAvailabilityWarning_;
  float peakLevel_ = 0;

  std::shared_ptr<LTCReceiver> ltcReceiver_;
  std::vector<QMetaObject::Connection> receiverConnections_;
  /// The newest anchor that `handleAnchor` accepted; never cleared.
  std::optional<TimecodeAnchor> lastConfirmedInputAnchor_;
};

}  // namespace tallyrig
