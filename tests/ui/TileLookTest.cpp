// The measures of a card: its type, its distances, its buttons and what they say under the pointer.

#include <gtest/gtest.h>

#include <QFont>
#include <QtTest/QTest>
#include <tuple>

#include "app/TimecodeDigits.h"
#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

class TileLook : public testing::Test {
 protected:
  TileLook() { rig.open(); }

  void show(TileSize size, TileDisplayMode mode) {
    rig.store().setGlobalTileSize(size);
    rig.card(0).set(&ReaderSnapshot::displayMode, mode);
    rig.runFor(20ms);
  }
  QFont font(const char* name) { return rig.find(name)->property("font").value<QFont>(); }
  double lineHeight(const char* name) { return rig.find(name)->implicitHeight(); }
  QRectF place(const char* name) {
    QQuickItem* item = rig.find(name);
    return item ? item->mapRectToItem(rig.tile(0), item->boundingRect()) : QRectF();
  }
  /// What stands under the pointer after it has rested on the item.
  QString hovered(QQuickItem* item) {
    QTest::mouseMove(rig.window, QPoint(1, 1));
    rig.runFor(20ms);
    EXPECT_TRUE(QTest::qWaitFor([this] { return rig.find("toolTip") == nullptr; }));
    QTest::mouseMove(rig.window, item->mapToScene({item->width() / 2, item->height() / 2}).toPoint());
    EXPECT_TRUE(QTest::qWaitFor([this] { return rig.find("toolTip") != nullptr; }, 20'000));
    return rig.text("toolTip");
  }

  UiRig rig;
};

TEST_F(TileLook, TypeSizesFollowTheTileSize) {
  for (const auto& [size, digits, rate] : {std::tuple(TileSize::small, 22, 9), std::tuple(TileSize::medium, 32, 13),
                                           std::tuple(TileSize::large, 48, 20)}) {
    show(size, TileDisplayMode::full);
    EXPECT_EQ(qobject_cast<TimecodeDigits*>(rig.find("digits"))->pixelSize(), digits);
    EXPECT_EQ(font("rate").pixelSize(), rate);
    EXPECT_EQ(font("rate").weight(), QFont::DemiBold);
    EXPECT_EQ(font("label").pixelSize(), 13);
    EXPECT_EQ(font("label").weight(), QFont::DemiBold);
    EXPECT_EQ(font("sourceLine").pixelSize(), 11);
    EXPECT_EQ(font("targetLine").pixelSize(), 11);
    EXPECT_EQ(font("statusText").pixelSize(), 10);
    EXPECT_EQ(font("statusText").weight(), QFont::Bold);
  }
}

TEST_F(TileLook, ACardIsAsHighAsItsLinesAndTheirDistances) {
  constexpr double kFooter = 1 + 8 + 20 + 8;
  for (const TileSize size : {TileSize::small, TileSize::medium, TileSize::large}) {
    show(size, TileDisplayMode::full);
    const double title = lineHeight("label");
    const double digits = lineHeight("digits");
    const double details = 8 + 6 + 3 + lineHeight("sourceLine") + 3 + lineHeight("targetLine") + 8;
    EXPECT_EQ(rig.tile(0)->height(), 16 + title + 4 + 8 + digits + 4 + lineHeight("rate") + 8 + details + kFooter);
    show(size, TileDisplayMode::compact);
    EXPECT_EQ(rig.tile(0)->height(), 16 + title + 4 + 8 + digits + 8 + kFooter);
    show(size, TileDisplayMode::minimal);
    EXPECT_EQ(rig.tile(0)->height(), 8 + title + 8 + digits + 8);
  }
}

TEST_F(TileLook, LinesAreNoHigherThanTheirTypeNeeds) {
  show(TileSize::medium, TileDisplayMode::full);
  for (const char* name : {"label", "rate", "sourceLine", "targetLine"})
    EXPECT_LE(lineHeight(name), font(name).pixelSize() * 1.25 + 1) << name;
  EXPECT_LE(lineHeight("digits"), 32 * 1.2);
}

TEST_F(TileLook, ARowOfMediumCardsFillsTheWindowThatIsFittedToIt) {
  show(TileSize::medium, TileDisplayMode::full);
  const QQuickItem* scroller = rig.find("scroller");
  EXPECT_LE(scroller->property("contentHeight").toDouble(), 195 + 48);
}

TEST_F(TileLook, ControlsStandInOrderInTheCorner) {
  for (const TileDisplayMode mode : {TileDisplayMode::full, TileDisplayMode::compact, TileDisplayMode::minimal}) {
    show(TileSize::medium, mode);
    const bool isFull = mode == TileDisplayMode::full;
    EXPECT_EQ(rig.find("rateChip") == nullptr, isFull);
    EXPECT_EQ(place("controls").top(), 8);
    EXPECT_EQ(place("controls").right(), rig.tile(0)->width() - 8);
    for (const char* name : {"modeButton", "settingsButton"}) EXPECT_EQ(place(name).size(), QSizeF(24, 24)) << name;
    if (!isFull) {
      EXPECT_EQ(place("modeButton").left() - place("rateChip").right(), 4);
    }
    EXPECT_EQ(place("settingsButton").left() - place("modeButton").right(), 4);
    EXPECT_EQ(place("removeButton").left() - place("settingsButton").right(), 4);
    EXPECT_LE(place("label").right(), rig.tile(0)->width() - 16 - (isFull ? 84 : 138));
    EXPECT_EQ(place("label").left(), 16);
    EXPECT_EQ(place("label").top(), mode == TileDisplayMode::minimal ? 8 : 16);
  }
}

TEST_F(TileLook, SymbolsSayWhatTheModeButtonLeadsTo) {
  for (const auto& [mode, symbol] :
       {std::pair(TileDisplayMode::full, "compress-vertical"), std::pair(TileDisplayMode::compact, "swap"),
        std::pair(TileDisplayMode::minimal, "expand-vertical")}) {
    show(TileSize::medium, mode);
    EXPECT_EQ(rig.find("modeButton")->property("symbol"), symbol);
    EXPECT_EQ(rig.find("settingsButton")->property("symbol"), "gear-fill");
    EXPECT_EQ(rig.find("removeButton")->property("symbol"), "xmark-circle");
  }
}

TEST_F(TileLook, ButtonsSayUnderThePointerWhatTheyDo) {
  for (const auto& [mode, text] : {std::pair(TileDisplayMode::full, "Switch to compact view"),
                                   std::pair(TileDisplayMode::compact, "Switch to minimal view"),
                                   std::pair(TileDisplayMode::minimal, "Switch to full view")}) {
    show(TileSize::medium, mode);
    EXPECT_EQ(hovered(rig.find("modeButton")), text);
  }
  rig.click(rig.find("settingsButton"));
  EXPECT_EQ(hovered(rig.find("refresh")), "Refresh audio and MIDI device lists");
}

TEST_F(TileLook, TheWarningIsToldUnderThePointerWhereThereIsNoLineForIt) {
  rig.card(0).set(&ReaderSnapshot::sourceType, SourceType::mtc);
  rig.card(0).set(&ReaderSnapshot::selectedMIDISourceName, std::string("Bridge"));
  rig.card(0).startMonitoring();
  for (const TileDisplayMode mode : {TileDisplayMode::compact, TileDisplayMode::minimal}) {
    show(TileSize::medium, mode);
    ASSERT_NE(rig.find("warningIcon"), nullptr);
    EXPECT_LT(place("warningIcon").right(), place("rateChip").left());
    EXPECT_EQ(hovered(rig.find("warningIcon")), "MIDI source unavailable: Bridge");
  }
}

TEST_F(TileLook, AShortNameStandsWholeOnTheSmallestCardBesideTheLongestRate) {
  show(TileSize::small, TileDisplayMode::compact);
  rig.card(0).set(&ReaderSnapshot::label, std::string("Line 4"));
  rig.card(0).set(&ReaderSnapshot::cardRole, CardRole::generator);
  rig.card(0).set(&ReaderSnapshot::generatorFrameRate, MTCFrameRate::fps2997);
  rig.card(0).prepareGeneratorDisplay();
  rig.tile(0)->setWidth(220);
  rig.runFor(20ms);
  ASSERT_EQ(rig.text("rateChip"), "29.97 DF fps");
  EXPECT_FALSE(rig.find("label")->property("truncated").toBool());
  EXPECT_LE(place("label").right(), place("rateChip").left());
}

TEST_F(TileLook, ANameThatIsCutIsToldWholeUnderThePointer) {
  const std::string name = "A name that is far too long for the card that has it";
  rig.card(0).set(&ReaderSnapshot::label, name);
  rig.window->resize(384, 400);
  rig.runFor(20ms);
  EXPECT_EQ(hovered(rig.find("label")).toStdString(), name);
}

TEST_F(TileLook, ALightCardHasOnlyDarkTexts) {
  rig.card(0).set(&ReaderSnapshot::backgroundColorHex, std::string("#999999"));
  rig.card(0).set(&ReaderSnapshot::outputProtocol, OutputProtocol::ltc);
  show(TileSize::medium, TileDisplayMode::full);
  for (const auto& [name, property] :
       {std::pair("label", "color"), std::pair("digits", "color"), std::pair("rate", "color"),
        std::pair("sourceLine", "color"), std::pair("targetLine", "color"), std::pair("statusText", "color"),
        std::pair("roleChip", "textColor"), std::pair("outputChip", "textColor"), std::pair("jamButton", "labelColor")})
    EXPECT_EQ(rig.find(name)->property(property).value<QColor>().rgb(), qRgb(26, 26, 26)) << name;
}

}  // namespace
}  // namespace tallyrig
