#include "app/MoviePaintingNode.h"

#include <QOpenGLContext>
#include <QOpenGLFramebufferObject>
#include <QQuickOpenGLUtils>
#include <QQuickWindow>
#include <QSGImageNode>
#include <QSGTexture>

namespace tallyrig {

MoviePaintingNode::MoviePaintingNode(QQuickWindow& window, MoviePainters& painters) : window_(window) {
  painter_ = painters.make([](const char* name) -> void* {
    auto* const context = QOpenGLContext::currentContext();
    return context ? reinterpret_cast<void*>(context->getProcAddress(name)) : nullptr;
  });
  QQuickOpenGLUtils::resetOpenGLState();
  // Before the pass in which the window itself is drawn.
  connect(
      &window, &QQuickWindow::beforeRendering, this, [this] { paint(); }, Qt::DirectConnection);
}

MoviePaintingNode::~MoviePaintingNode() {
  // Goes before the texture that it shows.
  delete image_;
}

void MoviePaintingNode::show(const QRectF& rect, QSize pixels, bool isShown, bool isDue) {
  if (!painter_ || !isShown || pixels.isEmpty()) {
    delete image_;
    image_ = nullptr;
    isDue_ = false;
    return;
  }
  if (!canvas_ || canvas_->size() != pixels) {
    delete image_;
    image_ = nullptr;
    canvas_ = std::make_unique<QOpenGLFramebufferObject>(pixels);
  }
  if (!image_) {
    image_ = window_.createImageNode();
    image_->setTexture(QNativeInterface::QSGOpenGLTexture::fromNative(canvas_->texture(), &window_, pixels,
                                                                      QQuickWindow::CreateTextureOptions{}));
    image_->setOwnsTexture(true);
    appendChildNode(image_);
    isDue = true;
  }
  image_->setRect(rect);
  isDue_ = isDue_ || isDue;
  if (isDue_) image_->markDirty(DirtyMaterial);
}

void MoviePaintingNode::paint() {
  if (!isDue_) return;
  isDue_ = false;
  window_.beginExternalCommands();
  // What the window has set last, such as blending, is not for the painter either.
  QQuickOpenGLUtils::resetOpenGLState();
  painter_->paint(canvas_->handle(), canvas_->width(), canvas_->height());
  QQuickOpenGLUtils::resetOpenGLState();
  window_.endExternalCommands();
}

}  // namespace tallyrig
