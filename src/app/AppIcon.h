#pragma once

#include <QtQml/qqmlregistration.h>
#include <QColor>

#include "app/AtlasItem.h"

namespace tallyrig {

/// One of the program's own symbols, drawn in one colour and sharp at any scale. Main thread.
class AppIcon : public AtlasItem {
  Q_OBJECT
  QML_ELEMENT
  /// A file of icons/, without its ending.
  Q_PROPERTY(QString name READ name WRITE setName NOTIFY nameChanged REQUIRED)
  Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)
  /// Side of the square.
  Q_PROPERTY(int size READ iconSize WRITE setIconSize NOTIFY iconSizeChanged)

 public:
  explicit AppIcon(QQuickItem* parent = nullptr);

  QString name() const { return name_; }
  void setName(const QString& name);
  QColor color() const { return color_; }
  void setColor(const QColor& color);
  int iconSize() const { return iconSize_; }
  void setIconSize(int size);

 signals:
  void nameChanged();
  void colorChanged();
  void iconSizeChanged();

 protected:
  QByteArray atlasKey() const override;
  QImage paintAtlas() const override;
  Parts parts() const override;

 private:
  int paintedSide() const;

  QString name_;
  QColor color_ = Qt::black;
  int iconSize_ = 24;
};

}  // namespace tallyrig
