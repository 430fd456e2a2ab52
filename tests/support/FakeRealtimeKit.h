#pragma once

#include <sys/types.h>

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QString>
#include <utility>
#include <vector>

namespace tallyrig {

/// Answers as the broker for priorities does, and changes none. It leaves the bus with its object.
class FakeRealtimeKit : public QDBusVirtualObject {
 public:
  enum class Answer { kGrant, kRefusal, kNone };
  struct Behaviour {
    Answer answer = Answer::kGrant;
    int lowest = -15;
  };

  FakeRealtimeKit(QDBusConnection bus, Behaviour behaviour) : bus_(std::move(bus)), behaviour_(behaviour) {
    bus_.registerVirtualObject(kPath, this);
    bus_.registerService(kName);
  }
  ~FakeRealtimeKit() override {
    bus_.unregisterService(kName);
    bus_.unregisterObject(kPath);
  }

  /// For which thread which nice value was asked, in order.
  const std::vector<std::pair<pid_t, int>>& asked() const { return asked_; }

  QString introspect(const QString&) const override { return {}; }
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
    if (message.interface() == "org.freedesktop.DBus.Properties" &&
        message.arguments() == QVariantList{kName, "MinNiceLevel"})
      return connection.send(message.createReply(QVariant::fromValue(QDBusVariant(behaviour_.lowest))));
    if (message.interface() != kName || message.member() != "MakeThreadHighPriority" || message.signature() != "ti")
      return false;
    asked_.emplace_back(message.arguments().at(0).toInt(), message.arguments().at(1).toInt());
    switch (behaviour_.answer) {
      case Answer::kGrant:
        return connection.send(message.createReply());
      case Answer::kRefusal:
        return connection.send(message.createErrorReply(QDBusError::AccessDenied, "Operation not permitted"));
      case Answer::kNone:
        break;
    }
    return true;
  }

 private:
  static constexpr const char* kName = "org.freedesktop.RealtimeKit1";
  static constexpr const char* kPath = "/org/freedesktop/RealtimeKit1";

  QDBusConnection bus_;
  const Behaviour behaviour_;
  std::vector<std::pair<pid_t, int>> asked_;
};

}  // namespace tallyrig
