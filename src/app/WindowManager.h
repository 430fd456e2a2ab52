#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QWindow>
#include <cstdint>
#include <optional>

#include "platform/HostClock.h"
#include "platform/Lifetime.h"
#include "platform/Preferences.h"
#include "platform/SerialQueue.h"
#include "reader/ReaderTypes.h"

namespace tallyrig {

/// Looks after the main window: remembers its frame, makes it fit the cards until the user has sized it by hand, and
/// gives it the pinned mode, in which it has no frame and floats above all others. Knows which tool windows stand open
/// and where each stood last, by their ids: "wav-generator", "file-analyser" and "media-player", see
/// qml/ToolWindow.qml. Main thread.
class WindowManager : public QObject {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("Made where the program is put together")
  /// Pinned mode is wanted; `applyPinState` makes it so.
  Q_PROPERTY(bool isOnTop READ isOnTop WRITE setIsOnTop NOTIFY isOnTopChanged)
  /// Whether this desktop lets a window choose to stay above the others.
  Q_PROPERTY(bool canFloat READ canFloat CONSTANT)
  /// The toolbar is away: in pinned mode, and for a moment after it.
  Q_PROPERTY(bool toolbarIsDetached READ toolbarIsDetached NOTIFY toolbarIsDetachedChanged)
  /// The ids of the tool windows that stand open, in the order of their opening.
  Q_PROPERTY(QStringList openWindows READ openWindows NOTIFY openWindowsChanged)
  /// The size that the contents would take in pinned mode. The pinned window follows it.
  Q_PROPERTY(QSize fittingSize READ fittingSize WRITE setFittingSize NOTIFY fittingSizeChanged)

 public:
  WindowManager(Preferences& preferences, const HostClock& clock, SerialQueue& mainQueue, bool canFloat);

  bool isOnTop() const { return isOnTop_; }
  void setIsOnTop(bool isOnTop);
  bool canFloat() const { return canFloat_; }
  bool toolbarIsDetached() const { return toolbarIsDetached_; }
  QSize fittingSize() const { return fittingSize_; }
  void setFittingSize(QSize size);
  QStringList openWindows() const { return openWindows_; }
  SerialQueue& mainQueue() { return mainQueue_; }

  /// Takes charge of the window, before it is shown, and puts it where it stood last. While it has one that lives,
  /// another is not taken.
  void attach(QWindow* window);
  /// Opens the tool window, or calls it to the front.
  Q_INVOKABLE void openWindow(const QString& id);
  Q_INVOKABLE void dismissWindow(const QString& id);
  /// Where the tool window stood last. Absent before its first time.
  std::optional<QRect> savedToolFrame(const QString& id) const;
  void saveToolFrame(const QString& id, const QRect& frame);

  Q_INVOKABLE void applyPinState();
  /// Ends pinned mode in the next step of the main queue; nothing if it is off.
  Q_INVOKABLE void exitPinnedMode();
  /// In the next step of the main queue, makes the window fit so many cards of that size under a bar of `barHeight`.
  /// Nothing once the user has sized it.
  Q_INVOKABLE void fitMainWindow(int tileCount, const QString& tileSize, int barHeight);

 signals:
  void isOnTopChanged();
  void toolbarIsDetachedChanged();
  void fittingSizeChanged();
  void openWindowsChanged();
  /// The tool window is to come to the front.
  void windowCalled(const QString& id);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  struct Fit {
    int tileCount;
    TileSize tileSize;
    int barHeight;
  };

  QRect frame() const;
  void setFrame(const QRect& frame);
  void saveFrame();
  bool isManuallySized() const;
  void handleFrameChange(bool isResizeByOthers);
  void fit(const Fit& wanted);
  void pin(QWindow& window);
  void unpin(QWindow& window);
  void fitPinned();
  void setToolbarIsDetached(bool isDetached);

  Preferences& preferences_;
  const HostClock& clock_;
  SerialQueue& mainQueue_;
  const bool canFloat_;
  bool isOnTop_ = false;
  bool toolbarIsDetached_ = false;
  QSize fittingSize_;
  QStringList openWindows_;
  QPointer<QWindow> mainWindow_;
  QPointer<QWindow> pinnedWindow_;
  std::optional<Qt::WindowFlags> originalFlags_;
  std::optional<QRect> frameBeforePin_;
  /// Held against whoever moves the window while it first appears.
  std::optional<QRect> protectedLaunchFrame_;
  /// A fit that waits for the window to be on the screen.
  std::optional<Fit> pendingFit_;
  /// A resize before this instant is our own doing.
  HostTime ignoreResizesUntil_;
  /// Each new value outdates the pending return of the toolbar.
  std::uint64_t pinGeneration_ = 0;
  Lifetime lifetime_;
};

}  // namespace tallyrig
