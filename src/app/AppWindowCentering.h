#pragma once

#include <QtQml/qqmlregistration.h>
#include <QPointer>
#include <QQuickItem>
#include <QQuickWindow>

#include "app/TallyrigApp.h"

namespace tallyrig {

/// An invisible part of a utility window that puts it in the middle of its screen when it appears, and once more when
/// its size has settled. Main thread.
class AppWindowCentering : public QQuickItem {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(tallyrig::TallyrigApp* app MEMBER app_ REQUIRED)

 public:
  using QQuickItem::QQuickItem;

 protected:
  void componentComplete() override;
  void itemChange(ItemChange change, const ItemChangeData& data) override;

 private:
  void attach(QQuickWindow* window);
  static void centre(QQuickWindow& window);

  TallyrigApp* app_ = nullptr;
  QPointer<QQuickWindow> seenWindow_;
  Lifetime lifetime_;
};

}  // namespace tallyrig
