#pragma once

#include <QObject>
#include <QStringList>

#include "audio/DeviceRegistry.h"
#include "reader/DeviceChoice.h"
#include "reader/ReaderSnapshot.h"

namespace tallyrig {

/// The part of a card's settings form that says what the card emits and where to. Main thread.
class OutputSettings : public QObject {
  Q_OBJECT
  /// "Disabled", "LTC" or "MTC".
  Q_PROPERTY(QString outputProtocol READ outputProtocol WRITE setOutputProtocol NOTIFY edited)
  /// What a reader and a generator can be set to, and the place of the choice in either list.
  Q_PROPERTY(QStringList readerRates READ readerRates CONSTANT)
  Q_PROPERTY(QStringList generatorRates READ generatorRates CONSTANT)
  Q_PROPERTY(int readerRateIndex READ readerRateIndex WRITE setReaderRateIndex NOTIFY edited)
  Q_PROPERTY(int generatorRateIndex READ generatorRateIndex WRITE setGeneratorRateIndex NOTIFY edited)
  /// Names, in list order; empty only where none was found.
  Q_PROPERTY(QStringList availableDevices READ availableDevices NOTIFY devicesLoaded)
  Q_PROPERTY(QStringList availableDestinations READ availableDestinations NOTIFY devicesLoaded)
  /// Index into the list, or -1 for none.
  Q_PROPERTY(int deviceIndex READ deviceIndex WRITE setDeviceIndex NOTIFY edited)
  Q_PROPERTY(int destinationIndex READ destinationIndex WRITE setDestinationIndex NOTIFY edited)
  /// Channels that the chosen device offers; 0 without a device.
  Q_PROPERTY(int channelCount READ channelCount NOTIFY channelCountChanged)
  /// Logical channel, from 0.
  Q_PROPERTY(int selectedChannel READ selectedChannel WRITE setSelectedChannel NOTIFY edited)
  /// Whole dBFS, -30 to 0.
  Q_PROPERTY(int level READ level WRITE setLevel NOTIFY edited)

 public:
  /// `draft` is the form's copy of the settings. The lists are empty until `load`.
  explicit OutputSettings(ReaderSnapshot& draft);

  /// Takes the registry's lists and finds the choices in them.
  void load(const DeviceRegistry& registry);
  const std::vector<AudioOutputDevice>& devices() const { return device_.devices(); }

  QString outputProtocol() const;
  void setOutputProtocol(const QString& raw);
  QStringList readerRates() const;
  QStringList generatorRates() const;
  int readerRateIndex() const;
  void setReaderRateIndex(int index);
  int generatorRateIndex() const;
  void setGeneratorRateIndex(int index);
  QStringList availableDevices() const { return device_.names(); }
  QStringList availableDestinations() const { return destination_.names(); }
  int deviceIndex() const { return device_.index(); }
  void setDeviceIndex(int index);
  int destinationIndex() const { return destination_.index(); }
  void setDestinationIndex(int index);
  int channelCount() const;
  int selectedChannel() const;
  void setSelectedChannel(int channel);
  int level() const;
  void setLevel(int level);

 signals:
  void edited();
  void devicesLoaded();
  void channelCountChanged();

 private:
  void takeChoices();

  ReaderSnapshot& draft_;
  OutputDeviceChoice device_;
  MIDIDestinationChoice destination_;
};

}  // namespace tallyrig
