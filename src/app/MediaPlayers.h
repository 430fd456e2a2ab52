#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>

#include "player/FileMediaPlayer.h"

namespace tallyrig {

/// Makes a media player for each opening of its window. Main thread.
class MediaPlayers : public QObject {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("Made where the program is put together")

 public:
  explicit MediaPlayers(const FileMediaPlayerServices& services) : services_(services) {}

  /// A player that ends with its owner.
  Q_INVOKABLE tallyrig::FileMediaPlayer* open(QObject* owner) {
    auto* const player = new FileMediaPlayer(services_);
    player->setParent(owner);
    return player;
  }

 private:
  FileMediaPlayerServices services_;
};

}  // namespace tallyrig
