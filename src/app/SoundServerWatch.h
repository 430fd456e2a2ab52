#pragma once

#include <QObject>
#include <QString>
#include <QtQml>

#include "audio/DeviceRegistry.h"
#include "audio/LTCAudioInputHub.h"
#include "platform/AudioSystem.h"

namespace tallyrig {

/// Tells the window when the sound server is missing, and puts things right when it is back: the device lists are read
/// anew and every device session is built again, so that cards that wait for their device find it. Main thread.
class SoundServerWatch : public QObject {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("Made where the program is put together")
  /// What the user must know about where the devices come from; empty if all is well.
  Q_PROPERTY(QString notice READ notice NOTIFY noticeChanged)

 public:
  SoundServerWatch(AudioSystem& audio, DeviceRegistry& registry, LTCAudioInputHub& hub);

  const QString& notice() const { return notice_; }

 signals:
  void noticeChanged();

 private:
  void check();

  AudioSystem& audio_;
  DeviceRegistry& registry_;
  LTCAudioInputHub& hub_;
  QString notice_;
  Subscription subscription_;
};

}  // namespace tallyrig
