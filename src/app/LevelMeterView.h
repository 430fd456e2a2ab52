#pragma once

#include <QtQml/qqmlregistration.h>
#include <QPointer>

#include "app/AtlasItem.h"
#include "reader/ReaderInstance.h"

namespace tallyrig {

/// A card's input peak as a row of rounded bars. Listens to the card itself and repaints only when a bar changes.
///
/// Main thread.
class LevelMeterView : public AtlasItem {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(tallyrig::ReaderInstance* reader READ reader WRITE setReader NOTIFY readerChanged REQUIRED)
  /// Number of bars that are lit.
  Q_PROPERTY(int litCount READ litCount NOTIFY litCountChanged)

 public:
  static constexpr int kSegmentCount = 20;
  static constexpr double kGreenEnd = 0.65;
  static constexpr double kAmberEnd = 0.85;

  explicit LevelMeterView(QQuickItem* parent = nullptr);

  ReaderInstance* reader() const { return reader_; }
  void setReader(ReaderInstance* reader);
  int litCount() const { return litCount_; }

  /// Bars lit at a peak of 0 to 1: those whose position, their index over their number, is not above it.
  static int litCountAt(float level);
  static QColor litColour(int segment);

 signals:
  void readerChanged();
  void litCountChanged();

 protected:
  QByteArray atlasKey() const override;
  QImage paintAtlas() const override;
  Parts parts() const override;

 private:
  void refresh();
  /// In device pixels.
  QSize paintedSize() const;
  int barLeft(int segment) const;
  int barRight(int segment) const;

  QPointer<ReaderInstance> reader_;
  QMetaObject::Connection levelConnection_;
  int litCount_ = litCountAt(0);
};

}  // namespace tallyrig
