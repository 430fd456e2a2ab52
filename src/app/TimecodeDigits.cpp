#include "app/TimecodeDigits.h"

#include <QFontMetricsF>
#include <QPainter>
#include <cmath>
#include <string>
#include <string_view>

#include "app/Fonts.h"

namespace tallyrig {

namespace {

constexpr std::string_view kGlyphs = "0123456789:-";
constexpr std::string_view kNoTimecode = "--:--:--:--";

QFont digitFont(int pixelSize) {
  QFont font(monospacedFamily());
  font.setPixelSize(pixelSize);
  font.setBold(true);
  return font;
}

std::string textOf(const std::optional<Timecode>& timecode) {
  return timecode ? timecode->text() : std::string(kNoTimecode);
}

}  // namespace

TimecodeDigits::TimecodeDigits(QQuickItem* parent) : AtlasItem(parent) {
  measure();
}

void TimecodeDigits::setReader(ReaderInstance* reader) {
  if (reader_ == reader) return;
  reader_ = reader;
  emit readerChanged();
  refresh();
}

void TimecodeDigits::setRenderClock(TimecodeRenderClock* renderClock) {
  if (renderClock_ == renderClock) return;
  disconnect(tickConnection_);
  renderClock_ = renderClock;
  if (renderClock_)
    tickConnection_ = connect(renderClock_, &TimecodeRenderClock::ticked, this, &TimecodeDigits::refresh);
  emit renderClockChanged();
  refresh();
}

void TimecodeDigits::setColor(const QColor& color) {
  if (color_ == color) return;
  color_ = color;
  emit colorChanged();
  update();
}

void TimecodeDigits::setPixelSize(int pixelSize) {
  if (pixelSize_ == pixelSize || pixelSize <= 0) return;
  pixelSize_ = pixelSize;
  measure();
  emit pixelSizeChanged();
}

QString TimecodeDigits::text() const {
  return QString::fromStdString(textOf(shown_));
}

QString TimecodeDigits::spokenText() const {
  return spoken_ ? QString::fromStdString(spoken_->text()) : QStringLiteral("No timecode");
}

QString TimecodeDigits::rateText() const {
  return shown_ ? QLatin1String(tallyrig::rateText(shown_->frameRate)) + QStringLiteral(" fps")
                : QStringLiteral("-- fps");
}

void TimecodeDigits::refresh() {
  if (!isVisible() || !reader_ || !renderClock_) return;
  if (const bool has = reader_->currentTimecode().has_value(); has != hasTimecode_) {
    hasTimecode_ = has;
    emit hasTimecodeChanged();
  }
  const auto displayed = reader_->displayedTimecode(renderClock_->hostTime());
  if (displayed != shown_) show(displayed);
  speak();
}

void TimecodeDigits::show(const std::optional<Timecode>& displayed) {
  const QString oldRate = rateText();
  shown_ = displayed;
  update();
  emit textChanged();
  if (rateText() != oldRate) emit rateTextChanged();
}

void TimecodeDigits::speak() {
  constexpr double kSecondsBetween = 1;
  const double now = renderClock_->seconds();
  if (now - lastSpoken_ < kSecondsBetween || shown_ == spoken_) return;
  lastSpoken_ = now;
  spoken_ = shown_;
  emit spokenTextChanged();
}

void TimecodeDigits::measure() {
  const QFontMetricsF metrics(digitFont(pixelSize_));
  const qreal ratio = devicePixelRatio();
  cell_ = QSize(static_cast<int>(std::ceil(metrics.horizontalAdvance(u'0') * ratio)),
                static_cast<int>(std::ceil((metrics.ascent() + metrics.descent()) * ratio)));
  setImplicitSize(cell_.width() * static_cast<qreal>(kNoTimecode.size()) / ratio, cell_.height() / ratio);
  update();
}

void TimecodeDigits::itemChange(ItemChange change, const ItemChangeData& data) {
  AtlasItem::itemChange(change, data);
  if ((change == ItemSceneChange && data.window) || change == ItemDevicePixelRatioHasChanged) measure();
  if (change == ItemVisibleHasChanged && data.boolValue) refresh();
}

QByteArray TimecodeDigits::atlasKey() const {
  return "digits/" + QByteArray::number(pixelSize_) + '/' + QByteArray::number(devicePixelRatio()) + '/' +
         QByteArray::number(color_.rgba(), 16);
}

QImage TimecodeDigits::paintAtlas() const {
  const qreal ratio = devicePixelRatio();
  QImage image(cell_.width() * static_cast<int>(kGlyphs.size()), cell_.height(), QImage::Format_ARGB32_Premultiplied);
  image.setDevicePixelRatio(ratio);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  painter.setFont(digitFont(pixelSize_));
  painter.setPen(color_);
  const QSizeF cell = QSizeF(cell_) / ratio;
  for (std::size_t i = 0; i < kGlyphs.size(); ++i)
    painter.drawText(QRectF(QPointF(static_cast<qreal>(i) * cell.width(), 0), cell), Qt::AlignCenter,
                     QChar::fromLatin1(kGlyphs[i]));
  return image;
}

AtlasItem::Parts TimecodeDigits::parts() const {
  Parts parts;
  for (const char character : textOf(shown_)) {
    const auto glyph = static_cast<int>(kGlyphs.find(character));
    const auto place = static_cast<int>(parts.size());
    parts.append({QRect(QPoint(glyph * cell_.width(), 0), cell_), QPoint(place * cell_.width(), 0)});
  }
  return parts;
}

}  // namespace tallyrig
