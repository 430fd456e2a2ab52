#pragma once

#include <QtQml/qqmlregistration.h>
#include <QColor>
#include <QPainterPath>

#include "app/AtlasItem.h"

namespace tallyrig {

/// The plate of a card: filled, with a line along its edge, and with corners whose curvature grows and wanes without a
/// jump where they meet the sides. Cards of one size and the same colours share one image.
///
/// The item is the plate with the whole of its line. Main thread.
class CardSurface : public AtlasItem {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)
  Q_PROPERTY(QColor lineColor READ lineColor WRITE setLineColor NOTIFY lineColorChanged)

 public:
  /// Of the line, half of which lies within the plate's edge, in pixels of the interface.
  static constexpr double kLineWidth = 6;
  /// Of the circle that the corner's middle touches.
  static constexpr double kCornerRadius = 16;

  using AtlasItem::AtlasItem;

  QColor color() const { return color_; }
  void setColor(const QColor& color);
  QColor lineColor() const { return lineColor_; }
  void setLineColor(const QColor& color);

  /// A rectangle with such corners.
  static QPainterPath outline(const QRectF& rect, double radius);

 signals:
  void colorChanged();
  void lineColorChanged();

 protected:
  QByteArray atlasKey() const override;
  QImage paintAtlas() const override;
  Parts parts() const override;

 private:
  /// In device pixels.
  QSize paintedSize() const;

  QColor color_;
  QColor lineColor_;
};

}  // namespace tallyrig
