#pragma once

#include <QObject>
#include <memory>

#include "platform/HostClock.h"
#include "platform/Lifetime.h"
#include "platform/Log.h"
#include "platform/SerialQueue.h"

namespace tallyrig {

/// The heartbeat that all tiles repaint from: the host time, about sixty times a second. The time is read on the
/// clock's own queue, so that a busy main thread delays a tick but never falsifies it.
///
/// Main thread.
class TimecodeRenderClock : public QObject {
  Q_OBJECT

 public:
  TimecodeRenderClock(const HostClock& clock, Scheduler& scheduler, Log& log);
  ~TimecodeRenderClock() override;

  /// The last tick.
  HostTime hostTime() const { return hostTime_; }
  /// The same in seconds of the host clock.
  double seconds() const;

 signals:
  void ticked();

 private:
  void publish(HostTime tick);

  const HostClock& clock_;
  Log& log_;
  HostTime hostTime_;
  HostTime lastPublishedHostTime_;
  std::shared_ptr<SerialQueue> queue_;
  std::unique_ptr<RepeatingTimer> timer_;
  Lifetime lifetime_;
};

}  // namespace tallyrig
