#pragma once

#include <QtQml/qqmlregistration.h>
#include <QPointer>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSize>

#include "app/WindowManager.h"

namespace tallyrig {

/// An invisible part of a tool window that opens it where it stood last, in the middle of the screen the first time,
/// keeps its frame as it is moved and sized, and brings a window that opens as high as the screen back to a size that
/// fits. Main thread.
class ToolWindowFrameReset : public QQuickItem {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(tallyrig::WindowManager* windowManager MEMBER windowManager_ REQUIRED)
  Q_PROPERTY(QString windowId MEMBER windowId_ REQUIRED)
  /// What the contents take where there is room, in pixels of the interface.
  Q_PROPERTY(QSize contentSize MEMBER contentSize_ REQUIRED)

 public:
  using QQuickItem::QQuickItem;

 protected:
  void componentComplete() override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void restore();
  void bringIntoRange();

  WindowManager* windowManager_ = nullptr;
  QString windowId_;
  QSize contentSize_;
  QPointer<QQuickWindow> toolWindow_;
  Lifetime lifetime_;
};

}  // namespace tallyrig
