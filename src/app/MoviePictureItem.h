#pragma once

#include <QtQml/qqmlregistration.h>
#include <QPointer>
#include <QQuickItem>
#include <memory>

#include "platform/MoviePlayer.h"
#include "player/FileMediaPlayerModel.h"

namespace tallyrig {

/// Shows the pictures of a clip, fitted into the item with their proportions kept: drawn by the graphics card where the
/// window is drawn with OpenGL, else in memory. It must be visible before a clip is loaded. Main thread.
class MoviePictureItem : public QQuickItem {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(tallyrig::FileMediaPlayerModel* player READ player WRITE setPlayer NOTIFY playerChanged)
  /// A moving picture is shown.
  Q_PROPERTY(bool hasPicture READ hasPicture NOTIFY hasPictureChanged)

 public:
  explicit MoviePictureItem(QQuickItem* parent = nullptr);

  FileMediaPlayerModel* player() const { return player_; }
  void setPlayer(FileMediaPlayerModel* player);
  bool hasPicture() const { return hasPicture_; }

 signals:
  void playerChanged();
  void hasPictureChanged();

 protected:
  QSGNode* updatePaintNode(QSGNode* node, UpdatePaintNodeData* data) override;
  void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;
  void itemChange(ItemChange change, const ItemChangeData& value) override;

 private:
  void show(std::shared_ptr<const MoviePicture> picture);
  void showDue();
  void checkVideo();
  /// Once window and player are known.
  void choosePath();
  void askForSize();
  QSize pixels() const;

  QPointer<FileMediaPlayerModel> player_;
  /// Empty where pictures come in memory.
  std::shared_ptr<MoviePainters> painters_;
  std::shared_ptr<const MoviePicture> picture_;
  /// Something to draw has come for what is loaded.
  bool isThere_ = false;
  bool hasPicture_ = false;
  /// The picture has not been drawn yet.
  bool isNew_ = false;
};

}  // namespace tallyrig
