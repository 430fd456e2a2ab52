#pragma once

#include <sys/types.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <functional>

#include "platform/Log.h"

namespace tallyrig {

/// The desktop's broker for priorities (rtkit, org.freedesktop.RealtimeKit1 on the system's bus), which gives a thread
/// of an ordinary user's program what the system itself would refuse.
class RealtimeKit {
 public:
  /// `bus` is not called before the first thread is raised.
  RealtimeKit(std::function<QDBusConnection()> bus, Log& log);

  /// Asks that a thread of this program get the nice value, or the lowest that the broker allows. After a broker that
  /// is absent, refuses, or leaves one of the two questions unanswered for half a second, a line is logged, and no
  /// further thread is asked for. Blocking; one thread at a time that serves no time.
  void raise(pid_t thread, int niceValue);

 private:
  QDBusMessage lowestNiceValue(const QDBusConnection& bus) const;
  QDBusMessage makeHighPriority(const QDBusConnection& bus, pid_t thread, int niceValue) const;

  const std::function<QDBusConnection()> bus_;
  Log& log_;
  bool refused_ = false;
};

}  // namespace tallyrig
