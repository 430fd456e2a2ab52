#include "app/RealtimeKit.h"

#include <QDBusVariant>
#include <algorithm>
#include <utility>

namespace tallyrig {
namespace {

constexpr const char* kService = "org.freedesktop.RealtimeKit1";
constexpr const char* kPath = "/org/freedesktop/RealtimeKit1";
constexpr int kPatienceMilliseconds = 500;

}  // namespace

RealtimeKit::RealtimeKit(std::function<QDBusConnection()> bus, Log& log) : bus_(std::move(bus)), log_(log) {}

void RealtimeKit::raise(pid_t thread, int niceValue) {
  if (refused_) return;
  const QDBusConnection bus = bus_();
  QDBusMessage answer = lowestNiceValue(bus);
  if (answer.type() == QDBusMessage::ReplyMessage) {
    const int lowest = answer.arguments().value(0).value<QDBusVariant>().variant().toInt();
    answer = makeHighPriority(bus, thread, std::max(niceValue, lowest));
  }
  if (answer.type() == QDBusMessage::ReplyMessage) return;
  refused_ = true;
  log_.line(formatted("RealtimeKit: higher priority refused; MTC may be unsteady when the machine is busy (%s)",
                      qPrintable(answer.errorName())));
}

QDBusMessage RealtimeKit::lowestNiceValue(const QDBusConnection& bus) const {
  QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, "org.freedesktop.DBus.Properties", "Get");
  call << QString(kService) << QString("MinNiceLevel");
  return bus.call(call, QDBus::Block, kPatienceMilliseconds);
}

QDBusMessage RealtimeKit::makeHighPriority(const QDBusConnection& bus, pid_t thread, int niceValue) const {
  QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kService, "MakeThreadHighPriority");
  call << static_cast<qulonglong>(thread) << niceValue;
  return bus.call(call, QDBus::Block, kPatienceMilliseconds);
}

}  // namespace tallyrig
