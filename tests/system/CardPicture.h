#pragma once

#include <QColor>
#include <QImage>
#include <QPoint>
#include <QRect>
#include <optional>
#include <string>

namespace tallyrig {

/// Where a card of this colour is painted: the smallest rectangle around its surface. Absent if there is none.
/// Each card of a picture needs a colour of its own.
std::optional<QRect> findCard(const QImage& picture, QColor colour);

/// The running digits of a card as "HH:MM:SS:FF", read from the pixels by the shapes of the font's digits.
/// Absent if there are not eight digits, or if one of them looks like none or like two.
std::optional<std::string> readDigits(const QImage& picture, const QRect& card);

/// The share of the card's border that has this colour, 0 to 1.
double borderShare(const QImage& picture, const QRect& card, QColor colour);

/// The colours of a card's border.
inline const QColor kSignalGreen = QColor::fromRgbF(0.2F, 0.85F, 0.4F);
inline const QColor kIdleRed = QColor::fromRgbF(0.8F, 0.2F, 0.2F);
inline const QColor kJamOrange = QColor::fromRgbF(1.0F, 0.55F, 0.0F);

/// A place within the button at the foot of a card that drives its output: START, STOP, JAM SYNC or STOP JAM.
QPoint actionButton(const QRect& card);

}  // namespace tallyrig
