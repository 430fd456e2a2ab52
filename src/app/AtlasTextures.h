#pragma once

#include <QByteArray>
#include <QHash>
#include <QImage>
#include <QObject>
#include <QQuickWindow>
#include <QSGTexture>
#include <functional>
#include <memory>

namespace tallyrig {

/// A painted image and its texture, shared by all items of a window that draw from it. The last node that holds it
/// drops it, on the render thread, where textures must die.
struct Atlas {
  QImage image;
  std::unique_ptr<QSGTexture> texture;
};

/// The atlases in use in one window, so that a wall of equal tiles paints its digits once. A child of the window.
class AtlasTextures : public QObject {
  Q_OBJECT

 public:
  /// Main thread.
  static AtlasTextures& of(QQuickWindow& window);

  /// The atlas under `key`, painted by `paint` if no node holds it now. Render thread, main thread blocked.
  std::shared_ptr<Atlas> atlas(const QByteArray& key, const std::function<QImage()>& paint);

 private:
  explicit AtlasTextures(QQuickWindow& window);

  QQuickWindow& window_;
  QHash<QByteArray, std::weak_ptr<Atlas>> atlases_;
};

}  // namespace tallyrig
