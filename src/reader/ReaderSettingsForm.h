#pragma once

#include <QObject>
#include <QVariantList>

#include "reader/ReaderStore.h"

namespace tallyrig {

/// A private copy of one card's settings, as the settings popover edits it. Nothing reaches the card before `apply`.
///
/// Made when the popover opens and dropped when it closes. Main thread.
class ReaderSettingsForm : public QObject {
  Q_OBJECT
  Q_PROPERTY(QString label MEMBER label_ NOTIFY edited)
  Q_PROPERTY(QString selectedHex MEMBER selectedHex_ NOTIFY edited)
  /// "Reader" or "Generator".
  Q_PROPERTY(QString cardRole READ cardRole WRITE setCardRole NOTIFY edited)
  /// "LTC" or "MTC".
  Q_PROPERTY(QString sourceType READ sourceType WRITE setSourceType NOTIFY edited)
  /// Objects with `name`, in list order.
  Q_PROPERTY(QVariantList availableDevices READ availableDevices NOTIFY devicesLoaded)
  Q_PROPERTY(QVariantList availableSources READ availableSources NOTIFY devicesLoaded)
  /// Index into the list, or -1 for none.
  Q_PROPERTY(int deviceIndex READ deviceIndex WRITE setDeviceIndex NOTIFY edited)
  Q_PROPERTY(int sourceIndex READ sourceIndex WRITE setSourceIndex NOTIFY edited)
  /// Channels that the chosen device offers; 0 without a device.
  Q_PROPERTY(int channelCount READ channelCount NOTIFY edited)
  /// Logical channel, from 0.
  Q_PROPERTY(int selectedChannel READ selectedChannel WRITE setSelectedChannel NOTIFY edited)
  /// "+0 frames", "-3 frames".
  Q_PROPERTY(QString offsetText READ offsetText NOTIFY edited)
  Q_PROPERTY(QStringList palette READ palette CONSTANT)

 public:
  ReaderSettingsForm(std::shared_ptr<ReaderInstance> reader, ReaderStore& store, const ReaderServices& services);

  /// Enumerates the devices anew and matches the choices to the new lists.
  Q_INVOKABLE void refreshDevices();
  Q_INVOKABLE void changeOffset(int byFrames);
  /// Writes everything to the card, restarts it if its transport changed, and saves. False if it was refused.
  Q_INVOKABLE bool apply();

  QString cardRole() const;
  void setCardRole(const QString& raw);
  QString sourceType() const;
  void setSourceType(const QString& raw);
  QVariantList availableDevices() const;
  QVariantList availableSources() const;
  int deviceIndex() const;
  void setDeviceIndex(int index);
  int sourceIndex() const;
  void setSourceIndex(int index);
  int channelCount() const;
  int selectedChannel() const { return static_cast<int>(selectedChannel_); }
  void setSelectedChannel(int channel);
  QString offsetText() const;
  QStringList palette() const;

 signals:
  void edited();
  void devicesLoaded();

 private:
  void loadDevices();
  /// A chosen device that is not connected now stays in the list, so that applying the form does not forget it.
  void rememberMissingDevice();
  bool needsRestart() const;

  std::shared_ptr<ReaderInstance> reader_;
  ReaderStore& store_;
  ReaderServices services_;
  QString label_;
  QString selectedHex_;
  CardRole cardRole_;
  SourceType sourceType_;
  std::vector<AudioInputDevice> devices_;
  std::optional<AudioDeviceID> selectedDeviceID_;
  std::int64_t selectedChannel_;
  std::int64_t ltcFrameOffset_;
  std::vector<MIDISourceDevice> sources_;
  std::optional<MIDIEndpointRef> selectedEndpoint_;
};

}  // namespace tallyrig
