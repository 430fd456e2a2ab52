#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>
#include <cstdint>

#include "platform/AudioSystem.h"
#include "platform/Lifetime.h"
#include "reader/ReaderServices.h"
#include "reader/ReaderStore.h"

namespace tallyrig {

/// Tells the window when the sound server is missing, and puts things right when it is back: the device lists are read
/// anew, every device session is built again, so that cards that wait for their device find it, and cards that did not
/// find theirs at their start are started. A server that returns brings its devices one after the other, so all this
/// waits until the list has been quiet for a while. Main thread.
class SoundServerWatch : public QObject {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("Made where the program is put together")
  /// What the user must know about where the devices come from; empty if all is well.
  Q_PROPERTY(QString notice READ notice NOTIFY noticeChanged)

 public:
  /// Made after the hub, whose own notice of each change comes first.
  SoundServerWatch(AudioSystem& audio, const ReaderServices& services, ReaderStore& store);

  const QString& notice() const { return notice_; }

 signals:
  void noticeChanged();

 private:
  void check();
  void finishReturn();

  AudioSystem& audio_;
  ReaderServices services_;
  ReaderStore& store_;
  QString notice_;
  /// The server is back and its devices are still coming.
  bool isReturning_ = false;
  /// Each new value cancels the pending end of a return.
  std::uint64_t returnGeneration_ = 0;
  Subscription subscription_;
  Lifetime lifetime_;
};

}  // namespace tallyrig
