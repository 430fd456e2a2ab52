#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include "reader/CardColour.h"
#include "support/LTCSignal.h"
#include "ui/UiRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

/// A window with one card that hears an LTC signal on channel 3 of a device.
class ReceivingTile {
 public:
  explicit ReceivingTile(MTCFrameRate rate) : signal_(rate, {10, 20, 30, 0, rate}, 48000) {
    device_ = &rig.wall.world.audio().addDevice({.name = "Rack", .inputGroups = {8}});
    device_->feed(2, [this](std::int64_t position, std::span<float> samples) {
      if (connected) signal_.fill(position, samples);
    });
    rig.open();
    rig.card(0).selectInputDevice(device_->id(), rig.wall.registry->audioInputs());
    rig.card(0).set(&ReaderSnapshot::selectedChannel, 2);
    rig.card(0).startMonitoring();
  }

  /// Where in the signal the last tick of the render clock falls, in samples.
  double tickPosition() {
    const HostClock& clock = rig.wall.world.clock();
    return clock.seconds(rig.renderClock->hostTime() - device_->timeOf(0)) * 48000;
  }

  LTCSignal& signal() { return signal_; }

  bool connected = true;
  UiRig rig;

 private:
  LTCSignal signal_;
  SimulatedDevice* device_;
};

class RunningDigits : public testing::TestWithParam<MTCFrameRate> {};

TEST_P(RunningDigits, ShowTheFrameThatIsOnTheWireAtEachTick) {
  ReceivingTile tile(GetParam());
  tile.rig.runFor(2s);
  int compared = 0;
  for (int i = 0; i < 300; ++i) {
    tile.rig.runUnseen(16ms);
    const double position = tile.tickPosition();
    const auto whole = static_cast<std::int64_t>(std::floor(position));
    // A tick within a sample of the change of frames may show either.
    if (tile.signal().frameAt(whole - 1) != tile.signal().frameAt(whole + 2)) continue;
    ASSERT_EQ(tile.rig.text("digits").toStdString(), tile.signal().frameAt(whole).text()) << "at sample " << position;
    ++compared;
  }
  EXPECT_GT(compared, 250);
  EXPECT_EQ(tile.rig.text("rate").toStdString(), std::string(rateText(GetParam())) + " fps");
  EXPECT_EQ(tile.rig.text("statusText"), "LOCKED");
}

INSTANTIATE_TEST_SUITE_P(Rates, RunningDigits,
                         testing::Values(MTCFrameRate::fps24, MTCFrameRate::fps25, MTCFrameRate::fps2997,
                                         MTCFrameRate::fps30));

TEST(ReaderTileView, DigitsStandWhenTheSignalGoes) {
  ReceivingTile tile(MTCFrameRate::fps25);
  tile.rig.runFor(2s);
  EXPECT_EQ(tile.rig.find("tile")->property("statusColor").value<QColor>(), QColor::fromRgbF(0.2F, 0.85F, 0.4F));
  tile.connected = false;
  tile.rig.runFor(3s);
  EXPECT_EQ(tile.rig.text("statusText"), "NO SIGNAL");
  EXPECT_EQ(tile.rig.find("tile")->property("statusColor").value<QColor>(), QColor::fromRgbF(0.8F, 0.2F, 0.2F));
  const QString held = tile.rig.text("digits");
  EXPECT_NE(held, "--:--:--:--");
  EXPECT_EQ(held.toStdString(), tile.rig.card(0).currentTimecode()->text());
  EXPECT_EQ(tile.rig.find("digits")->property("color").value<QColor>(), QColor(Qt::white));
  tile.rig.runFor(1s);
  EXPECT_EQ(tile.rig.text("digits"), held);
}

TEST(ReaderTileView, DigitsNeverMoveSideways) {
  ReceivingTile tile(MTCFrameRate::fps25);
  const qreal widthBefore = tile.rig.find("digits")->width();
  const QPointF placeBefore = tile.rig.find("digits")->mapToScene({0, 0});
  for (int i = 0; i < 50; ++i) {
    tile.rig.runUnseen(50ms);
    ASSERT_EQ(tile.rig.find("digits")->width(), widthBefore);
    ASSERT_EQ(tile.rig.find("digits")->mapToScene({0, 0}), placeBefore);
  }
}

TEST(ReaderTileView, DrawsWhatTheDigitsSay) {
  ReceivingTile tile(MTCFrameRate::fps25);
  tile.rig.runFor(2s);
  QQuickItem* digits = tile.rig.find("digits");
  const auto cell = [&](int place) {
    const QPoint corner = digits->mapToScene({0, 0}).toPoint();
    const int width = static_cast<int>(digits->width()) / 11;
    return tile.rig.picture().copy(corner.x() + place * width, corner.y(), width, static_cast<int>(digits->height()));
  };
  const QString shown = tile.rig.text("digits");
  ASSERT_EQ(shown.left(5), "10:20");
  EXPECT_EQ(cell(2), cell(5));
  EXPECT_EQ(cell(1), cell(4));
  EXPECT_NE(cell(0), cell(1));
  EXPECT_NE(cell(0), cell(2));
}

TEST(ReaderTileView, FreshCardShowsDashesFaintly) {
  UiRig rig;
  rig.open();
  EXPECT_EQ(rig.text("digits"), "--:--:--:--");
  EXPECT_EQ(rig.text("rate"), "-- fps");
  EXPECT_NEAR(rig.find("digits")->property("color").value<QColor>().alphaF(), 0.3, 0.003);
  EXPECT_EQ(rig.text("statusText"), "NO SIGNAL");
  EXPECT_EQ(rig.text("sourceLine"), "No device");
  EXPECT_EQ(rig.text("targetLine"), "Channel 1");
  EXPECT_EQ(rig.text("roleChip"), "LTC");
}

TEST(ReaderTileView, ModesGoRoundFromFullToCompactToMinimal) {
  UiRig rig;
  rig.open();
  const qreal fullHeight = rig.tile(0)->height();
  EXPECT_NE(rig.find("rate"), nullptr);
  EXPECT_NE(rig.find("meter"), nullptr);
  EXPECT_EQ(rig.find("rateChip"), nullptr);

  rig.click(rig.find("modeButton"));
  EXPECT_EQ(rig.card(0).displayModeText(), "compact");
  EXPECT_EQ(rig.find("rate"), nullptr);
  EXPECT_EQ(rig.find("meter"), nullptr);
  EXPECT_NE(rig.find("rateChip"), nullptr);
  EXPECT_NE(rig.find("statusText"), nullptr);
  const qreal compactHeight = rig.tile(0)->height();
  EXPECT_LT(compactHeight, fullHeight);

  rig.click(rig.find("modeButton"));
  EXPECT_EQ(rig.card(0).displayModeText(), "minimal");
  EXPECT_EQ(rig.find("statusText"), nullptr);
  EXPECT_NE(rig.find("rateChip"), nullptr);
  EXPECT_NE(rig.find("digits"), nullptr);
  EXPECT_NE(rig.find("label"), nullptr);
  EXPECT_LT(rig.tile(0)->height(), compactHeight);

  rig.click(rig.find("modeButton"));
  EXPECT_EQ(rig.card(0).displayModeText(), "full");
  EXPECT_EQ(rig.tile(0)->height(), fullHeight);
}

TEST(ReaderTileView, ModeIsSavedAtOnce) {
  UiRig rig;
  rig.open();
  rig.click(rig.find("modeButton"));
  std::string text;
  ASSERT_FALSE(rig.wall.world.files().readFile(*rig.store().persistenceURL(), 1 << 20, text));
  EXPECT_EQ(decodeSnapshots(text)->front().displayMode, TileDisplayMode::compact);
}

TEST(ReaderTileView, WarningTakesThePlaceOfTheSourceLine) {
  UiRig rig;
  SimulatedDevice& device = rig.wall.world.audio().addDevice({.name = "Rack", .inputGroups = {2}});
  rig.open();
  rig.card(0).selectInputDevice(device.id(), rig.wall.registry->audioInputs());
  rig.runFor(20ms);
  EXPECT_EQ(rig.find("warningRow"), nullptr);
  EXPECT_EQ(rig.text("sourceLine"), "Rack");

  rig.wall.world.audio().unplug(device);
  rig.runFor(20ms);
  rig.wall.registry->refresh("test");
  rig.card(0).startMonitoring();
  rig.runFor(20ms);
  QQuickItem* row = rig.find("warningRow");
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(rig.text("warningText", row), "Audio device unavailable: Rack");
  EXPECT_EQ(rig.find("sourceLine"), nullptr);
  EXPECT_EQ(rig.text("targetLine"), "Channel 1");

  rig.click(rig.find("modeButton"));
  EXPECT_EQ(rig.find("warningRow"), nullptr);
  EXPECT_NE(rig.find("warningIcon"), nullptr);
}

struct Lines {
  CardRole role;
  SourceType source;
  OutputProtocol output;
  const char* sourceLine;
  const char* targetLine;
  const char* roleChip;
  const char* outputChip;
  bool hasMeter;
};

class TileLines : public testing::TestWithParam<Lines> {};

TEST_P(TileLines, SayWhereTheCodeComesFromAndGoesTo) {
  const Lines& lines = GetParam();
  UiRig rig;
  rig.open();
  ReaderInstance& card = rig.card(0);
  card.set(&ReaderSnapshot::cardRole, lines.role);
  card.set(&ReaderSnapshot::sourceType, lines.source);
  card.set(&ReaderSnapshot::outputProtocol, lines.output);
  card.set(&ReaderSnapshot::selectedDeviceName, std::string("Rack"));
  card.set(&ReaderSnapshot::selectedChannel, 6);
  card.set(&ReaderSnapshot::selectedOutputDeviceName, std::string("Desk"));
  card.set(&ReaderSnapshot::selectedOutputChannel, 1);
  card.set(&ReaderSnapshot::selectedMIDISourceName, std::string("Bridge in"));
  card.set(&ReaderSnapshot::selectedMIDIDestinationName, std::string("Bridge out"));
  rig.runFor(20ms);
  EXPECT_EQ(rig.text("sourceLine").toStdString(), lines.sourceLine);
  EXPECT_EQ(rig.text("targetLine").toStdString(), lines.targetLine);
  EXPECT_EQ(rig.text("roleChip").toStdString(), lines.roleChip);
  EXPECT_EQ(rig.find("outputChip") ? rig.text("outputChip").toStdString() : "", lines.outputChip);
  EXPECT_EQ(rig.find("meter") != nullptr, lines.hasMeter);
}

INSTANTIATE_TEST_SUITE_P(Cards, TileLines,
                         testing::Values(Lines{CardRole::reader, SourceType::ltc, OutputProtocol::disabled, "Rack",
                                               "Channel 7", "LTC", "", true},
                                         Lines{CardRole::reader, SourceType::ltc, OutputProtocol::mtc, "Rack",
                                               "Channel 7", "LTC", "→ MTC", true},
                                         Lines{CardRole::reader, SourceType::mtc, OutputProtocol::ltc, "Bridge in",
                                               "MIDI Timecode", "MTC", "→ LTC", false},
                                         Lines{CardRole::generator, SourceType::ltc, OutputProtocol::disabled,
                                               "No output", "Output disabled", "GEN", "", false},
                                         Lines{CardRole::generator, SourceType::ltc, OutputProtocol::ltc, "Desk",
                                               "Output channel 2", "GEN", "", false},
                                         Lines{CardRole::generator, SourceType::mtc, OutputProtocol::mtc,
                                               "MIDI Timecode", "Bridge out", "GEN", "", false}));

TEST(ReaderTileView, LongNameGivesWayToTheControls) {
  UiRig rig;
  rig.open();
  rig.window->resize(384, 400);
  rig.card(0).set(&ReaderSnapshot::label, std::string("A name that is far too long for the card that has it"));
  for (int mode = 0; mode < 3; ++mode) {
    rig.runFor(20ms);
    const QQuickItem* label = rig.find("label");
    const QQuickItem* controls = rig.find("controls");
    EXPECT_LE(label->mapToScene({label->width(), 0}).x(), controls->mapToScene({0, 0}).x());
    EXPECT_GT(label->width(), 60);
    rig.click(rig.find("modeButton"));
  }
}

double luminanceContrast(const QColor& text, const std::string& hex, double plate) {
  const CardColour foreground = foregroundOnHex(hex);
  const CardColour ground =
      blended({foreground.red, foreground.green, foreground.blue, plate}, colourFromHex(hex).value());
  return contrastRatio(blended({text.redF(), text.greenF(), text.blueF(), text.alphaF()}, ground), ground);
}

TEST(ReaderTileView, EveryTextReadsOnEveryPaletteColour) {
  UiRig rig;
  rig.open();
  rig.card(0).set(&ReaderSnapshot::outputProtocol, OutputProtocol::ltc);
  for (const std::string& hex : cardPalette()) {
    rig.card(0).set(&ReaderSnapshot::backgroundColorHex, hex);
    rig.runFor(20ms);
    for (const auto& [name, property, plate] :
         {std::tuple("label", "color", 0.0), std::tuple("sourceLine", "color", 0.0),
          std::tuple("targetLine", "color", 0.0), std::tuple("statusText", "color", 0.0),
          std::tuple("roleChip", "textColor", 0.1), std::tuple("outputChip", "textColor", 0.1)}) {
      const QQuickItem* item = rig.find(name);
      ASSERT_NE(item, nullptr) << name;
      EXPECT_GE(luminanceContrast(item->property(property).value<QColor>(), hex, plate), 4.5) << name << " on " << hex;
    }
  }
}

TEST(ReaderTileView, ColourThatIsNoneIsPaintedNearBlack) {
  UiRig rig;
  rig.open();
  rig.card(0).set(&ReaderSnapshot::backgroundColorHex, std::string("no colour"));
  rig.runFor(20ms);
  EXPECT_EQ(rig.pixel(rig.tile(0), {8, rig.tile(0)->height() / 2}), QColor(26, 26, 26));
  EXPECT_EQ(rig.find("label")->property("color").value<QColor>(), QColor(Qt::white));
}

TEST(ReaderTileView, TextsAreDarkOnALightCard) {
  UiRig rig;
  rig.open();
  rig.card(0).set(&ReaderSnapshot::backgroundColorHex, std::string("#999999"));
  rig.runFor(20ms);
  EXPECT_EQ(rig.find("label")->property("color").value<QColor>().rgb(), qRgb(26, 26, 26));
}

}  // namespace
}  // namespace tallyrig
