#include "app/DesktopColourScheme.h"

#include <gtest/gtest.h>

#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QProcess>
#include <QSignalSpy>
#include <QtTest/QTest>
#include <memory>

#include "ui/UiRig.h"

namespace tallyrig {
namespace {

/// A message bus of the test's own.
class PrivateBus {
 public:
  PrivateBus() {
    daemon_.start("dbus-daemon",
                  {"--session", "--nofork", "--nosyslog", "--print-address", "--address=unix:tmpdir=/tmp"});
    if (daemon_.waitForStarted() && daemon_.waitForReadyRead()) address_ = daemon_.readLine().trimmed();
  }
  ~PrivateBus() {
    QDBusConnection::disconnectFromBus("program");
    QDBusConnection::disconnectFromBus("portal");
    daemon_.terminate();
    daemon_.waitForFinished();
  }

  QDBusConnection connect(const QString& name) const { return QDBusConnection::connectToBus(address_, name); }

 private:
  QProcess daemon_;
  QString address_;
};

/// Answers as a desktop's settings portal does.
class FakePortal : public QDBusVirtualObject {
 public:
  FakePortal(QDBusConnection bus, unsigned scheme, bool knowsReadOne)
      : bus_(std::move(bus)), scheme_(scheme), knowsReadOne_(knowsReadOne) {
    bus_.registerVirtualObject("/org/freedesktop/portal/desktop", this);
    bus_.registerService("org.freedesktop.portal.Desktop");
  }
  ~FakePortal() override { bus_.unregisterService("org.freedesktop.portal.Desktop"); }

  void change(const QString& group, const QString& key, unsigned value) {
    QDBusMessage signal = QDBusMessage::createSignal("/org/freedesktop/portal/desktop",
                                                     "org.freedesktop.portal.Settings", "SettingChanged");
    signal << group << key << QVariant::fromValue(QDBusVariant(value));
    bus_.send(signal);
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
  QDBusConnection bus_;
  unsigned scheme_;
  bool knowsReadOne_;
};

/// Portals of the second version, and of the first.
class PortalVersions : public testing::TestWithParam<bool> {};

TEST_P(PortalVersions, AreFollowedLive) {
  const bool knowsReadOne = GetParam();
  PrivateBus bus;
  FakePortal portal(bus.connect("portal"), 1, knowsReadOne);
  DesktopColourScheme scheme(bus.connect("program"));
  EXPECT_FALSE(scheme.prefersDark());
  ASSERT_TRUE(QTest::qWaitFor([&] { return scheme.prefersDark() == true; }));
  portal.change("org.freedesktop.appearance", "color-scheme", 2);
  EXPECT_TRUE(QTest::qWaitFor([&] { return scheme.prefersDark() == false; }));
  portal.change("org.freedesktop.appearance", "color-scheme", 0);
  EXPECT_TRUE(QTest::qWaitFor([&] { return !scheme.prefersDark().has_value(); }));
  portal.change("org.freedesktop.appearance", "contrast", 1);
  portal.change("org.gnome.desktop.interface", "color-scheme", 1);
  QSignalSpy changes(&scheme, &DesktopColourScheme::changed);
  portal.change("org.freedesktop.appearance", "color-scheme", 1);
  ASSERT_TRUE(QTest::qWaitFor([&] { return scheme.prefersDark() == true; }));
  EXPECT_EQ(changes.count(), 1);
}

INSTANTIATE_TEST_SUITE_P(DesktopColourScheme, PortalVersions, testing::Bool());

TEST(DesktopColourScheme, AsksAPortalThatComesLater) {
  PrivateBus bus;
  DesktopColourScheme scheme(bus.connect("program"));
  const FakePortal portal(bus.connect("portal"), 1, true);
  EXPECT_TRUE(QTest::qWaitFor([&] { return scheme.prefersDark() == true; }));
}

TEST(DesktopColourScheme, ChangesTheAppearanceUnlessTheUserHasChosen) {
  PrivateBus bus;
  FakePortal portal(bus.connect("portal"), 1, true);
  DesktopColourScheme scheme(bus.connect("program"));
  UiRig rig;
  rig.open();
  const Appearance appearance(rig.store(), scheme, QPalette(QColor(240, 240, 240)));
  ASSERT_TRUE(QTest::qWaitFor([&] { return appearance.dark(); }));
  rig.store().setAppearanceOverride(AppearanceMode::light);
  EXPECT_FALSE(appearance.dark());
  portal.change("org.freedesktop.appearance", "color-scheme", 2);
  ASSERT_TRUE(QTest::qWaitFor([&] { return scheme.prefersDark() == false; }));
  portal.change("org.freedesktop.appearance", "color-scheme", 1);
  ASSERT_TRUE(QTest::qWaitFor([&] { return scheme.prefersDark() == true; }));
  EXPECT_FALSE(appearance.dark());
  rig.store().setAppearanceOverride(AppearanceMode::system);
  EXPECT_TRUE(appearance.dark());
}

}  // namespace
}  // namespace tallyrig
