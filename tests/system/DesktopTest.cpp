// The program on a desktop: what it is told about light and dark, and what it tells the window manager.

#include <QCoreApplication>
#include <QRegularExpression>
#include <optional>

#include "support/FakePortal.h"
#include "support/PrivateBus.h"
#include "system/SystemTest.h"

namespace tallyrig {
namespace {

const QColor kDarkBar("#1c1f24");
const QColor kLightBar("#f7f8fa");
constexpr const char* kCard = "#104080";

class Desktop : public SystemTest {
 protected:
  void startWithOneCard() {
    program().writeReaders(readersFile({{.label = "One", .colour = kCard}}));
    program().start();
    ASSERT_TRUE(
        shows("desktop-start", [](const QImage& picture) { return findCard(picture, QColor(kCard)).has_value(); }));
  }
  /// Whether the program's bar comes to be of this colour, while the portal answers.
  testing::AssertionResult showsBar(const std::string& name, QColor colour) {
    return shows(name, [&](const QImage& picture) {
      QCoreApplication::processEvents();
      const auto bar = findCard(picture, colour);
      return bar && bar->width() > 500;
    });
  }
  testing::AssertionResult showsWindow(const std::string& title) {
    return shows("desktop-window", [&](const QImage&) { return screen().window(title).has_value(); });
  }
  /// What the window manager is told of a window's functions and decorations, of which minimising is one.
  testing::AssertionResult canBeClosedAndNotMinimised(const std::string& title) {
    constexpr unsigned kFunctionMinimise = 1U << 3U;
    constexpr unsigned kFunctionClose = 1U << 5U;
    constexpr unsigned kDecorationTitle = 1U << 3U;
    constexpr unsigned kDecorationMinimise = 1U << 5U;
    static const QRegularExpression pattern("= 0x3, 0x([0-9a-f]+), 0x([0-9a-f]+),");
    const std::string told = screen().property(title, "_MOTIF_WM_HINTS").value_or("nothing");
    const auto match = pattern.match(QString::fromStdString(told));
    const unsigned functions = match.captured(1).toUInt(nullptr, 16);
    const unsigned decorations = match.captured(2).toUInt(nullptr, 16);
    if (match.hasMatch() && (functions & kFunctionClose) != 0 && (functions & kFunctionMinimise) == 0 &&
        (decorations & kDecorationTitle) != 0 && (decorations & kDecorationMinimise) == 0)
      return testing::AssertionSuccess();
    return testing::AssertionFailure() << title << " tells " << told;
  }
};

TEST_F(Desktop, LightAndDarkAreFollowedWhileTheProgramRuns) {
  PrivateBus bus;
  std::optional<FakePortal> portal(std::in_place, bus.connect("portal"), 1);
  program().useVariable("DBUS_SESSION_BUS_ADDRESS", bus.address().toStdString());
  ASSERT_NO_FATAL_FAILURE(startWithOneCard());
  ASSERT_TRUE(showsBar("desktop-dark", kDarkBar));
  portal->changeScheme(2);
  ASSERT_TRUE(showsBar("desktop-light", kLightBar));
  portal->changeScheme(1);
  ASSERT_TRUE(showsBar("desktop-dark-again", kDarkBar));

  // The portal is started again after its desktop has become light.
  portal.reset();
  portal.emplace(bus.connect("portal"), 2);
  ASSERT_TRUE(showsBar("desktop-other-portal", kLightBar));
  portal->changeScheme(1);
  ASSERT_TRUE(showsBar("desktop-dark-at-last", kDarkBar));
  bus.end();
  // What the user says counts also then.
  ASSERT_TRUE(screen().key("ctrl+comma"));
  ASSERT_TRUE(showsWindow("Settings"));
  ASSERT_TRUE(screen().key("Right"));
  EXPECT_TRUE(showsBar("desktop-user-light", kLightBar));
  EXPECT_TRUE(program().quit());
}

TEST_F(Desktop, WindowsBesideTheMainOneCanBeClosedAndNotMinimised) {
  ASSERT_NO_FATAL_FAILURE(startWithOneCard());
  ASSERT_TRUE(screen().key("ctrl+comma"));
  ASSERT_TRUE(showsWindow("Settings"));
  EXPECT_TRUE(canBeClosedAndNotMinimised("Settings"));
  ASSERT_TRUE(screen().key("Right"));
  ASSERT_TRUE(screen().key("Right"));
  ASSERT_TRUE(showsBar("desktop-updated", kDarkBar));
  EXPECT_TRUE(canBeClosedAndNotMinimised("Settings")) << "after its view has changed";

  const auto bar = screen().window("Tallyrig");
  ASSERT_TRUE(bar);
  ASSERT_TRUE(screen().clickIn("Tallyrig", {bar->width() - 35, 23}));
  ASSERT_TRUE(showsWindow("About Tallyrig"));
  EXPECT_TRUE(canBeClosedAndNotMinimised("About Tallyrig"));
  const std::vector<std::string> tools{"Generate WAV", "Analyse File", "Media Player"};
  for (std::size_t tool = 0; tool < tools.size(); ++tool) {
    ASSERT_TRUE(screen().clickIn("Tallyrig", {bar->width() - 35 - 38, 23}));
    for (std::size_t step = 0; step <= tool; ++step) ASSERT_TRUE(screen().key("Down"));
    ASSERT_TRUE(screen().key("Return"));
    ASSERT_TRUE(showsWindow(tools[tool]));
    EXPECT_TRUE(canBeClosedAndNotMinimised(tools[tool]));
    ASSERT_TRUE(screen().key("Escape"));
    ASSERT_TRUE(shows("desktop-closed", [&](const QImage&) { return !screen().window(tools[tool]).has_value(); }));
  }
  EXPECT_TRUE(program().quit());
}

}  // namespace
}  // namespace tallyrig
