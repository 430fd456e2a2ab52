#include "app/AppWindowCentering.h"

#include <chrono>

#include "app/WindowFrame.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr auto kSecondPass = 450ms;

}  // namespace

void AppWindowCentering::componentComplete() {
  QQuickItem::componentComplete();
  attach(window());
}

void AppWindowCentering::itemChange(ItemChange change, const ItemChangeData& data) {
  QQuickItem::itemChange(change, data);
  if (change == ItemSceneChange && isComponentComplete()) attach(data.window);
}

void AppWindowCentering::attach(QQuickWindow* window) {
  if (!window || window == seenWindow_) return;
  seenWindow_ = window;
  centre(*window);
  app_->mainQueue().postAfter(kSecondPass, lifetime_.guard([this, seen = seenWindow_] {
    if (seen && seen == seenWindow_) centre(*seen);
  }));
}

void AppWindowCentering::centre(QQuickWindow& window) {
  const QScreen* screen = screenOf(window);
  if (!screen) return;
  const QMargins frame = window.frameMargins();
  const QSize outer = window.size() + QSize(frame.left() + frame.right(), frame.top() + frame.bottom());
  window.setFramePosition(centredIn(outer, screen->availableGeometry()).topLeft());
}

}  // namespace tallyrig
