#include <nlohmann/json.hpp>

#include "system/SystemTest.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using Json = nlohmann::ordered_json;

constexpr const char* kBlue = "#104080";
constexpr const char* kRed = "#703010";
constexpr const char* kGreen = "#105030";
const QColor kDarkBar("#1c1f24");

/// The part of a picture that has this colour, 0 to 1.
double shareOf(const QImage& picture, QColor colour) {
  std::int64_t count = 0;
  for (int y = 0; y < picture.height(); ++y)
    for (int x = 0; x < picture.width(); ++x)
      if (picture.pixel(x, y) == colour.rgb()) ++count;
  return static_cast<double>(count) / (picture.width() * picture.height());
}

/// What a user does to the whole wall, and what of it is there after the next start.
class TheWall : public SystemTest {
 protected:
  void startWithThreeCards() {
    program().writeReaders(readersFile(
        {{.label = "One", .colour = kBlue}, {.label = "Two", .colour = kRed}, {.label = "Three", .colour = kGreen}}));
    program().start();
    ASSERT_TRUE(showsCards("wall-start", {kBlue, kRed, kGreen}));
  }
  void relaunch() {
    ASSERT_TRUE(program().quit());
    program().start();
  }
  /// Whether the cards of these colours come to stand in this order, from the left.
  testing::AssertionResult showsCards(const std::string& name, const std::vector<std::string>& colours) {
    return shows(name, [&](const QImage& picture) {
      int last = -1;
      for (const std::string& colour : colours) {
        const auto card = findCard(picture, QColor(QString::fromStdString(colour)));
        if (!card || card->x() <= last) return false;
        last = card->x();
      }
      return true;
    });
  }
  QRect card(const char* colour) {
    return findCard(screen().screenshot("wall-card"), QColor(colour)).value_or(QRect());
  }
  /// Whether the window comes to be, or not to be, without its bar.
  testing::AssertionResult isPinned(bool wanted) {
    return shows(wanted ? "wall-pinned" : "wall-unpinned", [&](const QImage& picture) {
      const auto place = findCard(picture, QColor(kBlue));
      return place && (place->y() < 20) == wanted;
    });
  }
  /// Clicks on the tool that is so many places from the right end of the bar.
  bool pressTool(int fromRight) {
    const auto window = screen().window("Tallyrig");
    return window && screen().clickIn("Tallyrig", {window->width() - 35 - 38 * fromRight, 23});
  }
  std::string labels() {
    std::string result;
    for (const Json& entry : Json::parse(program().readReaders(), nullptr, false))
      result += entry.value("label", "?") + " ";
    return result;
  }

  static constexpr int kSettingsTool = 2;
  static constexpr int kPinTool = 3;
};

TEST_F(TheWall, ACardThatIsDraggedOverAnotherTakesItsPlaceForGood) {
  startWithThreeCards();
  ASSERT_TRUE(screen().drag(card(kBlue).center(), card(kGreen).center()));
  ASSERT_TRUE(showsCards("wall-reordered", {kRed, kGreen, kBlue}));
  EXPECT_TRUE(shows("wall-saved", [&](const QImage&) { return labels() == "Two Three One "; })) << labels();
  relaunch();
  EXPECT_TRUE(showsCards("wall-reordered-again", {kRed, kGreen, kBlue}));
  EXPECT_TRUE(program().quit());
}

TEST_F(TheWall, ThePinTakesTheFrameAwayAndEscapeBringsItBack) {
  startWithThreeCards();
  const auto before = screen().frame("Tallyrig");
  ASSERT_TRUE(before);
  ASSERT_TRUE(pressTool(kPinTool));
  ASSERT_TRUE(isPinned(true));
  ASSERT_TRUE(screen().key("Escape"));
  ASSERT_TRUE(isPinned(false));
  EXPECT_TRUE(shows("wall-frame-back", [&](const QImage&) { return screen().frame("Tallyrig") == before; }));

  ASSERT_TRUE(pressTool(kPinTool));
  ASSERT_TRUE(isPinned(true));
  relaunch();
  ASSERT_TRUE(isPinned(false));
  EXPECT_EQ(screen().frame("Tallyrig"), before);
  EXPECT_TRUE(program().quit());
}

TEST_F(TheWall, ItsWindowOpensWhereAndAsLargeAsItWas) {
  startWithThreeCards();
  // A size that comes within a second of the program's own fitting does not count as the user's.
  int width = 700;
  ASSERT_TRUE(shows("wall-sized", [&](const QImage&) {
    return screen().place("Tallyrig", {210, 140, ++width, 420}) &&
           program().readPreferences().find("Tallyrig.MainWindowManuallySized=true") != std::string::npos;
  })) << program().readPreferences();
  ASSERT_TRUE(screen().place("Tallyrig", {210, 140, 760, 420}));
  ASSERT_TRUE(shows("wall-placed", [&](const QImage&) {
    const auto window = screen().window("Tallyrig");
    return window == QSize(760, 420) && program().readPreferences().find("{760, 420}") != std::string::npos;
  })) << program().readPreferences();
  const auto placed = screen().frame("Tallyrig");
  relaunch();
  EXPECT_TRUE(shows("wall-placed-again", [&](const QImage&) { return screen().frame("Tallyrig") == placed; }));
  EXPECT_TRUE(program().quit());
}

TEST_F(TheWall, ACardKeepsTheViewThatItWasGiven) {
  startWithThreeCards();
  const int full = card(kBlue).height();
  ASSERT_TRUE(press(CardButton::kMode, kBlue));
  ASSERT_TRUE(shows("wall-compact", [&](const QImage& picture) {
    const auto place = findCard(picture, QColor(kBlue));
    return place && place->height() < full;
  }));
  const int compact = card(kBlue).height();
  ASSERT_TRUE(press(CardButton::kMode, kBlue));
  ASSERT_TRUE(shows("wall-minimal", [&](const QImage& picture) {
    const auto place = findCard(picture, QColor(kBlue));
    return place && place->height() < compact;
  }));
  const int minimal = card(kBlue).height();
  relaunch();
  EXPECT_TRUE(shows("wall-minimal-again", [&](const QImage& picture) {
    const auto place = findCard(picture, QColor(kBlue));
    return place && place->height() == minimal;
  }));
  EXPECT_TRUE(program().quit());
}

TEST_F(TheWall, ClearingAllAsksAndLeavesItEmpty) {
  startWithThreeCards();
  ASSERT_TRUE(pressTool(kSettingsTool));
  ASSERT_TRUE(shows("wall-settings", [&](const QImage&) { return screen().window("Settings").has_value(); }));
  EXPECT_EQ(screen().window("Settings"), QSize(360, 400));
  const auto clear = [&] { return screen().key("Tab") && screen().key("Tab") && screen().key("space"); };
  const auto asks = [&](bool wanted) {
    return shows("wall-clearing",
                 [&](const QImage&) { return screen().window("Clear all readers[?]").has_value() == wanted; });
  };
  ASSERT_TRUE(clear());
  ASSERT_TRUE(asks(true));
  ASSERT_TRUE(screen().key("Escape"));
  ASSERT_TRUE(asks(false));
  EXPECT_TRUE(findCard(screen().screenshot("wall-not-cleared"), QColor(kGreen)).has_value());
  ASSERT_TRUE(screen().key("space"));
  ASSERT_TRUE(asks(true));
  ASSERT_TRUE(screen().key("Tab"));
  ASSERT_TRUE(screen().key("Return"));
  EXPECT_TRUE(shows("wall-cleared", [&](const QImage& picture) {
    return !findCard(picture, QColor(kBlue)) && !findCard(picture, QColor(kGreen));
  }));
  EXPECT_TRUE(shows("wall-cleared-file", [&](const QImage&) { return labels().empty(); })) << labels();
  relaunch();
  ASSERT_TRUE(shows("wall-empty-again", [&](const QImage&) { return screen().window("Tallyrig").has_value(); }));
  EXPECT_TRUE(labels().empty()) << labels();
  EXPECT_TRUE(program().quit());
}

TEST_F(TheWall, TheChosenAppearanceAndSizeHoldOverTheNextStart) {
  startWithThreeCards();
  const int medium = card(kBlue).height();
  ASSERT_TRUE(screen().key("ctrl+comma"));
  ASSERT_TRUE(shows("wall-settings-by-key", [&](const QImage&) { return screen().window("Settings").has_value(); }));
  const auto isDark = [&](const QImage& picture) { return shareOf(picture, kDarkBar) > 0.015; };
  // The choice has the keyboard, and stands at "System".
  ASSERT_TRUE(screen().key("Right"));
  ASSERT_TRUE(screen().key("Right"));
  ASSERT_TRUE(shows("wall-dark", isDark));
  ASSERT_TRUE(screen().key("Tab"));
  ASSERT_TRUE(screen().key("Left"));
  ASSERT_TRUE(shows("wall-small", [&](const QImage& picture) {
    const auto place = findCard(picture, QColor(kBlue));
    return place && place->height() < medium;
  }));
  ASSERT_TRUE(screen().key("Escape"));
  ASSERT_TRUE(shows("wall-settings-closed", [&](const QImage&) { return !screen().window("Settings").has_value(); }));
  relaunch();
  EXPECT_TRUE(shows("wall-dark-again", [&](const QImage& picture) {
    const auto place = findCard(picture, QColor(kBlue));
    return isDark(picture) && place && place->height() < medium;
  }));
  EXPECT_TRUE(program().quit());
}

}  // namespace
}  // namespace tallyrig
