#include "app/WindowManager.h"

#include <QResizeEvent>
#include <chrono>

#include "app/WindowFrame.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr const char* kManuallySizedKey = "Tallyrig.MainWindowManuallySized";
constexpr const char* kFrameKey = "Tallyrig.MainWindowFrame";
constexpr const char* kToolFrameKey = "Tallyrig.ToolWindowFrame.";
constexpr auto kLaunchProtection = 500ms;
constexpr auto kToolbarDelay = 150ms;
constexpr std::uint64_t kOwnResizeNanos = 1'000'000'000;
constexpr int kScreenMargin = 24;

/// A window that was smaller than it may be now grows to its least size.
bool isGrowthToLeastSize(const QWindow& window, const QResizeEvent& event) {
  const QSize before = event.oldSize();
  const QSize after = event.size();
  return (before.width() < window.minimumWidth() && after.width() == window.minimumWidth()) ||
         (before.height() < window.minimumHeight() && after.height() == window.minimumHeight());
}

}  // namespace

WindowManager::WindowManager(Preferences& preferences, const HostClock& clock, SerialQueue& mainQueue, bool canFloat)
    : preferences_(preferences), clock_(clock), mainQueue_(mainQueue), canFloat_(canFloat) {}

void WindowManager::setIsOnTop(bool isOnTop) {
  if (isOnTop == isOnTop_) return;
  isOnTop_ = isOnTop;
  emit isOnTopChanged();
}

void WindowManager::setFittingSize(QSize size) {
  if (size == fittingSize_) return;
  fittingSize_ = size;
  emit fittingSizeChanged();
  if (isOnTop_ && pinnedWindow_) mainQueue_.post(lifetime_.guard([this] { fitPinned(); }));
}

void WindowManager::setToolbarIsDetached(bool isDetached) {
  if (isDetached == toolbarIsDetached_) return;
  toolbarIsDetached_ = isDetached;
  emit toolbarIsDetachedChanged();
}

void WindowManager::attach(QWindow* window) {
  if (!window || mainWindow_) return;
  mainWindow_ = window;
  const auto text = preferences_.string(kFrameKey);
  if (const auto saved = text ? frameFromText(*text) : std::nullopt) {
    protectedLaunchFrame_ = clampedToScreens(*saved, freeAreas());
    setFrame(*protectedLaunchFrame_);
    mainQueue_.postAfter(kLaunchProtection, lifetime_.guard([this, launched = mainWindow_] {
      if (launched && launched == mainWindow_) protectedLaunchFrame_.reset();
    }));
  }
  window->installEventFilter(this);
}

bool WindowManager::eventFilter(QObject* watched, QEvent* event) {
  if (watched != mainWindow_) return false;
  if (event->type() == QEvent::Expose && pendingFit_ && mainWindow_->isExposed()) {
    mainQueue_.post(lifetime_.guard([this, wanted = *pendingFit_] { fit(wanted); }));
    pendingFit_.reset();
  }
  // Before it is on the screen it is not the user who moves it.
  const bool isMove = event->type() == QEvent::Move;
  const bool isResize = event->type() == QEvent::Resize;
  if ((!isMove && !isResize) || !mainWindow_->isExposed()) return false;
  const bool isByOthers = isResize && !isGrowthToLeastSize(*mainWindow_, static_cast<const QResizeEvent&>(*event));
  mainQueue_.post(lifetime_.guard([this, isByOthers] { handleFrameChange(isByOthers); }));
  return false;
}

void WindowManager::handleFrameChange(bool isResizeByOthers) {
  if (!mainWindow_) return;
  if (protectedLaunchFrame_) {
    if (frame() != *protectedLaunchFrame_) setFrame(*protectedLaunchFrame_);
    return;
  }
  if (isOnTop_) return;
  if (isResizeByOthers && clock_.now() >= ignoreResizesUntil_) preferences_.setString(kManuallySizedKey, "true");
  saveFrame();
}

QRect WindowManager::frame() const {
  return {mainWindow_->framePosition(), mainWindow_->size()};
}

void WindowManager::setFrame(const QRect& frame) {
  ignoreResizesUntil_ = clock_.now() + clock_.ticksFromNanos(kOwnResizeNanos);
  mainWindow_->resize(frame.size());
  mainWindow_->setFramePosition(frame.topLeft());
}

void WindowManager::saveFrame() {
  if (!isOnTop_ && mainWindow_) preferences_.setString(kFrameKey, toFrameText(frame()));
}

bool WindowManager::isManuallySized() const {
  return preferences_.string(kManuallySizedKey) == "true";
}

void WindowManager::fitMainWindow(int tileCount, const QString& tileSize, int barHeight) {
  const auto size = fromRawValue<TileSize>(tileSize.toStdString());
  if (!size) return;
  mainQueue_.post(lifetime_.guard([this, wanted = Fit{tileCount, *size, barHeight}] { fit(wanted); }));
}

void WindowManager::fit(const Fit& wanted) {
  if (isOnTop_ || !mainWindow_ || isManuallySized()) return;
  // How thick the frame is shows only then.
  if (!mainWindow_->isExposed()) {
    pendingFit_ = wanted;
    return;
  }
  const QScreen* screen = screenOf(*mainWindow_);
  if (!screen) return;
  const QMargins chrome = mainWindow_->frameMargins();
  const QSize chromeSize(chrome.left() + chrome.right(), chrome.top() + chrome.bottom());
  const QRect available =
      screen->availableGeometry().marginsRemoved(QMargins(kScreenMargin, kScreenMargin, kScreenMargin, kScreenMargin));
  const QSize content = (wallSize(wanted.tileCount, wanted.tileSize) + QSize(0, wanted.barHeight))
                            .expandedTo(mainWindow_->minimumSize())
                            .boundedTo(available.size() - chromeSize);
  const QRect outer = fittedInto({mainWindow_->framePosition(), content + chromeSize}, available);
  setFrame({outer.topLeft(), content});
}

void WindowManager::openWindow(const QString& id) {
  if (!openWindows_.contains(id)) {
    openWindows_ += id;
    emit openWindowsChanged();
  }
  emit windowCalled(id);
}

void WindowManager::dismissWindow(const QString& id) {
  if (openWindows_.removeAll(id) > 0) emit openWindowsChanged();
}

std::optional<QRect> WindowManager::savedToolFrame(const QString& id) const {
  const auto text = preferences_.string(kToolFrameKey + id.toStdString());
  return text ? frameFromText(*text) : std::nullopt;
}

void WindowManager::saveToolFrame(const QString& id, const QRect& frame) {
  preferences_.setString(kToolFrameKey + id.toStdString(), toFrameText(frame));
}

void WindowManager::applyPinState() {
  QWindow* window = isOnTop_ ? mainWindow_ : pinnedWindow_ ? pinnedWindow_ : mainWindow_;
  pinnedWindow_ = isOnTop_ ? window : nullptr;
  if (!window) return;
  if (!originalFlags_) originalFlags_ = window->flags();
  isOnTop_ ? pin(*window) : unpin(*window);
}

void WindowManager::exitPinnedMode() {
  if (!isOnTop_) return;
  mainQueue_.post(lifetime_.guard([this] {
    setIsOnTop(false);
    applyPinState();
  }));
}

void WindowManager::pin(QWindow& window) {
  ++pinGeneration_;
  if (!frameBeforePin_) frameBeforePin_ = frame();
  setToolbarIsDetached(true);
  window.setFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
  window.raise();
  mainQueue_.post(lifetime_.guard([this] { fitPinned(); }));
}

void WindowManager::fitPinned() {
  if (!isOnTop_ || !pinnedWindow_) return;
  const QScreen* screen = screenOf(*pinnedWindow_);
  if (!screen) return;
  const QRect whole = screen->geometry();
  const QSize size =
      fittingSize_.isEmpty() ? pinnedWindow_->size() : fittingSize_.expandedTo(pinnedWindow_->minimumSize());
  pinnedWindow_->resize(size.boundedTo(whole.size()));
  mainQueue_.post(lifetime_.guard([this, top = whole.y()] {
    if (isOnTop_ && pinnedWindow_) pinnedWindow_->setFramePosition({pinnedWindow_->framePosition().x(), top});
  }));
}

void WindowManager::unpin(QWindow& window) {
  window.setFlags(*originalFlags_);
  if (frameBeforePin_) setFrame(*frameBeforePin_);
  frameBeforePin_.reset();
  window.raise();
  window.requestActivate();
  mainQueue_.postAfter(kToolbarDelay, lifetime_.guard([this, generation = ++pinGeneration_] {
    if (generation == pinGeneration_) setToolbarIsDetached(false);
  }));
}

}  // namespace tallyrig
