#pragma once

#include <QObject>
#include <QRectF>
#include <QSGNode>
#include <QSize>
#include <memory>

#include "platform/MoviePlayer.h"

class QOpenGLFramebufferObject;
class QQuickWindow;
class QSGImageNode;

namespace tallyrig {

/// Has a movie's pictures drawn into a texture of its own, with the window's OpenGL, and shows that. Made, used and
/// destroyed on the scene graph's thread, by the item it belongs to.
class MoviePaintingNode final : public QObject, public QSGNode {
 public:
  MoviePaintingNode(QQuickWindow& window, MoviePainters& painters);
  ~MoviePaintingNode() override;

  /// Shows the pictures in `rect`, with that many pixels; nothing if `isShown` is not. `isDue` says that the picture
  /// is another now.
  void show(const QRectF& rect, QSize pixels, bool isShown, bool isDue);

 private:
  void paint();

  QQuickWindow& window_;
  std::unique_ptr<MoviePainter> painter_;
  std::unique_ptr<QOpenGLFramebufferObject> canvas_;
  /// A child of this node while there is something to show.
  QSGImageNode* image_ = nullptr;
  bool isDue_ = false;
};

}  // namespace tallyrig
