#include "app/AtlasItem.h"

#include <QPainter>
#include <QQuickWindow>
#include <QSGGeometryNode>
#include <QSGImageNode>
#include <QSGRendererInterface>
#include <QSGTextureMaterial>
#include <span>

namespace tallyrig {

namespace {

/// Two triangles per part, drawn from the shared texture.
class PartsGeometryNode : public QSGGeometryNode {
 public:
  PartsGeometryNode() : geometry_(QSGGeometry::defaultAttributes_TexturedPoint2D(), 0) {
    geometry_.setDrawingMode(QSGGeometry::DrawTriangles);
    setGeometry(&geometry_);
    setMaterial(&material_);
  }

  void show(const std::shared_ptr<Atlas>& atlas, std::span<const AtlasPart> parts, qreal ratio) {
    if (atlas_ != atlas) {
      material_.setTexture(atlas->texture.get());
      material_.setFiltering(QSGTexture::Linear);
      atlas_ = atlas;
      markDirty(DirtyMaterial);
    }
    const auto vertexCount = static_cast<int>(parts.size()) * 6;
    if (geometry_.vertexCount() != vertexCount) geometry_.allocate(vertexCount);
    auto* vertex = geometry_.vertexDataAsTexturedPoint2D();
    const QRectF texture = atlas->texture->normalizedTextureSubRect();
    const QSizeF size = atlas->image.size();
    for (const AtlasPart& part : parts) {
      const QRectF target(QPointF(part.target) / ratio, QSizeF(part.source.size()) / ratio);
      const QRectF source(texture.x() + part.source.x() / size.width() * texture.width(),
                          texture.y() + part.source.y() / size.height() * texture.height(),
                          part.source.width() / size.width() * texture.width(),
                          part.source.height() / size.height() * texture.height());
      const auto put = [&](bool right, bool bottom) {
        vertex++->set(static_cast<float>(right ? target.right() : target.left()),
                      static_cast<float>(bottom ? target.bottom() : target.top()),
                      static_cast<float>(right ? source.right() : source.left()),
                      static_cast<float>(bottom ? source.bottom() : source.top()));
      };
      put(false, false);
      put(true, false);
      put(false, true);
      put(false, true);
      put(true, false);
      put(true, true);
    }
    markDirty(DirtyGeometry);
  }

 private:
  QSGGeometry geometry_;
  QSGTextureMaterial material_;
  std::shared_ptr<Atlas> atlas_;
};

/// One image node. It shows the shared texture itself where the item is the whole atlas, else an image of its own.
class PartsImageNode : public QSGNode {
 public:
  explicit PartsImageNode(QQuickWindow& window) : window_(window), imageNode_(window.createImageNode()) {
    appendChildNode(imageNode_);
  }

  void show(const std::shared_ptr<Atlas>& atlas, std::span<const AtlasPart> parts, QSize size, qreal ratio) {
    if (parts.size() == 1 && parts.front().source == atlas->image.rect() && parts.front().target.isNull()) {
      imageNode_->setTexture(atlas->texture.get());
      composed_.reset();
      size = atlas->image.size();
    } else {
      if (canvas_.size() != size) canvas_ = QImage(size, QImage::Format_ARGB32_Premultiplied);
      canvas_.fill(Qt::transparent);
      QPainter painter(&canvas_);
      painter.setCompositionMode(QPainter::CompositionMode_Source);
      QImage source = atlas->image;
      source.setDevicePixelRatio(1);
      for (const AtlasPart& part : parts) painter.drawImage(part.target, source, part.source);
      painter.end();
      std::unique_ptr<QSGTexture> texture(window_.createTextureFromImage(canvas_));
      imageNode_->setTexture(texture.get());
      composed_ = std::move(texture);
    }
    imageNode_->setRect(QRectF({}, QSizeF(size) / ratio));
    imageNode_->setSourceRect(QRectF({}, QSizeF(size)));
    imageNode_->markDirty(DirtyMaterial);
    atlas_ = atlas;
  }

 private:
  QQuickWindow& window_;
  std::shared_ptr<Atlas> atlas_;
  QImage canvas_;
  std::unique_ptr<QSGTexture> composed_;
  QSGImageNode* imageNode_;
};

}  // namespace

AtlasItem::AtlasItem(QQuickItem* parent) : QQuickItem(parent) {
  setFlag(ItemHasContents);
}

qreal AtlasItem::devicePixelRatio() const {
  return window() ? window()->effectiveDevicePixelRatio() : 1;
}

void AtlasItem::itemChange(ItemChange change, const ItemChangeData& data) {
  if (change == ItemSceneChange) textures_ = data.window ? &AtlasTextures::of(*data.window) : nullptr;
  if (change == ItemSceneChange || change == ItemDevicePixelRatioHasChanged) update();
  QQuickItem::itemChange(change, data);
}

void AtlasItem::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) {
  if (newGeometry.size() != oldGeometry.size()) update();
  QQuickItem::geometryChange(newGeometry, oldGeometry);
}

QSGNode* AtlasItem::updatePaintNode(QSGNode* old, UpdatePaintNodeData*) {
  if (!textures_ || width() <= 0 || height() <= 0) {
    delete old;
    return nullptr;
  }
  const auto atlas = textures_->atlas(atlasKey(), [this] { return paintAtlas(); });
  const bool software = window()->rendererInterface()->graphicsApi() == QSGRendererInterface::Software;
  return software ? updateImageNode(old, atlas) : updateGeometryNode(old, atlas);
}

QSGNode* AtlasItem::updateGeometryNode(QSGNode* old, const std::shared_ptr<Atlas>& atlas) const {
  auto* node = old ? static_cast<PartsGeometryNode*>(old) : new PartsGeometryNode;
  const Parts shown = parts();
  node->show(atlas, {shown.data(), static_cast<std::size_t>(shown.size())}, devicePixelRatio());
  return node;
}

QSGNode* AtlasItem::updateImageNode(QSGNode* old, const std::shared_ptr<Atlas>& atlas) const {
  auto* node = old ? static_cast<PartsImageNode*>(old) : new PartsImageNode(*window());
  const qreal ratio = devicePixelRatio();
  const Parts shown = parts();
  node->show(atlas, {shown.data(), static_cast<std::size_t>(shown.size())}, (size() * ratio).toSize(), ratio);
  return node;
}

}  // namespace tallyrig
