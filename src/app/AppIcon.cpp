#include "app/AppIcon.h"

#include <QPainter>
#include <QSvgRenderer>
#include <cmath>

namespace tallyrig {

AppIcon::AppIcon(QQuickItem* parent) : AtlasItem(parent) {
  setImplicitSize(iconSize_, iconSize_);
}

void AppIcon::setName(const QString& name) {
  if (name_ == name) return;
  name_ = name;
  emit nameChanged();
  update();
}

void AppIcon::setColor(const QColor& color) {
  if (color_ == color) return;
  color_ = color;
  emit colorChanged();
  update();
}

void AppIcon::setIconSize(int size) {
  if (iconSize_ == size || size <= 0) return;
  iconSize_ = size;
  setImplicitSize(size, size);
  emit iconSizeChanged();
  update();
}

int AppIcon::paintedSide() const {
  return static_cast<int>(std::ceil(iconSize_ * devicePixelRatio()));
}

QByteArray AppIcon::atlasKey() const {
  return "icon/" + name_.toUtf8() + '/' + QByteArray::number(iconSize_) + '/' + QByteArray::number(devicePixelRatio()) +
         '/' + QByteArray::number(color_.rgba(), 16);
}

QImage AppIcon::paintAtlas() const {
  QImage image(paintedSide(), paintedSide(), QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QSvgRenderer renderer(QStringLiteral(":/qt/qml/Tallyrig/icons/%1.svg").arg(name_));
  QPainter painter(&image);
  painter.setRenderHint(QPainter::Antialiasing);
  renderer.render(&painter);
  // The drawing gives the shape, the item the colour.
  painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
  painter.fillRect(image.rect(), color_);
  painter.end();
  image.setDevicePixelRatio(devicePixelRatio());
  return image;
}

AtlasItem::Parts AppIcon::parts() const {
  Parts parts;
  parts.append({QRect(0, 0, paintedSide(), paintedSide()), QPoint(0, 0)});
  return parts;
}

}  // namespace tallyrig
