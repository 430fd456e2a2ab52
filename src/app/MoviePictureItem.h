#pragma once

#include <QtQml/qqmlregistration.h>
#include <QPointer>
#include <QQuickItem>
#include <memory>

#include "platform/MoviePlayer.h"
#include "player/FileMediaPlayerModel.h"

namespace tallyrig {

/// Shows the pictures of a clip, fitted into the item with their proportions kept. Works with and without a graphics
/// card. Main thread.
class MoviePictureItem : public QQuickItem {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(tallyrig::FileMediaPlayerModel* player READ player WRITE setPlayer NOTIFY playerChanged)
  /// A picture is there.
  Q_PROPERTY(bool hasPicture READ hasPicture NOTIFY hasPictureChanged)

 public:
  explicit MoviePictureItem(QQuickItem* parent = nullptr);

  FileMediaPlayerModel* player() const { return player_; }
  void setPlayer(FileMediaPlayerModel* player);
  bool hasPicture() const { return picture_ != nullptr; }

 signals:
  void playerChanged();
  void hasPictureChanged();

 protected:
  QSGNode* updatePaintNode(QSGNode* node, UpdatePaintNodeData* data) override;
  void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;
  void itemChange(ItemChange change, const ItemChangeData& value) override;

 private:
  void show(std::shared_ptr<const MoviePicture> picture);
  void askForSize();

  QPointer<FileMediaPlayerModel> player_;
  std::shared_ptr<const MoviePicture> picture_;
  /// The picture has not been drawn yet.
  bool isNew_ = false;
};

}  // namespace tallyrig
