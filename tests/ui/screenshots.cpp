// Pictures of the program's own views over a simulated world: screenshots <folder> [name...]. With names, only the
// scenes whose names begin so. Nothing in them depends on the time or the machine, but on the typefaces installed.

#include <gtest/gtest.h>

#include <QtQml/qqmlextensionplugin.h>
#include <QDir>
#include <QGuiApplication>
#include <QtTest/QTest>
#include <cstdio>
#include <functional>

#include "app/Fonts.h"
#include "support/LTCSignal.h"
#include "ui/UiRig.h"

Q_IMPORT_QML_PLUGIN(TallyrigPlugin)

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr int kChannels = 64;

/// A window over a stage box whose channels carry LTC, and a few MIDI ports.
class Stage {
 public:
  explicit Stage(std::vector<ReaderSnapshot> cards) {
    box = &rig.wall.world.audio().addDevice(
        {.name = "Stage Box 64", .inputGroups = {kChannels}, .outputGroups = {kChannels}});
    rig.wall.world.audio().addDevice({.name = "Console Return", .inputGroups = {8}, .outputGroups = {8}});
    for (const char* name : {"Show Control", "Lighting Desk"}) {
      rig.wall.world.midi().addSource(name);
      rig.wall.world.midi().addDestination(name);
    }
    for (int channel = 0; channel < kChannels; ++channel) feed(channel);
    for (std::size_t index = 0; index < cards.size(); ++index) {
      cards[index].sortOrder = static_cast<std::int64_t>(index);
      cards[index].id = QUuid::createUuidV5(QUuid(), QString::number(index));
    }
    rig.wall.world.files().put("/home/user/.local/share/Tallyrig/readers.json", *encodeSnapshots(cards));
  }

  void open(AppearanceMode mode, QSize size) {
    rig.open();
    rig.store().setAppearanceOverride(mode);
    rig.window->resize(size);
    rig.runFor(2s);
  }

  void openSettings(std::size_t card = 0) { rig.click(rig.find("settingsButton", rig.tile(card))); }
  void chooseOutput(const char* protocol) {
    rig.click(rig.find(QString("segment") + protocol, rig.find("outputProtocol")));
  }

  UiRig rig;
  SimulatedDevice* box;
  /// Whether each channel carries code.
  std::vector<bool> connected = std::vector<bool>(kChannels, true);

 private:
  void feed(int channel) {
    constexpr MTCFrameRate kRates[] = {MTCFrameRate::fps25, MTCFrameRate::fps30, MTCFrameRate::fps24,
                                       MTCFrameRate::fps2997};
    const MTCFrameRate rate = kRates[channel % 4];
    auto signal = std::make_shared<LTCSignal>(rate, Timecode{10 + channel % 12, (channel * 7) % 60, 30, 0, rate}, 48000,
                                              -2.0 - channel % 6 * 3.0);
    box->feed(channel, [this, channel, signal](std::int64_t position, std::span<float> samples) {
      if (connected[static_cast<std::size_t>(channel)]) signal->fill(position, samples);
    });
  }
};

ReaderSnapshot reader(const std::string& label, std::int64_t channel, const std::string& colour = "#2A3A6E") {
  ReaderSnapshot card;
  card.label = label;
  card.backgroundColorHex = colour;
  card.selectedDeviceName = "Stage Box 64";
  card.selectedChannel = channel;
  return card;
}

ReaderSnapshot emitting(ReaderSnapshot card, std::int64_t channel) {
  card.outputProtocol = OutputProtocol::ltc;
  card.selectedOutputDeviceName = "Stage Box 64";
  card.selectedOutputChannel = channel;
  return card;
}

ReaderSnapshot generator(const std::string& label, std::int64_t channel, const std::string& colour = "#3D1E6E") {
  ReaderSnapshot card = emitting(reader(label, 0, colour), channel);
  card.cardRole = CardRole::generator;
  card.generatorFrameRate = MTCFrameRate::fps25;
  return card;
}

ReaderSnapshot shownAs(TileDisplayMode mode, ReaderSnapshot card) {
  card.displayMode = mode;
  return card;
}

std::vector<ReaderSnapshot> mixedCards() {
  ReaderSnapshot midi = reader("Lighting", 0, "#1A3A3A");
  midi.sourceType = SourceType::mtc;
  midi.selectedMIDISourceName = "Lighting Desk";
  ReaderSnapshot missing = reader("OB truck", 6, "#1A2A1A");
  missing.selectedDeviceName = "Truck Return";
  return {reader("Playback A", 0),
          emitting(reader("FOH desk", 2, "#6E3D00"), 40),
          generator("Show clock", 41),
          shownAs(TileDisplayMode::compact, emitting(reader("A monitor feed with a very long name", 1, "#005C6E"), 42)),
          shownAs(TileDisplayMode::compact, reader("Light card", 4, "#F2E6C8")),
          shownAs(TileDisplayMode::compact, missing),
          shownAs(TileDisplayMode::minimal, reader("House", 3, "#3A1A2A")),
          shownAs(TileDisplayMode::minimal, reader("Stage left", 5, "#C8D8E8")),
          midi};
}

struct Picture {
  const char* name;
  std::function<void(Stage&)> prepare;
  std::vector<ReaderSnapshot> cards;
  QSize size = {1080, 700};
  /// The title of another window than the main one that is pictured.
  const char* window = nullptr;
};

void jamInEachState(Stage& stage) {
  // The signals of all but the first three have not come yet.
  for (std::size_t channel : {0, 4}) stage.connected[channel] = false;
  stage.rig.runFor(2s);
  for (std::size_t card = 1; card < 6; ++card) stage.rig.click(stage.rig.find("jamButton", stage.rig.tile(card)));
  stage.rig.runFor(2s);
  stage.connected[3] = stage.connected[5] = false;
  stage.rig.runFor(2s);
  const auto runUntil = [&](std::size_t card, const QString& state) {
    for (int step = 0; step < 300 && stage.rig.text("statusText", stage.rig.tile(card)) != state; ++step)
      stage.rig.runUnseen(8ms);
  };
  stage.connected[5] = true;
  runUntil(5, "REACQUIRING");
  stage.connected[4] = true;
  runUntil(4, "ACQUIRING");
  stage.rig.runFor(16ms);
}

std::vector<Picture> pictures() {
  std::vector<ReaderSnapshot> jams;
  for (const auto& [label, channel] :
       {std::pair("Waiting to be jammed", 1), std::pair("No input yet", 0), std::pair("On its input", 2),
        std::pair("Input lost", 3), std::pair("Input just come", 4), std::pair("Input back", 5)})
    jams.push_back(emitting(reader(label, channel, cardPalette()[jams.size()]), 40 + channel));

  std::vector<ReaderSnapshot> many;
  for (int channel = 0; channel < kChannels; ++channel) {
    ReaderSnapshot card =
        reader("Line " + std::to_string(channel + 1), channel, cardPalette()[static_cast<std::size_t>(channel / 8)]);
    card.displayMode = TileDisplayMode::compact;
    card.tileSize = TileSize::small;
    many.push_back(card);
  }

  ReaderSnapshot missing = reader("Missing input", 0);
  missing.selectedDeviceName = "Truck Return";
  ReaderSnapshot silent = generator("Missing output", 3, "#6E3D00");
  silent.selectedOutputDeviceName = "Truck Send";
  ReaderSnapshot light = reader("Missing, on a light card", 0, "#F2E6C8");
  light.selectedDeviceName = "Truck Return";

  const QSize beside(830, 760);
  const auto settings = [](Stage& stage) { stage.openSettings(); };
  return {
      {"empty", [](Stage&) {}, {}},
      {"one-card", [](Stage&) {}, {reader("Playback A", 0)}, {420, 320}},
      {"wall",
       [](Stage& stage) {
         stage.rig.click(stage.rig.find("startButton"));
         stage.rig.click(stage.rig.find("jamButton", stage.rig.tile(1)));
         stage.rig.runFor(1s);
       },
       mixedCards()},
      {"sixty-four", [](Stage& stage) { stage.rig.store().setGlobalTileSize(TileSize::small); }, many, {1920, 1080}},
      {"jam", jamInEachState, jams, {1080, 520}},
      {"warnings",
       [](Stage& stage) {
         for (QQuickItem* button : stage.rig.findAll("startButton")) stage.rig.click(button);
         for (std::size_t card : {0, 2, 3, 5}) stage.rig.card(card).startMonitoring();
         stage.rig.runFor(1s);
       },
       {missing, silent, light, shownAs(TileDisplayMode::compact, missing), shownAs(TileDisplayMode::minimal, silent),
        shownAs(TileDisplayMode::compact, light)},
       {1080, 520}},
      {"settings-reader", settings, {reader("Playback A", 0)}, beside},
      {"settings-reader-ltc",
       [](Stage& stage) {
         stage.openSettings();
         stage.chooseOutput("LTC");
       },
       {emitting(reader("Playback A", 0), 4)},
       beside},
      {"settings-reader-mtc",
       [](Stage& stage) {
         stage.openSettings();
         stage.rig.click(stage.rig.find("segmentMTC", stage.rig.find("source")));
         stage.chooseOutput("MTC");
       },
       {reader("Playback A", 0)},
       beside},
      {"settings-generator", settings, {generator("Show clock", 4)}, beside},
      {"settings-generator-tod",
       [](Stage& stage) {
         stage.openSettings();
         stage.rig.click(stage.rig.find("segmentTOD"));
         stage.chooseOutput("MTC");
         stage.rig.runFor(1s);
       },
       {generator("Show clock", 4)},
       beside},
      {"settings-conflict",
       [](Stage& stage) {
         stage.openSettings();
         stage.rig.click(stage.rig.find("apply"));
       },
       {emitting(reader("Playback A", 0), 4), emitting(reader("Playback B", 1, "#005C6E"), 4)},
       beside},
      {"settings-list",
       [](Stage& stage) {
         stage.openSettings();
         stage.rig.click(stage.rig.find("channel"));
         stage.rig.type("12");
       },
       {reader("Playback A", 0)},
       beside},
      {"settings-low", settings, {emitting(reader("Playback A", 0), 4)}, {420, 320}},
      {"global-settings",
       [](Stage& stage) {
         if (QQuickItem* button = stage.rig.find("globalSettings")) stage.rig.click(button);
       },
       {},
       {1080, 700},
       "Settings"},
      {"about",
       [](Stage& stage) {
         if (QQuickItem* button = stage.rig.find("about")) stage.rig.click(button);
       },
       {},
       {1080, 700},
       "About Tallyrig"},
  };
}

/// Draws a scene; false where its window is not there.
bool take(const Picture& picture, AppearanceMode mode, const QDir& folder, const QString& suffix) {
  Stage stage(picture.cards);
  stage.open(mode, picture.size);
  picture.prepare(stage);
  // For what Qt animates on its own clock.
  QTest::qWait(500);
  QQuickWindow* window = picture.window ? stage.rig.windowTitled(picture.window) : stage.rig.window;
  if (!window) return false;
  const QString path = folder.filePath(
      QString("%1-%2%3.png").arg(picture.name, mode == AppearanceMode::dark ? "dark" : "light", suffix));
  // Twice: the first lets Qt load what has just come into sight.
  window->grabWindow();
  if (!window->grabWindow().save(path)) {
    std::fprintf(stderr, "screenshots: cannot write %s\n", qPrintable(path));
    std::exit(1);
  }
  std::printf("%s\n", qPrintable(path));
  return true;
}

}  // namespace
}  // namespace tallyrig

int main(int argc, char** argv) {
  using namespace tallyrig;
  testing::InitGoogleTest(&argc, argv);
  if (argc < 2) {
    std::fprintf(stderr, "Usage: screenshots <folder> [name...]\n");
    return 2;
  }
  QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
  QGuiApplication application(argc, argv);
  QGuiApplication::setFont(interfaceFont());
  const double ratio = application.devicePixelRatio();
  const QString suffix = ratio == 1 ? QString() : QString("@%1x").arg(ratio);
  for (const Picture& picture : pictures()) {
    bool wanted = argc == 2;
    for (int index = 2; index < argc; ++index) wanted = wanted || QString(picture.name).startsWith(argv[index]);
    if (!wanted) continue;
    for (const AppearanceMode mode : {AppearanceMode::light, AppearanceMode::dark})
      if (!take(picture, mode, QDir(argv[1]), suffix)) std::printf("no window for %s\n", picture.name);
  }
  return 0;
}
