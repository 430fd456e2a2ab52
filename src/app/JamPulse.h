#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QPointer>

#include "timecode/TimecodeRenderClock.h"

namespace tallyrig {

/// The slow breathing by which jammed cards are told from others, one for the whole wall. It follows the tick that the
/// digits follow, so it costs no frame of its own. Main thread.
class JamPulse : public QObject {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(tallyrig::TimecodeRenderClock* renderClock READ renderClock WRITE setRenderClock NOTIFY renderClockChanged
                 REQUIRED)
  /// 0 to 1 and back, easing in and out, 0.7 seconds each way.
  Q_PROPERTY(qreal phase READ phase NOTIFY phaseChanged)

 public:
  using QObject::QObject;

  /// The phase at a time in seconds.
  static qreal phaseAt(double seconds);

  TimecodeRenderClock* renderClock() const { return renderClock_; }
  void setRenderClock(TimecodeRenderClock* renderClock);
  qreal phase() const { return phase_; }

 signals:
  void renderClockChanged();
  void phaseChanged();

 private:
  void follow();

  QPointer<TimecodeRenderClock> renderClock_;
  QMetaObject::Connection tickConnection_;
  qreal phase_ = 1;
};

}  // namespace tallyrig
