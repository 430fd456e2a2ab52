#pragma once

#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "app/Appearance.h"
#include "app/DesktopColourScheme.h"
#include "app/FileTools.h"
#include "app/MainWindowCloseHandler.h"
#include "app/MediaPlayers.h"
#include "app/SettingsForms.h"
#include "app/SoundServerWatch.h"
#include "app/TallyrigApp.h"
#include "app/WindowManager.h"
#include "platform/desktop/LocalUserFiles.h"
#include "platform/ffmpeg/FFmpegSampleRateConverters.h"
#include "support/SimulatedAudioFiles.h"
#include "support/SimulatedMediaFiles.h"
#include "support/SimulatedMovies.h"
#include "support/Wall.h"
#include "timecode/TimecodeRenderClock.h"

namespace tallyrig {

/// The program's window over a simulated world, drawn by the software renderer and driven by mouse and keyboard. Time
/// passes in the world only when a test says so; what the window has queued runs with it.
class UiRig {
 public:
  explicit UiRig(const SimulatedWorld::Options& options = {});
  ~UiRig();

  /// Builds the engine and shows the window. Devices and files are put into the world before.
  void open();
  /// Lets time pass and draws the window, which is when its views take their places.
  void runFor(std::chrono::nanoseconds duration);
  /// Lets time pass without drawing.
  void runUnseen(std::chrono::nanoseconds duration);

  /// The visible item of that object name, also inside popups; null if there is none.
  QQuickItem* find(const QString& name, QQuickItem* below = nullptr) const;
  std::vector<QQuickItem*> findAll(const QString& name, QQuickItem* below = nullptr) const;
  QString text(const QString& name, QQuickItem* below = nullptr) const;

  /// The visible window of that title besides the main one's; null if there is none.
  QQuickWindow* windowTitled(const QString& title) const;

  /// In whichever window the item is.
  void click(QQuickItem* item);
  void clickAt(QPoint point);
  void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {});
  /// Presses Tab until the item has the keyboard.
  void tabTo(QQuickItem* item);
  /// In another window than the main one.
  void pressIn(QWindow* target, Qt::Key key, Qt::KeyboardModifiers modifiers = {});
  /// Opens a menu of the menu bar and clicks on the command of that text.
  void chooseCommand(const QString& menu, const QString& command);
  void type(const QString& text);
  /// Opens a menu and clicks on the entry of that text.
  void choose(const QString& menu, const QString& entry);

  /// What the window shows now.
  QImage picture();
  QColor pixel(QQuickItem* item, QPointF within);

  ReaderStore& store() { return *wall.store; }
  ReaderInstance& card(std::size_t index) { return wall.card(index); }
  QQuickItem* tile(std::size_t index) const { return findAll("tile").at(index); }
  bool popoverIsOpen() const { return find("apply") != nullptr; }

  /// Before `open`: whether the window takes the size that its cards ask for. Otherwise it counts as sized by hand.
  bool fitsWindow = false;
  /// Before `open`: whether the desktop lets a window float.
  bool canFloat = true;
  /// Before `open`: the build that the program says it is.
  QString build;
  /// Before `open`: what the File Analyser does. Without files; what the tools do with them is tested apart.
  FileAnalyserOperations analyserOperations{
      [](const auto&) { return FileSummary{}; },
      [](const auto&, const auto&, const auto&) { return FileAnalysisError{}; },
      [](const auto&, const auto&, const auto&) { return TimecodeTrackResult{}; }};

  Wall wall;
  /// A desktop that says nothing.
  DesktopColourScheme desktop{QDBusConnection("none")};
  std::optional<TimecodeRenderClock> renderClock;
  std::optional<SettingsForms> forms;
  std::optional<SoundServerWatch> soundServer;
  std::optional<Appearance> appearance;
  std::optional<TallyrigApp> app;
  SimulatedMediaFiles mediaFiles;
  SimulatedAudioFiles audioFiles;
  LocalUserFiles userFiles;
  FFmpegSampleRateConverters converters;
  SimulatedMovies movies{wall.world.clock()};
  std::optional<MediaPlayers> mediaPlayers;
  std::optional<FileTools> fileTools;
  std::optional<WindowManager> windowManager;
  std::optional<MainWindowCloseHandler> closeHandler;
  std::optional<QQmlApplicationEngine> engine;
  QQuickWindow* window = nullptr;

 private:
  void settle();
};

/// Warnings that Qt has printed since the start of the test, such as a binding on an object that has gone.
std::vector<std::string>& qtWarnings();

}  // namespace tallyrig
