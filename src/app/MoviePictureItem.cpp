#include "app/MoviePictureItem.h"

#include <QImage>
#include <QQuickWindow>
#include <QSGImageNode>
#include <cmath>
#include <utility>

namespace tallyrig {
namespace {

/// The same bytes, which live as long as the image.
QImage imageOf(const std::shared_ptr<const MoviePicture>& picture) {
  auto* const owner = new std::shared_ptr<const MoviePicture>(picture);
  return {picture->pixels.data(),
          picture->width,
          picture->height,
          picture->stride,
          QImage::Format_RGB32,
          [](void* held) { delete static_cast<std::shared_ptr<const MoviePicture>*>(held); },
          owner};
}

}  // namespace

MoviePictureItem::MoviePictureItem(QQuickItem* parent) : QQuickItem(parent) {
  setFlag(ItemHasContents);
}

void MoviePictureItem::setPlayer(FileMediaPlayerModel* player) {
  if (player == player_) return;
  if (player_) player_->disconnect(this);
  player_ = player;
  if (player_) connect(player_, &FileMediaPlayerModel::pictureChanged, this, &MoviePictureItem::show);
  askForSize();
  emit playerChanged();
}

void MoviePictureItem::show(std::shared_ptr<const MoviePicture> picture) {
  const bool had = hasPicture();
  picture_ = std::move(picture);
  isNew_ = true;
  update();
  if (had != hasPicture()) emit hasPictureChanged();
}

void MoviePictureItem::askForSize() {
  if (!player_ || !window()) return;
  const qreal ratio = window()->effectiveDevicePixelRatio();
  player_->setPictureSize(static_cast<int>(std::ceil(width() * ratio)), static_cast<int>(std::ceil(height() * ratio)));
}

void MoviePictureItem::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) {
  QQuickItem::geometryChange(newGeometry, oldGeometry);
  askForSize();
}

void MoviePictureItem::itemChange(ItemChange change, const ItemChangeData& value) {
  QQuickItem::itemChange(change, value);
  if (change == ItemSceneChange || change == ItemDevicePixelRatioHasChanged) askForSize();
}

QSGNode* MoviePictureItem::updatePaintNode(QSGNode* node, UpdatePaintNodeData*) {
  auto* image = static_cast<QSGImageNode*>(node);
  if (!picture_) {
    delete image;
    return nullptr;
  }
  if (!image) {
    image = window()->createImageNode();
    image->setOwnsTexture(true);
    isNew_ = true;
  }
  if (isNew_) image->setTexture(window()->createTextureFromImage(imageOf(picture_), QQuickWindow::TextureIsOpaque));
  isNew_ = false;
  image->setRect(boundingRect());
  return image;
}

}  // namespace tallyrig
