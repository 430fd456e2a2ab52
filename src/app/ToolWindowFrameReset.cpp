#include "app/ToolWindowFrameReset.h"

#include <QScreen>
#include <chrono>

#include "app/WindowFrame.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

/// A window restored by the desktop has its final size by then.
constexpr auto kSecondPass = 350ms;
/// How much less than the screen's free height a tool window's height is.
constexpr int kHeightMargin = 32;

}  // namespace

void ToolWindowFrameReset::componentComplete() {
  QQuickItem::componentComplete();
  toolWindow_ = window();
  if (!toolWindow_) return;
  restore();
  toolWindow_->installEventFilter(this);
  windowManager_->mainQueue().post(lifetime_.guard([this] { bringIntoRange(); }));
  windowManager_->mainQueue().postAfter(kSecondPass, lifetime_.guard([this] { bringIntoRange(); }));
}

void ToolWindowFrameReset::restore() {
  const auto saved = windowManager_->savedToolFrame(windowId_);
  const QScreen* screen = screenOf(*toolWindow_);
  if (!saved && !screen) return;
  // A window whose size is fixed takes the place only.
  const bool isFixed = toolWindow_->minimumSize() == toolWindow_->maximumSize();
  const QSize size = saved && !isFixed ? saved->size() : toolWindow_->size();
  const QRect area = screen ? screen->availableGeometry() : QRect();
  const QRect frame =
      saved ? clampedToScreens({saved->topLeft(), size}, freeAreas()) : fittedInto(centredIn(size, area), area);
  toolWindow_->resize(frame.size());
  toolWindow_->setFramePosition(frame.topLeft());
}

bool ToolWindowFrameReset::eventFilter(QObject* watched, QEvent* event) {
  const bool isFrameChange = event->type() == QEvent::Move || event->type() == QEvent::Resize;
  if (watched != toolWindow_ || !isFrameChange || !toolWindow_->isExposed()) return false;
  windowManager_->mainQueue().post(lifetime_.guard([this] {
    // A maximised window goes back to its own frame by the same button.
    if (toolWindow_ && toolWindow_->windowStates() == Qt::WindowNoState)
      windowManager_->saveToolFrame(windowId_, {toolWindow_->framePosition(), toolWindow_->size()});
  }));
  return false;
}

void ToolWindowFrameReset::bringIntoRange() {
  if (!toolWindow_) return;
  const QScreen* screen = screenOf(*toolWindow_);
  if (!screen) return;
  const QSize room = screen->availableSize();
  const QMargins chrome = toolWindow_->frameMargins();
  const QSize chromeSize(chrome.left() + chrome.right(), chrome.top() + chrome.bottom());
  if (toolWindow_->height() + chromeSize.height() < room.height() - kHeightMargin) return;
  toolWindow_->resize(contentSize_.boundedTo(room - chromeSize).expandedTo(toolWindow_->minimumSize()));
}

}  // namespace tallyrig
