#include "app/DesktopColourScheme.h"

#include <gtest/gtest.h>

#include <QDBusConnectionInterface>
#include <QSignalSpy>
#include <QtTest/QTest>
#include <optional>

#include "support/FakePortal.h"
#include "support/PrivateBus.h"
#include "ui/UiRig.h"

namespace tallyrig {
namespace {

/// Portals of the second version, and of the first.
class PortalVersions : public testing::TestWithParam<bool> {};

TEST_P(PortalVersions, AreFollowedLive) {
  const bool knowsReadOne = GetParam();
  PrivateBus bus;
  FakePortal portal(bus.connect("portal"), 1, knowsReadOne);
  DesktopColourScheme scheme(bus.connect("program"));
  EXPECT_FALSE(scheme.prefersDark());
  ASSERT_TRUE(QTest::qWaitFor([&] { return scheme.prefersDark() == true; }));
  portal.changeScheme(2);
  EXPECT_TRUE(QTest::qWaitFor([&] { return scheme.prefersDark() == false; }));
  portal.changeScheme(0);
  EXPECT_TRUE(QTest::qWaitFor([&] { return !scheme.prefersDark().has_value(); }));
  portal.change("org.freedesktop.appearance", "contrast", 1);
  portal.change("org.gnome.desktop.interface", "color-scheme", 1);
  QSignalSpy changes(&scheme, &DesktopColourScheme::changed);
  portal.changeScheme(1);
  ASSERT_TRUE(QTest::qWaitFor([&] { return scheme.prefersDark() == true; }));
  EXPECT_EQ(changes.count(), 1);
}

INSTANTIATE_TEST_SUITE_P(DesktopColourScheme, PortalVersions, testing::Bool());

TEST(DesktopColourScheme, AsksAPortalThatComesLater) {
  PrivateBus bus;
  DesktopColourScheme scheme(bus.connect("program"));
  const FakePortal portal(bus.connect("portal"), 1);
  EXPECT_TRUE(QTest::qWaitFor([&] { return scheme.prefersDark() == true; }));
}

TEST(DesktopColourScheme, ChangesTheAppearanceUnlessTheUserHasChosen) {
  PrivateBus bus;
  FakePortal portal(bus.connect("portal"), 1);
  DesktopColourScheme scheme(bus.connect("program"));
  UiRig rig;
  rig.open();
  const Appearance appearance(rig.store(), scheme, QPalette(QColor(240, 240, 240)));
  ASSERT_TRUE(QTest::qWaitFor([&] { return appearance.dark(); }));
  rig.store().setAppearanceOverride(AppearanceMode::light);
  EXPECT_FALSE(appearance.dark());
  portal.changeScheme(2);
  ASSERT_TRUE(QTest::qWaitFor([&] { return scheme.prefersDark() == false; }));
  portal.changeScheme(1);
  ASSERT_TRUE(QTest::qWaitFor([&] { return scheme.prefersDark() == true; }));
  EXPECT_FALSE(appearance.dark());
  rig.store().setAppearanceOverride(AppearanceMode::system);
  EXPECT_TRUE(appearance.dark());
}

TEST(DesktopColourScheme, AnAnswerThatIsNoneOfThemIsNoPreference) {
  PrivateBus bus;
  FakePortal portal(bus.connect("portal"), 1);
  DesktopColourScheme scheme(bus.connect("program"));
  ASSERT_TRUE(QTest::qWaitFor([&] { return scheme.prefersDark() == true; }));
  portal.changeScheme(7);
  EXPECT_TRUE(QTest::qWaitFor([&] { return !scheme.prefersDark().has_value(); }));
}

TEST(DesktopColourScheme, APortalThatVanishesIsBelievedUntilItIsBackAndSaysOtherwise) {
  PrivateBus bus;
  std::optional<FakePortal> portal(std::in_place, bus.connect("portal"), 1);
  DesktopColourScheme scheme(bus.connect("program"));
  ASSERT_TRUE(QTest::qWaitFor([&] { return scheme.prefersDark() == true; }));
  QSignalSpy changes(&scheme, &DesktopColourScheme::changed);
  portal.reset();
  ASSERT_TRUE(QTest::qWaitFor(
      [&] { return !bus.connect("program").interface()->isServiceRegistered("org.freedesktop.portal.Desktop"); }));
  EXPECT_EQ(scheme.prefersDark(), true);
  EXPECT_EQ(changes.count(), 0);
  portal.emplace(bus.connect("portal"), 2);
  EXPECT_TRUE(QTest::qWaitFor([&] { return scheme.prefersDark() == false; }));
  EXPECT_EQ(changes.count(), 1);
}

TEST(DesktopColourScheme, ABusThatBreaksDownChangesNothing) {
  PrivateBus bus;
  const FakePortal portal(bus.connect("portal"), 1);
  QDBusConnection connection = bus.connect("program");
  DesktopColourScheme scheme(connection);
  ASSERT_TRUE(QTest::qWaitFor([&] { return scheme.prefersDark() == true; }));
  bus.end();
  ASSERT_TRUE(QTest::qWaitFor([&] { return !connection.isConnected(); }));
  EXPECT_EQ(scheme.prefersDark(), true);
}

TEST(DesktopColourScheme, WithoutABusItHasNothingToSay) {
  DesktopColourScheme scheme(QDBusConnection("none"));
  QSignalSpy changes(&scheme, &DesktopColourScheme::changed);
  EXPECT_FALSE(scheme.prefersDark());
  UiRig rig;
  rig.open();
  EXPECT_TRUE(Appearance(rig.store(), scheme, QPalette(QColor(30, 30, 30))).dark());
  EXPECT_FALSE(Appearance(rig.store(), scheme, QPalette(QColor(240, 240, 240))).dark());
  EXPECT_EQ(changes.count(), 0);
}

}  // namespace
}  // namespace tallyrig
