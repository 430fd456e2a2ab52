#pragma once

#include <QQuickItem>
#include <QVarLengthArray>
#include <memory>

#include "app/AtlasTextures.h"

namespace tallyrig {

/// A part of an atlas and where its top left corner goes in the item, both in device pixels.
struct AtlasPart {
  QRect source;
  QPoint target;
};

/// An item composed of parts of a prepared image, cheap enough to change sixty times a second on a wall of tiles: it
/// has no strings, bindings or layout. On a GPU it is one geometry node over a texture that equal items share; the
/// software renderer, which draws no geometry nodes, gets one image node fed by a composed `QImage`.
///
/// Main thread, but for what the scene graph calls with the main thread blocked.
class AtlasItem : public QQuickItem {
  Q_OBJECT

 public:
  explicit AtlasItem(QQuickItem* parent = nullptr);

 protected:
  using Parts = QVarLengthArray<AtlasPart, 12>;

  /// Names everything that `paintAtlas` depends on; items of a window with equal keys share one texture.
  virtual QByteArray atlasKey() const = 0;
  /// The image, `devicePixelRatio` set.
  virtual QImage paintAtlas() const = 0;
  virtual Parts parts() const = 0;

  /// Of the item's window; 1 without one.
  qreal devicePixelRatio() const;

  /// Overrides call on to here.
  void itemChange(ItemChange change, const ItemChangeData& data) override;
  void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;

 private:
  QSGNode* updatePaintNode(QSGNode* old, UpdatePaintNodeData* data) override;
  QSGNode* updateGeometryNode(QSGNode* old, const std::shared_ptr<Atlas>& atlas) const;
  QSGNode* updateImageNode(QSGNode* old, const std::shared_ptr<Atlas>& atlas) const;

  AtlasTextures* textures_ = nullptr;
};

}  // namespace tallyrig
