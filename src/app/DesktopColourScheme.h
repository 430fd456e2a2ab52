#pragma once

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QObject>
#include <QString>
#include <optional>

namespace tallyrig {

/// What the desktop says about light and dark through its settings portal (org.freedesktop.portal.Settings, namespace
/// org.freedesktop.appearance, key color-scheme), as it changes. Never waits for the portal. Main thread.
class DesktopColourScheme : public QObject {
  Q_OBJECT

 public:
  explicit DesktopColourScheme(const QDBusConnection& bus);

  /// Absent while the desktop has not said, has no portal, or has no preference.
  std::optional<bool> prefersDark() const { return prefersDark_; }

 signals:
  void changed();

 private:
  Q_SLOT void settingChanged(const QString& group, const QString& key, const QDBusVariant& value);
  /// `ReadOne` came with the portal's second version; `Read` wraps the value once more.
  void read(const QString& method);
  void take(const QVariant& value);

  QDBusConnection bus_;
  QDBusServiceWatcher portalWatch_;
  std::optional<bool> prefersDark_;
};

}  // namespace tallyrig
