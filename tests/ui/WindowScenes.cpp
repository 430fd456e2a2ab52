#include <optional>

#include "ui/Stage.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr QSize kBesideACard(830, 760);

void openSettings(Stage& stage) {
  stage.openSettings();
}

void clickIfThere(Stage& stage, const char* button) {
  if (QQuickItem* item = stage.rig.find(button)) stage.rig.click(item);
}

FileAnalysisResult found(int channel, int channels, std::optional<std::string> metadata) {
  const auto at = [](int minutes, int seconds) { return Timecode{9, 58 + minutes, seconds, 12, MTCFrameRate::fps25}; };
  return {MTCFrameRate::fps25,
          at(0, 0),
          channel,
          channels,
          754,
          {{0, at(0, 0)}, {188, at(1, 8)}, {377, std::nullopt}, {565, at(1, 25)}, {752, at(1, 32)}},
          std::move(metadata)};
}

/// The File Analyser with a file of this name dropped on it.
std::function<void(Stage&)> analysing(const QString& file, bool untilFound = true) {
  return [file, untilFound](Stage& stage) {
    QQuickWindow* window = stage.openTool("file-analyser", "Analyse File");
    stage.drop(window, file);
    if (untilFound) stage.rig.runFor(100ms);
  };
}

/// The Media Player with a file of this name dropped on it, some seconds in.
std::function<void(Stage&)> playing(const QString& file) {
  return [file](Stage& stage) {
    QQuickWindow* window = stage.openTool("media-player", "Media Player");
    stage.drop(window, file);
    stage.rig.runFor(500ms);
    stage.rig.pressIn(window, Qt::Key_Right);
    stage.rig.pressIn(window, Qt::Key_Space);
    stage.rig.runFor(2s);
  };
}

}  // namespace

std::vector<Scene> settingsScenes() {
  const ReaderSnapshot card = readerCard("Playback A", 0);
  return {
      {"settings-reader", openSettings, {card}, kBesideACard},
      {"settings-reader-ltc",
       [](Stage& stage) {
         stage.openSettings();
         stage.chooseOutput("LTC");
       },
       {emitting(card, 4)},
       kBesideACard},
      {"settings-reader-mtc",
       [](Stage& stage) {
         stage.openSettings();
         stage.rig.click(stage.rig.find("segmentMTC", stage.rig.find("source")));
         stage.chooseOutput("MTC");
       },
       {card},
       kBesideACard},
      {"settings-generator", openSettings, {generatorCard("Show clock", 4)}, kBesideACard},
      {"settings-generator-tod",
       [](Stage& stage) {
         stage.openSettings();
         stage.rig.click(stage.rig.find("segmentTOD"));
         stage.chooseOutput("MTC");
         stage.rig.runFor(1s);
       },
       {generatorCard("Show clock", 4)},
       kBesideACard},
      {"settings-conflict",
       [](Stage& stage) {
         stage.openSettings();
         stage.rig.click(stage.rig.find("apply"));
       },
       {emitting(card, 4), emitting(readerCard("Playback B", 1, "#005C6E"), 4)},
       kBesideACard},
      {"settings-list",
       [](Stage& stage) {
         stage.openSettings();
         stage.rig.click(stage.rig.find("channel"));
         stage.rig.type("12");
       },
       {card},
       kBesideACard},
      {"settings-low", openSettings, {emitting(card, 4)}, {420, 400}},
      {"settings-apart", openSettings, {emitting(card, 4)}, {420, 180}, "Playback A – Settings"},
  };
}

std::vector<Scene> windowScenes() {
  const auto tool = [](const char* id, const char* title) {
    return [id, title](Stage& stage) { stage.openTool(id, title); };
  };
  const auto analyser = [](const char* name, std::function<void(Stage&)> prepare) {
    return Scene{name, std::move(prepare), {}, {1080, 700}, "Analyse File"};
  };
  const auto player = [](const char* name, std::function<void(Stage&)> prepare) {
    return Scene{name, std::move(prepare), {}, {1080, 700}, "Media Player"};
  };
  return {
      {"global-settings", [](Stage& stage) { clickIfThere(stage, "globalSettings"); }, {}, {1080, 700}, "Settings"},
      {"about", [](Stage& stage) { clickIfThere(stage, "about"); }, {}, {1080, 700}, "About Tallyrig"},
      {"quit", [](Stage& stage) { stage.rig.app->requestQuit(); }, {}, {1080, 700}, "Quit Tallyrig?"},
      {"clear-all", [](Stage& stage) { stage.rig.app->requestClearAll(); }, {}, {1080, 700}, "Clear all readers?"},
      {"wav-generator", tool("wav-generator", "Generate WAV"), {}, {1080, 700}, "Generate WAV"},
      analyser("file-analyser", tool("file-analyser", "Analyse File")),
      analyser("file-analyser-loading", analysing("/media/Overture.wav", false)),
      analyser("file-analyser-sound",
               [](Stage& stage) {
                 stage.outcome = found(1, 2, std::nullopt);
                 analysing("/media/Overture.wav")(stage);
               }),
      analyser("file-analyser-movie",
               [](Stage& stage) {
                 stage.fileChannels = 8;
                 stage.pictureRate = 25;
                 stage.outcome = found(7, 8, "00:00:00:00");
                 analysing("/media/Opening film.mov")(stage);
               }),
      player("media-player", tool("media-player", "Media Player")),
      player("media-player-sound", playing("/media/Overture.mp3")),
      player("media-player-movie", playing("/media/Opening film.mov")),
      player("media-player-routing",
             [](Stage& stage) {
               playing("/media/Opening film.mov")(stage);
               QQuickWindow* window = stage.rig.windowTitled("Media Player");
               const auto menus = stage.rig.findAll("assignmentMenu", window->contentItem());
               stage.rig.click(menus.at(2));
             }),
  };
}

}  // namespace tallyrig
