#pragma once

#include <QObject>
#include <QStringList>

#include "reader/DeviceChoice.h"
#include "reader/GeneratorStartSettings.h"
#include "reader/OutputSettings.h"
#include "reader/ReaderStore.h"

namespace tallyrig {

/// A private copy of one card's settings, as the settings popover edits it. Nothing reaches the card before `apply`.
///
/// Made when the popover opens and dropped when it closes. Main thread.
class ReaderSettingsForm : public QObject {
  Q_OBJECT
  Q_PROPERTY(QString label READ label WRITE setLabel NOTIFY edited)
  Q_PROPERTY(QString selectedHex READ selectedHex WRITE setSelectedHex NOTIFY edited)
  /// "Reader" or "Generator".
  Q_PROPERTY(QString cardRole READ cardRole WRITE setCardRole NOTIFY edited)
  /// "LTC" or "MTC".
  Q_PROPERTY(QString sourceType READ sourceType WRITE setSourceType NOTIFY edited)
  /// Names, in list order; empty only where none was found.
  Q_PROPERTY(QStringList availableDevices READ availableDevices NOTIFY devicesLoaded)
  Q_PROPERTY(QStringList availableSources READ availableSources NOTIFY devicesLoaded)
  /// Index into the list, or -1 for none.
  Q_PROPERTY(int deviceIndex READ deviceIndex WRITE setDeviceIndex NOTIFY edited)
  Q_PROPERTY(int sourceIndex READ sourceIndex WRITE setSourceIndex NOTIFY edited)
  /// Channels that the chosen device offers; 0 without a device.
  Q_PROPERTY(int channelCount READ channelCount NOTIFY channelCountChanged)
  /// Logical channel, from 0.
  Q_PROPERTY(int selectedChannel READ selectedChannel WRITE setSelectedChannel NOTIFY edited)
  /// "+0 frames", "-3 frames".
  Q_PROPERTY(QString offsetText READ offsetText NOTIFY edited)
  Q_PROPERTY(QStringList palette READ palette CONSTANT)
  Q_PROPERTY(tallyrig::GeneratorStartSettings* generatorStart READ generatorStart CONSTANT)
  Q_PROPERTY(tallyrig::OutputSettings* output READ output CONSTANT)
  /// Why the last `apply` was refused; empty if it was not.
  Q_PROPERTY(QString outputAssignmentWarning READ outputAssignmentWarning NOTIFY outputAssignmentWarningChanged)

 public:
  ReaderSettingsForm(std::shared_ptr<ReaderInstance> reader, ReaderStore& store, const ReaderServices& services);

  /// Enumerates the devices anew and matches the choices to the new lists.
  Q_INVOKABLE void refreshDevices();
  Q_INVOKABLE void changeOffset(int byFrames);
  /// Writes everything to the card, restarts it if its transport changed, and saves. False, and nothing is written, if
  /// another card is set to the same output. A card that has left the wall is left alone.
  Q_INVOKABLE bool apply();

  QString label() const;
  void setLabel(const QString& label);
  QString selectedHex() const;
  void setSelectedHex(const QString& hex);
  QString cardRole() const;
  void setCardRole(const QString& raw);
  QString sourceType() const;
  void setSourceType(const QString& raw);
  QStringList availableDevices() const { return device_.names(); }
  QStringList availableSources() const { return source_.names(); }
  int deviceIndex() const { return device_.index(); }
  void setDeviceIndex(int index);
  int sourceIndex() const { return source_.index(); }
  void setSourceIndex(int index);
  int channelCount() const;
  int selectedChannel() const;
  void setSelectedChannel(int channel);
  QString offsetText() const;
  QStringList palette() const;
  GeneratorStartSettings* generatorStart() { return &generatorStart_; }
  OutputSettings* output() { return &output_; }
  QString outputAssignmentWarning() const { return outputAssignmentWarning_; }

 signals:
  void edited();
  void devicesLoaded();
  void channelCountChanged();
  void outputAssignmentWarningChanged();

 private:
  void loadDevices();
  void takeDevice();
  bool isOnTheWall() const;
  void setOutputAssignmentWarning(const QString& warning);
  void write(const ReaderSnapshot& settings);
  void writeInput(const ReaderSnapshot& settings);
  void writeOutput(const ReaderSnapshot& settings);

  std::shared_ptr<ReaderInstance> reader_;
  ReaderStore& store_;
  ReaderServices services_;
  ReaderSnapshot draft_;
  InputDeviceChoice device_;
  MIDISourceChoice source_;
  GeneratorStartSettings generatorStart_;
  OutputSettings output_;
  QString outputAssignmentWarning_;
};

}  // namespace tallyrig
