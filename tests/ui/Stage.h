#pragma once

#include <QDir>
#include <QList>
#include <QSize>
#include <QUrl>
#include <functional>
#include <string>
#include <vector>

#include "reader/ReaderSnapshot.h"
#include "ui/UiRig.h"

namespace tallyrig {

/// Where a picture for the documentation is taken: the program's window over a stage box whose 64 channels carry LTC, a
/// console, a few MIDI ports and some media files. Everything is made up, so that a picture comes out the same each
/// time.
class Stage {
 public:
  static constexpr int kChannels = 64;

  explicit Stage(std::vector<ReaderSnapshot> cards);

  void open(AppearanceMode mode, QSize size);

  void openSettings(std::size_t card = 0);
  void chooseOutput(const char* protocol);
  /// Opens a tool's window.
  QQuickWindow* openTool(const char* id, const QString& title);
  /// As a file manager drops a file on a window.
  void drop(QQuickWindow* window, const QString& path);

  UiRig rig;
  SimulatedDevice* box;
  /// Whether each channel carries code.
  std::vector<bool> connected = std::vector<bool>(kChannels, true);
  /// What the File Analyser finds in any file.
  int fileChannels = 2;
  std::optional<double> pictureRate;
  FileAnalysisOutcome outcome = FileAnalysisError{};

 private:
  void feed(int channel);
  void addMediaFiles();
};

/// What is seen in one picture.
struct Scene {
  const char* name;
  std::function<void(Stage&)> prepare;
  std::vector<ReaderSnapshot> cards;
  /// Of the main window.
  QSize size = {1080, 700};
  /// The title of another window than the main one that is pictured.
  const char* window = nullptr;
  /// `size` is in pixels of the screen, whatever the scale.
  bool inScreenPixels = false;
};

ReaderSnapshot readerCard(const std::string& label, std::int64_t channel, const std::string& colour = "#2A3A6E");
ReaderSnapshot generatorCard(const std::string& label, std::int64_t channel, const std::string& colour = "#3D1E6E");
/// The card with an LTC output.
ReaderSnapshot emitting(ReaderSnapshot card, std::int64_t channel);
ReaderSnapshot shownAs(TileDisplayMode mode, ReaderSnapshot card);
/// The card with an input device that is not there.
ReaderSnapshot missing(ReaderSnapshot card);

std::vector<Scene> wallScenes();
std::vector<Scene> settingsScenes();
std::vector<Scene> windowScenes();

}  // namespace tallyrig
