#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QPointer>
#include <vector>

#include "reader/ReaderStore.h"

namespace tallyrig {

/// How much room the wall of cards asks for, by the store's tile size and the cards' display modes. Lengths in pixels
/// of the interface. Main thread.
class GridMetrics : public QObject {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(tallyrig::ReaderStore* store READ store WRITE setStore NOTIFY storeChanged REQUIRED)
  /// The window is pinned, where it leaves less room around the cards.
  Q_PROPERTY(bool pinned READ pinned WRITE setPinned NOTIFY pinnedChanged)
  Q_PROPERTY(int tileMinimumWidth READ tileMinimumWidth NOTIFY changed)
  /// The least the window may be made.
  Q_PROPERTY(int minimumWidth READ minimumWidth NOTIFY changed)
  Q_PROPERTY(int minimumHeight READ minimumHeight NOTIFY changed)

 public:
  static int tileMinimumWidthFor(TileSize size);
  static double minimumWidthFor(TileSize size, bool pinned);
  static double minimumHeightFor(TileSize size, const std::vector<TileDisplayMode>& modes, bool pinned);

  using QObject::QObject;

  ReaderStore* store() const { return store_; }
  void setStore(ReaderStore* store);
  bool pinned() const { return pinned_; }
  void setPinned(bool pinned);
  int tileMinimumWidth() const { return tileMinimumWidth_; }
  int minimumWidth() const { return minimumWidth_; }
  int minimumHeight() const { return minimumHeight_; }

 signals:
  void storeChanged();
  void pinnedChanged();
  void changed();

 private:
  void watchReaders();
  void recompute();

  QPointer<ReaderStore> store_;
  bool pinned_ = false;
  int tileMinimumWidth_ = 0;
  int minimumWidth_ = 0;
  int minimumHeight_ = 0;
};

}  // namespace tallyrig
