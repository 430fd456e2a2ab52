#include "app/LevelMeterView.h"

#include <QPainter>
#include <cmath>

namespace tallyrig {

namespace {

constexpr double kSpacing = 2;
constexpr double kCornerRadius = 2;
constexpr double kHeight = 6;
constexpr float kUnlitOpacity = 0.08F;

double positionOf(int segment) {
  return static_cast<double>(segment) / LevelMeterView::kSegmentCount;
}

}  // namespace

LevelMeterView::LevelMeterView(QQuickItem* parent) : AtlasItem(parent) {
  setImplicitHeight(kHeight);
}

void LevelMeterView::setReader(ReaderInstance* reader) {
  if (reader_ == reader) return;
  disconnect(levelConnection_);
  reader_ = reader;
  if (reader_) levelConnection_ = connect(reader_, &ReaderInstance::peakLevelChanged, this, &LevelMeterView::refresh);
  emit readerChanged();
  refresh();
}

int LevelMeterView::litCountAt(float level) {
  int lit = 0;
  while (lit < kSegmentCount && positionOf(lit) <= static_cast<double>(level)) ++lit;
  return lit;
}

QColor LevelMeterView::litColour(int segment) {
  if (positionOf(segment) < kGreenEnd) return QColor::fromRgbF(0.2F, 0.85F, 0.35F);
  if (positionOf(segment) < kAmberEnd) return QColor::fromRgbF(1.0F, 0.7F, 0.0F);
  return QColor::fromRgbF(0.95F, 0.25F, 0.25F);
}

void LevelMeterView::refresh() {
  const int lit = litCountAt(reader_ ? reader_->peakLevel() : 0);
  if (lit == litCount_) return;
  litCount_ = lit;
  update();
  emit litCountChanged();
}

QSize LevelMeterView::paintedSize() const {
  return (size() * devicePixelRatio()).toSize();
}

int LevelMeterView::barLeft(int segment) const {
  const double pitch = (width() + kSpacing) / kSegmentCount;
  return static_cast<int>(std::lround(segment * pitch * devicePixelRatio()));
}

int LevelMeterView::barRight(int segment) const {
  const double pitch = (width() + kSpacing) / kSegmentCount;
  return static_cast<int>(std::lround(((segment + 1) * pitch - kSpacing) * devicePixelRatio()));
}

QByteArray LevelMeterView::atlasKey() const {
  return "meter/" + QByteArray::number(paintedSize().width()) + 'x' + QByteArray::number(paintedSize().height()) + '/' +
         QByteArray::number(devicePixelRatio());
}

QImage LevelMeterView::paintAtlas() const {
  // Two rows: all bars lit, and all bars dark.
  const QSize row = paintedSize();
  QImage image(row.width(), row.height() * 2, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  const double radius = kCornerRadius * devicePixelRatio();
  for (int segment = 0; segment < kSegmentCount; ++segment) {
    const QRect bar(barLeft(segment), 0, barRight(segment) - barLeft(segment), row.height());
    painter.setBrush(litColour(segment));
    painter.drawRoundedRect(bar, radius, radius);
    painter.setBrush(QColor::fromRgbF(1, 1, 1, kUnlitOpacity));
    painter.drawRoundedRect(bar.translated(0, row.height()), radius, radius);
  }
  painter.end();
  image.setDevicePixelRatio(devicePixelRatio());
  return image;
}

AtlasItem::Parts LevelMeterView::parts() const {
  const QSize row = paintedSize();
  const int split = litCount_ == kSegmentCount ? row.width() : std::min(barLeft(litCount_), row.width());
  Parts parts;
  if (split > 0) parts.append({QRect(0, 0, split, row.height()), QPoint(0, 0)});
  if (split < row.width())
    parts.append({QRect(split, row.height(), row.width() - split, row.height()), QPoint(split, 0)});
  return parts;
}

}  // namespace tallyrig
