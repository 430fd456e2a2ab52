#include "system/CardPicture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <limits>
#include <vector>

#include "system/WatchedProcess.h"

namespace tallyrig {
namespace {

// The shape of a glyph: how much of each cell of its bounding box is ink, 0 to 1.
constexpr int kColumns = 10;
constexpr int kRows = 16;
using Shape = std::array<double, kColumns * kRows>;

// Mean difference of two shapes of one digit painted by two programs, and the least by which any other digit must be
// further away. The ten digits of the face differ from each other by more than 0.2.
constexpr double kLikeness = 0.12;
constexpr double kMargin = 0.06;

bool near(QRgb one, QRgb other, int tolerance) {
  return std::abs(qRed(one) - qRed(other)) <= tolerance && std::abs(qGreen(one) - qGreen(other)) <= tolerance &&
         std::abs(qBlue(one) - qBlue(other)) <= tolerance;
}

/// How far each pixel of an area is from `paper` towards `ink`, 0 to 1.
class Inked {
 public:
  Inked(const QImage& picture, const QRect& area, QRgb paper, QRgb ink)
      : width_(area.width()), height_(area.height()), values_(static_cast<std::size_t>(width_ * height_)) {
    const double range = qGray(ink) - qGray(paper);
    for (int y = 0; y < height_; ++y) {
      for (int x = 0; x < width_; ++x) {
        const double value = (qGray(picture.pixel(area.left() + x, area.top() + y)) - qGray(paper)) / range;
        values_[static_cast<std::size_t>(y * width_ + x)] = std::clamp(value, 0.0, 1.0);
      }
    }
  }

  double at(int x, int y) const { return values_[static_cast<std::size_t>(y * width_ + x)]; }

  /// The bounding boxes of what hangs together.
  std::vector<QRect> blobs() const {
    std::vector<QRect> result;
    std::vector<bool> seen(values_.size());
    for (int y = 0; y < height_; ++y) {
      for (int x = 0; x < width_; ++x) {
        if (at(x, y) > 0.5 && !seen[static_cast<std::size_t>(y * width_ + x)]) result.push_back(follow(x, y, seen));
      }
    }
    return result;
  }

  Shape shape(const QRect& box) const {
    Shape sums{};
    Shape counts{};
    // Four by four points in each pixel, so that small glyphs fill all cells.
    constexpr int kPoints = 4;
    for (int y = 0; y < box.height() * kPoints; ++y) {
      for (int x = 0; x < box.width() * kPoints; ++x) {
        const int cell = y * kRows / (box.height() * kPoints) * kColumns + x * kColumns / (box.width() * kPoints);
        sums[static_cast<std::size_t>(cell)] += at(box.left() + x / kPoints, box.top() + y / kPoints);
        counts[static_cast<std::size_t>(cell)] += 1;
      }
    }
    for (std::size_t cell = 0; cell < sums.size(); ++cell) sums[cell] /= counts[cell];
    return sums;
  }

 private:
  QRect follow(int startX, int startY, std::vector<bool>& seen) const {
    QRect box(startX, startY, 1, 1);
    std::vector<QPoint> open{{startX, startY}};
    seen[static_cast<std::size_t>(startY * width_ + startX)] = true;
    while (!open.empty()) {
      const QPoint place = open.back();
      open.pop_back();
      box |= QRect(place, QSize(1, 1));
      for (int y = std::max(0, place.y() - 1); y <= std::min(height_ - 1, place.y() + 1); ++y) {
        for (int x = std::max(0, place.x() - 1); x <= std::min(width_ - 1, place.x() + 1); ++x) {
          const auto index = static_cast<std::size_t>(y * width_ + x);
          if (seen[index] || at(x, y) <= 0.5) continue;
          seen[index] = true;
          open.emplace_back(x, y);
        }
      }
    }
    return box;
  }

  int width_;
  int height_;
  std::vector<double> values_;
};

/// The boxes of the eight tallest marks of one line, from left to right; empty if there are not eight.
std::vector<QRect> digitBoxes(const std::vector<QRect>& blobs) {
  int tallest = 0;
  for (const QRect& blob : blobs) tallest = std::max(tallest, blob.height());
  std::vector<QRect> result;
  for (const QRect& blob : blobs) {
    if (blob.height() * 10 >= tallest * 9 && blob.width() <= blob.height()) result.push_back(blob);
  }
  std::sort(result.begin(), result.end(), [](const QRect& a, const QRect& b) { return a.left() < b.left(); });
  if (result.size() != 8 || tallest < 10) result.clear();
  return result;
}

/// The digits 0 to 9 of the face that cards are set in, painted by another program.
std::vector<Shape> makeFaces() {
  std::vector<Shape> result;
  const auto font = runCommand({"fc-match", "--format=%{file}", "DejaVu Sans Mono:bold"}, currentEnvironment());
  if (!font) return {};
  const std::string file =
      std::filesystem::temp_directory_path() / ("tallyrig-digit-" + std::to_string(getpid()) + ".png");
  for (int digit = 0; digit <= 9; ++digit) {
    if (!runCommand({"convert", "-background", "black", "-fill", "white", "-font", *font, "-pointsize", "64",
                     "label:" + std::to_string(digit), "png:" + file},
                    currentEnvironment())) {
      return {};
    }
    const QImage picture = QImage(QString::fromStdString(file)).convertToFormat(QImage::Format_RGB32);
    const Inked inked(picture, picture.rect(), qRgb(0, 0, 0), qRgb(255, 255, 255));
    QRect whole;
    for (const QRect& blob : inked.blobs()) whole |= blob;
    result.push_back(inked.shape(whole));
  }
  std::filesystem::remove(file);
  return result;
}

std::optional<int> recognise(const Shape& shape) {
  static const std::vector<Shape> faces = makeFaces();
  double best = std::numeric_limits<double>::max();
  double second = best;
  int result = 0;
  for (std::size_t digit = 0; digit < faces.size(); ++digit) {
    double distance = 0;
    for (std::size_t cell = 0; cell < shape.size(); ++cell) distance += std::abs(shape[cell] - faces[digit][cell]);
    distance /= static_cast<double>(shape.size());
    if (distance < best) {
      second = best;
      best = distance;
      result = static_cast<int>(digit);
    } else {
      second = std::min(second, distance);
    }
  }
  if (best > kLikeness || second - best < kMargin) return std::nullopt;
  return result;
}

}  // namespace

std::optional<QRect> findCard(const QImage& picture, QColor colour) {
  QRect box;
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width(); ++x) {
      if (near(picture.pixel(x, y), colour.rgb(), 1)) box |= QRect(x, y, 1, 1);
    }
  }
  if (box.width() < 60 || box.height() < 30) return std::nullopt;
  return box;
}

std::optional<std::string> readDigits(const QImage& picture, const QRect& card) {
  // The rounded corners let some of the border into the rectangle.
  const QRect area = card.adjusted(8, 8, -8, -8);
  const QRgb paper = picture.pixel(area.left(), area.center().y());
  const Inked inked(picture, area, paper, qRgb(255, 255, 255));
  std::string result;
  for (const QRect& box : digitBoxes(inked.blobs())) {
    const std::optional<int> digit = recognise(inked.shape(box));
    if (!digit) return std::nullopt;
    if (result.size() % 3 == 2) result += ':';
    result += std::to_string(*digit);
  }
  if (result.empty()) return std::nullopt;
  return result;
}

double borderShare(const QImage& picture, const QRect& card, QColor colour) {
  int matching = 0;
  int all = 0;
  // Three pixels outside the surface, along the four straight sides.
  constexpr int kOut = 3;
  constexpr int kCorner = 20;
  const auto look = [&](int x, int y) {
    if (!picture.rect().contains(x, y)) return;
    ++all;
    if (near(picture.pixel(x, y), colour.rgb(), 3)) ++matching;
  };
  for (int x = card.left() + kCorner; x <= card.right() - kCorner; ++x) {
    look(x, card.top() - kOut);
    look(x, card.bottom() + kOut);
  }
  for (int y = card.top() + kCorner; y <= card.bottom() - kCorner; ++y) {
    look(card.left() - kOut, y);
    look(card.right() + kOut, y);
  }
  return all == 0 ? 0 : static_cast<double>(matching) / all;
}

QPoint actionButton(const QRect& card) {
  // It stands in the corner, on a card of any width.
  return {card.right() - 40, card.bottom() - 17};
}

}  // namespace tallyrig
