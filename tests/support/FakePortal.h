#pragma once

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QString>
#include <utility>

namespace tallyrig {

/// Answers as a desktop's settings portal does, about light and dark. It leaves the bus with its object.
class FakePortal : public QDBusVirtualObject {
 public:
  /// `scheme` is 0 for no preference, 1 for dark, 2 for light. `ReadOne` came with the portal's second version.
  FakePortal(QDBusConnection bus, unsigned scheme, bool knowsReadOne = true)
      : bus_(std::move(bus)), scheme_(scheme), knowsReadOne_(knowsReadOne) {
    bus_.registerVirtualObject(kPath, this);
    bus_.registerService(kService);
  }
  ~FakePortal() override {
    bus_.unregisterService(kService);
    bus_.unregisterObject(kPath);
  }

  /// Tells all who listen.
  void change(const QString& group, const QString& key, unsigned value) {
    QDBusMessage signal = QDBusMessage::createSignal(kPath, "org.freedesktop.portal.Settings", "SettingChanged");
    signal << group << key << QVariant::fromValue(QDBusVariant(value));
    bus_.send(signal);
  }
  void changeScheme(unsigned scheme) {
    scheme_ = scheme;
    change("org.freedesktop.appearance", "color-scheme", scheme);
  }

  QString introspect(const QString&) const override { return {}; }
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
    const QDBusVariant value(scheme_);
    if (message.arguments() != QVariantList{"org.freedesktop.appearance", "color-scheme"}) return false;
    if (message.member() == "ReadOne" && knowsReadOne_)
      return connection.send(message.createReply(QVariant::fromValue(value)));
    if (message.member() == "Read")
      return connection.send(message.createReply(QVariant::fromValue(QDBusVariant(QVariant::fromValue(value)))));
    return connection.send(message.createErrorReply(QDBusError::UnknownMethod, "no such method"));
  }

 private:
  static constexpr const char* kService = "org.freedesktop.portal.Desktop";
  static constexpr const char* kPath = "/org/freedesktop/portal/desktop";

  QDBusConnection bus_;
  unsigned scheme_;
  bool knowsReadOne_;
};

}  // namespace tallyrig
