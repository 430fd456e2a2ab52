#include "app/CardSurface.h"

#include <QPainter>
#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace tallyrig {

namespace {

/// How far a corner reaches along its sides, in radii: beyond the circle's quarter, to begin to bend gently.
constexpr double kReach = 1.53;
/// Of the superellipse that a corner is a quarter of: with that reach, the one whose middle is the circle's.
constexpr double kExponent = 3.26;
constexpr int kSteps = 24;

}  // namespace

void CardSurface::setColor(const QColor& color) {
  if (color_ == color) return;
  color_ = color;
  update();
  emit colorChanged();
}

void CardSurface::setLineColor(const QColor& color) {
  if (lineColor_ == color) return;
  lineColor_ = color;
  update();
  emit lineColorChanged();
}

QPainterPath CardSurface::outline(const QRectF& rect, double radius) {
  const double reach = std::min({kReach * radius, rect.width() / 2, rect.height() / 2});
  QPainterPath path;
  // One corner after the other, each from the side it begins at; `along` points on to the next side.
  const std::array<std::pair<QPointF, QPointF>, 4> corners{{{rect.topRight(), {1, 0}},
                                                            {rect.bottomRight(), {0, 1}},
                                                            {rect.bottomLeft(), {-1, 0}},
                                                            {rect.topLeft(), {0, -1}}}};
  for (const auto& [corner, along] : corners) {
    const QPointF onward(-along.y(), along.x());
    for (int step = 0; step <= kSteps; ++step) {
      const double angle = std::numbers::pi / 2 * step / kSteps;
      const double before = reach * (1 - std::pow(std::sin(angle), 2 / kExponent));
      const double after = reach * (1 - std::pow(std::cos(angle), 2 / kExponent));
      const QPointF point = corner - along * before + onward * after;
      if (path.elementCount() == 0) path.moveTo(point);
      path.lineTo(point);
    }
  }
  path.closeSubpath();
  return path;
}

QSize CardSurface::paintedSize() const {
  return (size() * devicePixelRatio()).toSize();
}

QByteArray CardSurface::atlasKey() const {
  return "surface/" + QByteArray::number(paintedSize().width()) + 'x' + QByteArray::number(paintedSize().height()) +
         '/' + QByteArray::number(devicePixelRatio()) + '/' + QByteArray::number(color_.rgba(), 16) + '/' +
         QByteArray::number(lineColor_.rgba(), 16);
}

QImage CardSurface::paintAtlas() const {
  QImage image(paintedSize(), QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.scale(devicePixelRatio(), devicePixelRatio());
  const double half = kLineWidth / 2;
  const QSizeF shown = QSizeF(image.size()) / devicePixelRatio();
  painter.setBrush(color_);
  painter.setPen(QPen(lineColor_, kLineWidth));
  painter.drawPath(outline(QRectF({}, shown).adjusted(half, half, -half, -half), kCornerRadius));
  painter.end();
  image.setDevicePixelRatio(devicePixelRatio());
  return image;
}

AtlasItem::Parts CardSurface::parts() const {
  Parts parts;
  parts.append({QRect({}, paintedSize()), QPoint(0, 0)});
  return parts;
}

}  // namespace tallyrig
