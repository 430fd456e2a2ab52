#pragma once

#include <QDBusConnection>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <utility>

namespace tallyrig {

/// A message bus of the test's own, until the object goes or the bus is ended.
class PrivateBus {
 public:
  PrivateBus() {
    daemon_.start("dbus-daemon",
                  {"--session", "--nofork", "--nosyslog", "--print-address", "--address=unix:tmpdir=/tmp"});
    if (daemon_.waitForStarted() && daemon_.waitForReadyRead()) address_ = daemon_.readLine().trimmed();
  }
  ~PrivateBus() {
    for (const QString& name : std::as_const(names_)) QDBusConnection::disconnectFromBus(name);
    end();
  }
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  QString address() const { return address_; }
  /// The connection of this name, made at the first call.
  QDBusConnection connect(const QString& name) {
    names_ << name;
    return QDBusConnection::connectToBus(address_, name);
  }
  /// As when the desktop's session breaks down.
  void end() {
    if (daemon_.state() == QProcess::NotRunning) return;
    daemon_.terminate();
    daemon_.waitForFinished();
  }

 private:
  QProcess daemon_;
  QString address_;
  QStringList names_;
};

}  // namespace tallyrig
