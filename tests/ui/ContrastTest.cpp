#include <gtest/gtest.h>

#include <QQmlComponent>
#include <memory>
#include <utility>

#include "reader/CardColour.h"
#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

CardColour cardColour(const QColor& colour) {
  return {colour.redF(), colour.greenF(), colour.blueF(), colour.alphaF()};
}

double contrast(const QColor& text, const CardColour& ground) {
  return contrastRatio(blended(cardColour(text), ground), ground);
}

/// The colours of new cards, and light ones as a file may hold them.
std::vector<std::string> cardColours() {
  std::vector<std::string> colours = cardPalette();
  colours.insert(colours.end(), {"#999999", "#F2E6C8", "#FFFFFF"});
  return colours;
}

struct CardText {
  const char* name;
  const char* property;
  /// Of the foreground under the text.
  double plate;
};

class Contrast : public testing::Test {
 protected:
  /// What of these texts the card shows, and how it reads on each colour.
  void expectLegible(const std::vector<CardText>& texts, const std::string& state) {
    for (const std::string& hex : cardColours()) {
      rig.card(0).set(&ReaderSnapshot::backgroundColorHex, hex);
      rig.runFor(20ms);
      const CardColour foreground = foregroundOnHex(hex);
      for (const CardText& text : texts) {
        const QQuickItem* item = rig.find(text.name);
        ASSERT_NE(item, nullptr) << text.name << ", " << state;
        const CardColour ground =
            blended({foreground.red, foreground.green, foreground.blue, text.plate}, colourFromHex(hex).value());
        EXPECT_GE(contrast(item->property(text.property).value<QColor>(), ground), kLegibleContrast)
            << text.name << " on " << hex << ", " << state;
      }
    }
  }

  UiRig rig;
};

TEST_F(Contrast, EveryTextOfACardReadsInEveryMode) {
  rig.open();
  ReaderInstance& card = rig.card(0);
  card.set(&ReaderSnapshot::outputProtocol, OutputProtocol::ltc);
  rig.runFor(20ms);
  expectLegible({{"label", "color", 0},
                 {"sourceLine", "color", 0},
                 {"targetLine", "color", 0},
                 {"statusText", "color", 0},
                 {"roleChip", "textColor", 0.1},
                 {"outputChip", "textColor", 0.1},
                 {"jamButton", "labelColor", 0.12}},
                "full");
  rig.click(rig.find("modeButton"));
  expectLegible({{"label", "color", 0},
                 {"statusText", "color", 0},
                 {"rateChip", "textColor", 0.12},
                 {"roleChip", "textColor", 0.1},
                 {"outputChip", "textColor", 0.1},
                 {"jamButton", "labelColor", 0.12}},
                "compact");
  rig.click(rig.find("modeButton"));
  expectLegible({{"label", "color", 0}, {"rateChip", "textColor", 0.12}}, "minimal");
}

TEST_F(Contrast, AGeneratorsButtonReads) {
  rig.open();
  rig.card(0).set(&ReaderSnapshot::cardRole, CardRole::generator);
  rig.runFor(20ms);
  expectLegible({{"statusText", "color", 0}, {"roleChip", "textColor", 0.1}, {"startButton", "labelColor", 0.12}},
                "stopped");
}

TEST_F(Contrast, AWarningReadsOnItsPlate) {
  rig.open();
  rig.card(0).set(&ReaderSnapshot::cardRole, CardRole::generator);
  rig.card(0).set(&ReaderSnapshot::outputProtocol, OutputProtocol::ltc);
  rig.runFor(20ms);
  rig.click(rig.find("startButton"));
  ASSERT_NE(rig.find("warningText"), nullptr);
  for (const std::string& hex : cardColours()) {
    rig.card(0).set(&ReaderSnapshot::backgroundColorHex, hex);
    rig.runFor(20ms);
    const QColor plate = rig.find("warningRow")->property("color").value<QColor>();
    const CardColour ground = blended(cardColour(plate), colourFromHex(hex).value());
    EXPECT_GE(contrast(rig.find("warningText")->property("color").value<QColor>(), ground), kLegibleContrast) << hex;
  }
}

TEST_F(Contrast, RunningDigitsAndTheirRateReadOnEveryPaletteColour) {
  rig.wall.world.audio().addDevice({.name = "Desk", .outputGroups = {2}});
  rig.open();
  ReaderInstance& card = rig.card(0);
  card.set(&ReaderSnapshot::cardRole, CardRole::generator);
  card.set(&ReaderSnapshot::outputProtocol, OutputProtocol::ltc);
  card.selectOutputDevice(rig.wall.registry->audioOutputs().front().id, rig.wall.registry->audioOutputs());
  rig.runFor(20ms);
  rig.click(rig.find("startButton"));
  rig.runFor(1s);
  ASSERT_EQ(rig.text("statusText"), "GENERATING");
  for (const std::string& hex : cardPalette()) {
    card.set(&ReaderSnapshot::backgroundColorHex, hex);
    rig.runFor(20ms);
    for (const char* name : {"digits", "rate"})
      EXPECT_GE(contrast(rig.find(name)->property("color").value<QColor>(), colourFromHex(hex).value()),
                kLegibleContrast)
          << name << " on " << hex;
  }
}

TEST_F(Contrast, TextsReadOnTheirGroundsLightAndDark) {
  rig.open();
  QQmlComponent view(&*rig.engine);
  view.setData("import QtQml\nimport Tallyrig\nQtObject { readonly property QtObject theme: Theme }", QUrl());
  const std::unique_ptr<QObject> holder(view.create());
  ASSERT_NE(holder, nullptr) << view.errorString().toStdString();
  const auto* theme = holder->property("theme").value<QObject*>();
  ASSERT_NE(theme, nullptr);
  for (const AppearanceMode mode : {AppearanceMode::light, AppearanceMode::dark}) {
    rig.store().setAppearanceOverride(mode);
    rig.runFor(20ms);
    const auto colour = [&](const char* name) { return theme->property(name).value<QColor>(); };
    const bool dark = theme->property("dark").toBool();
    EXPECT_EQ(dark, mode == AppearanceMode::dark);
    for (const auto& [text, ground] :
         {std::pair("text", "window"), std::pair("text", "bar"), std::pair("text", "panel"), std::pair("text", "field"),
          std::pair("text", "selectionFill"), std::pair("secondaryText", "window"), std::pair("secondaryText", "panel"),
          std::pair("secondaryText", "field"), std::pair("secondaryText", "selectionFill"),
          std::pair("noticeText", "noticeFill"), std::pair("destructive", "panel")})
      EXPECT_GE(contrast(colour(text), cardColour(colour(ground))), kLegibleContrast)
          << text << " on " << ground << (dark ? ", dark" : ", light");
    EXPECT_GE(contrast(Qt::black, cardColour(colour("warningAmber"))), kLegibleContrast);
    // White letters on an accent stand in an edge of their own where the accent is light.
    for (const char* fill : {"accent", "destructive"}) {
      const CardColour around = blended(cardColour(colour("accentEdge")), cardColour(colour(fill)));
      EXPECT_GE(contrast(Qt::white, around), kLegibleContrast) << fill << (dark ? ", dark" : ", light");
    }
  }
}

}  // namespace
}  // namespace tallyrig
