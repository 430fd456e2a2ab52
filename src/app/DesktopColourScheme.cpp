#include "app/DesktopColourScheme.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace tallyrig {
namespace {

constexpr const char* kPortal = "org.freedesktop.portal.Desktop";
constexpr const char* kPortalPath = "/org/freedesktop/portal/desktop";
constexpr const char* kSettings = "org.freedesktop.portal.Settings";
constexpr const char* kGroup = "org.freedesktop.appearance";
constexpr const char* kKey = "color-scheme";
constexpr unsigned kPrefersDark = 1;
constexpr unsigned kPrefersLight = 2;

}  // namespace

DesktopColourScheme::DesktopColourScheme(const QDBusConnection& bus)
    : bus_(bus), portalWatch_(kPortal, bus, QDBusServiceWatcher::WatchForRegistration) {
  if (!bus_.isConnected()) return;
  // Qt looks the slot's arguments up by name and connects nothing while one of them has never been used.
  qRegisterMetaType<QDBusVariant>();
  bus_.connect(kPortal, kPortalPath, kSettings, "SettingChanged", this,
               SLOT(settingChanged(QString, QString, QDBusVariant)));
  connect(&portalWatch_, &QDBusServiceWatcher::serviceRegistered, this, [this] { read("ReadOne"); });
  read("ReadOne");
}

void DesktopColourScheme::read(const QString& method) {
  QDBusMessage call = QDBusMessage::createMethodCall(kPortal, kPortalPath, kSettings, method);
  call << QString(kGroup) << QString(kKey);
  auto* reply = new QDBusPendingCallWatcher(bus_.asyncCall(call), this);
  connect(reply, &QDBusPendingCallWatcher::finished, this, [this, method, reply] {
    reply->deleteLater();
    const QDBusPendingReply<QDBusVariant> answer = *reply;
    if (answer.isValid()) {
      take(answer.value().variant());
    } else if (method == "ReadOne" && answer.error().type() == QDBusError::UnknownMethod) {
      read("Read");
    }
  });
}

void DesktopColourScheme::settingChanged(const QString& group, const QString& key, const QDBusVariant& value) {
  if (group == kGroup && key == kKey) take(value.variant());
}

void DesktopColourScheme::take(const QVariant& value) {
  QVariant inner = value;
  while (inner.canConvert<QDBusVariant>()) inner = inner.value<QDBusVariant>().variant();
  std::optional<bool> prefersDark;
  if (inner.toUInt() == kPrefersDark) prefersDark = true;
  if (inner.toUInt() == kPrefersLight) prefersDark = false;
  if (prefersDark == prefersDark_) return;
  prefersDark_ = prefersDark;
  emit changed();
}

}  // namespace tallyrig
