#pragma once

#include <QtQml/qqmlregistration.h>
#include <QColor>
#include <QPointer>
#include <optional>

#include "app/AtlasItem.h"
#include "reader/ReaderInstance.h"
#include "timecode/TimecodeRenderClock.h"

namespace tallyrig {

/// The running digits of a card, "HH:MM:SS:FF" or "--:--:--:--". Every character stands in a cell of the same width,
/// so nothing moves sideways. Asks the card once per tick of the render clock and repaints only when the text changes;
/// while it is not visible it asks nothing.
///
/// Main thread.
class TimecodeDigits : public AtlasItem {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(tallyrig::ReaderInstance* reader READ reader WRITE setReader NOTIFY readerChanged REQUIRED)
  Q_PROPERTY(tallyrig::TimecodeRenderClock* renderClock READ renderClock WRITE setRenderClock NOTIFY renderClockChanged
                 REQUIRED)
  Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)
  Q_PROPERTY(int pixelSize READ pixelSize WRITE setPixelSize NOTIFY pixelSizeChanged)
  Q_PROPERTY(QString text READ text NOTIFY textChanged)
  /// What a screen reader is told: the text, at most once a second while it runs, or "No timecode".
  Q_PROPERTY(QString spokenText READ spokenText NOTIFY spokenTextChanged)
  /// "25 fps"; "-- fps" without a timecode.
  Q_PROPERTY(QString rateText READ rateText NOTIFY rateTextChanged)
  /// Whether the card has a settled timecode, whatever is shown.
  Q_PROPERTY(bool hasTimecode READ hasTimecode NOTIFY hasTimecodeChanged)

 public:
  explicit TimecodeDigits(QQuickItem* parent = nullptr);

  ReaderInstance* reader() const { return reader_; }
  void setReader(ReaderInstance* reader);
  TimecodeRenderClock* renderClock() const { return renderClock_; }
  void setRenderClock(TimecodeRenderClock* renderClock);
  QColor color() const { return color_; }
  void setColor(const QColor& color);
  int pixelSize() const { return pixelSize_; }
  void setPixelSize(int pixelSize);
  QString text() const;
  QString spokenText() const;
  QString rateText() const;
  bool hasTimecode() const { return hasTimecode_; }

 signals:
  void readerChanged();
  void renderClockChanged();
  void colorChanged();
  void pixelSizeChanged();
  void textChanged();
  void spokenTextChanged();
  void rateTextChanged();
  void hasTimecodeChanged();

 protected:
  QByteArray atlasKey() const override;
  QImage paintAtlas() const override;
  Parts parts() const override;
  void itemChange(ItemChange change, const ItemChangeData& data) override;

 private:
  void refresh();
  void show(const std::optional<Timecode>& displayed);
  void speak();
  void measure();

  QPointer<ReaderInstance> reader_;
  QPointer<TimecodeRenderClock> renderClock_;
  QMetaObject::Connection tickConnection_;
  QColor color_ = Qt::white;
  int pixelSize_ = 32;
  /// Of one character, in device pixels.
  QSize cell_;
  std::optional<Timecode> shown_;
  std::optional<Timecode> spoken_;
  /// In seconds of the host clock.
  double lastSpoken_ = 0;
  bool hasTimecode_ = false;
};

}  // namespace tallyrig
