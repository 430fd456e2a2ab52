#include "app/AppWindowCentering.h"

#include <QGuiApplication>
#include <QScreen>
#include <chrono>

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
  const QScreen* screen = window.screen() ? window.screen() : QGuiApplication::primaryScreen();
  if (!screen) return;
  const QMargins frame = window.frameMargins();
  const QSize outer = window.size() + QSize(frame.left() + frame.right(), frame.top() + frame.bottom());
  const QRect area = screen->availableGeometry();
  window.setFramePosition(
      {area.x() + (area.width() - outer.width()) / 2, area.y() + (area.height() - outer.height()) / 2});
}

}  // namespace tallyrig
