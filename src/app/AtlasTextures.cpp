#include "app/AtlasTextures.h"

namespace tallyrig {

AtlasTextures& AtlasTextures::of(QQuickWindow& window) {
  auto* found = window.findChild<AtlasTextures*>(QString(), Qt::FindDirectChildrenOnly);
  return found ? *found : *new AtlasTextures(window);
}

AtlasTextures::AtlasTextures(QQuickWindow& window) : QObject(&window), window_(window) {}

std::shared_ptr<Atlas> AtlasTextures::atlas(const QByteArray& key, const std::function<QImage()>& paint) {
  if (auto existing = atlases_.value(key).lock()) return existing;
  atlases_.removeIf([](const auto& entry) { return entry.value().expired(); });
  auto made = std::make_shared<Atlas>();
  made->image = paint();
  made->texture.reset(window_.createTextureFromImage(made->image));
  made->texture->setFiltering(QSGTexture::Linear);
  atlases_.insert(key, made);
  return made;
}

}  // namespace tallyrig
