#include "app/MoviePictureItem.h"

#include <QImage>
#include <QQuickWindow>
#include <QSGImageNode>
#include <QSGRendererInterface>
#include <cmath>
#include <utility>

#include "app/MoviePaintingNode.h"

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
  painters_.reset();
  if (player_) {
    connect(player_, &FileMediaPlayerModel::pictureChanged, this, &MoviePictureItem::show);
    connect(player_, &FileMediaPlayerModel::pictureDue, this, &MoviePictureItem::showDue);
    connect(player_, &FileMediaPlayerModel::changed, this, &MoviePictureItem::checkVideo);
  }
  choosePath();
  emit playerChanged();
}

void MoviePictureItem::choosePath() {
  if (!player_ || !window() || painters_) return;
  if (window()->rendererInterface()->graphicsApi() == QSGRendererInterface::OpenGL) painters_ = player_->usePainters();
  askForSize();
  update();
}

void MoviePictureItem::show(std::shared_ptr<const MoviePicture> picture) {
  isThere_ = picture != nullptr;
  picture_ = std::move(picture);
  isNew_ = true;
  checkVideo();
  update();
}

void MoviePictureItem::showDue() {
  isThere_ = true;
  isNew_ = true;
  checkVideo();
  update();
}

void MoviePictureItem::checkVideo() {
  const bool has = isThere_ && player_ && player_->hasVideo();
  if (std::exchange(hasPicture_, has) == has) return;
  update();
  emit hasPictureChanged();
}

QSize MoviePictureItem::pixels() const {
  const qreal ratio = window()->effectiveDevicePixelRatio();
  return {static_cast<int>(std::ceil(width() * ratio)), static_cast<int>(std::ceil(height() * ratio))};
}

void MoviePictureItem::askForSize() {
  if (!player_ || !window()) return;
  const QSize size = pixels();
  player_->setPictureSize(size.width(), size.height());
  update();
}

void MoviePictureItem::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) {
  QQuickItem::geometryChange(newGeometry, oldGeometry);
  askForSize();
}

void MoviePictureItem::itemChange(ItemChange change, const ItemChangeData& value) {
  QQuickItem::itemChange(change, value);
  if (change == ItemSceneChange) choosePath();
  if (change == ItemDevicePixelRatioHasChanged) askForSize();
}

QSGNode* MoviePictureItem::updatePaintNode(QSGNode* node, UpdatePaintNodeData*) {
  if (painters_) {
    // Made as soon as the window is drawn, for without it there will be no picture.
    auto* painting = static_cast<MoviePaintingNode*>(node);
    if (!painting) painting = new MoviePaintingNode(*window(), *painters_);
    painting->show(boundingRect(), pixels(), hasPicture_, std::exchange(isNew_, false));
    return painting;
  }
  auto* image = static_cast<QSGImageNode*>(node);
  if (!picture_ || !hasPicture_) {
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
