#include "app/WindowFrame.h"

#include <QGuiApplication>
#include <QRegularExpression>
#include <algorithm>
#include <cmath>

namespace tallyrig {
namespace {

constexpr int kMostColumns = 3;
constexpr int kSpacing = 16;
constexpr int kHorizontalMargin = 64;
constexpr int kVerticalMargin = 48;
/// No screen is that far out.
constexpr double kFarthest = 1e6;

QSize tileRoom(TileSize size) {
  switch (size) {
    case TileSize::small:
      return {220, 145};
    case TileSize::medium:
      return {320, 195};
    case TileSize::large:
      return {460, 250};
  }
  return {};
}

}  // namespace

std::string toFrameText(const QRect& frame) {
  return QString("{{%1, %2}, {%3, %4}}")
      .arg(frame.x())
      .arg(frame.y())
      .arg(frame.width())
      .arg(frame.height())
      .toStdString();
}

std::optional<QRect> frameFromText(std::string_view text) {
  static const QRegularExpression pattern(
      R"(^\s*\{\s*\{\s*([^,{}]+),\s*([^,{}]+)\}\s*,\s*\{\s*([^,{}]+),\s*([^,{}]+)\}\s*\}\s*$)");
  const auto match = pattern.match(QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
  if (!match.hasMatch()) return std::nullopt;
  int values[4];
  for (int i = 0; i < 4; ++i) {
    bool isNumber = false;
    const double value = match.captured(i + 1).trimmed().toDouble(&isNumber);
    if (!isNumber || !(std::abs(value) <= kFarthest)) return std::nullopt;
    values[i] = static_cast<int>(std::lround(value));
  }
  const QRect frame(values[0], values[1], values[2], values[3]);
  if (frame.width() <= 0 || frame.height() <= 0) return std::nullopt;
  return frame;
}

QRect fittedInto(const QRect& frame, const QRect& area) {
  const QSize size = frame.size().boundedTo(area.size());
  const int right = area.x() + area.width() - size.width();
  const int bottom = area.y() + area.height() - size.height();
  return {QPoint(std::clamp(frame.x(), area.x(), right), std::clamp(frame.y(), area.y(), bottom)), size};
}

QRect clampedToScreens(const QRect& frame, const std::vector<QRect>& screens) {
  if (screens.empty()) return frame;
  const auto touched =
      std::find_if(screens.begin(), screens.end(), [&](const QRect& screen) { return screen.intersects(frame); });
  return fittedInto(frame, touched == screens.end() ? screens.front() : *touched);
}

QRect centredIn(QSize size, const QRect& area) {
  return {area.topLeft() + QPoint((area.width() - size.width()) / 2, (area.height() - size.height()) / 2), size};
}

std::vector<QRect> freeAreas() {
  std::vector<QRect> areas;
  for (const QScreen* screen : QGuiApplication::screens()) areas.push_back(screen->availableGeometry());
  return areas;
}

QScreen* screenOf(const QWindow& window) {
  return window.screen() ? window.screen() : QGuiApplication::primaryScreen();
}

QSize wallSize(int tileCount, TileSize tileSize) {
  const int columns = std::clamp(tileCount, 1, kMostColumns);
  const int rows = (tileCount + columns - 1) / columns;
  const QSize tile = tileRoom(tileSize);
  return {(columns - 1) * kSpacing + tile.width() * columns + kHorizontalMargin,
          (rows - 1) * kSpacing + tile.height() * rows + kVerticalMargin};
}

}  // namespace tallyrig
