#pragma once

#include <QRect>
#include <QScreen>
#include <QSize>
#include <QWindow>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "reader/ReaderTypes.h"

namespace tallyrig {

// Sizes and places of the main window, in pixels of the interface. A window's frame is where its outer frame begins
// and how large its contents are, so that it can be put back before the frame is known.

/// "{{x, y}, {width, height}}".
std::string toFrameText(const QRect& frame);
/// Absent unless the text is a frame with both sides above 0.
std::optional<QRect> frameFromText(std::string_view text);

/// `frame` moved into `area` and made no larger than it.
QRect fittedInto(const QRect& frame, const QRect& area);
/// `frame` fitted into the first of the screens that it touches, else into the first. As it is if there is none.
QRect clampedToScreens(const QRect& frame, const std::vector<QRect>& screens);

/// A frame of that size in the middle of `area`.
QRect centredIn(QSize size, const QRect& area);

/// The screens' free areas, the main screen's first.
std::vector<QRect> freeAreas();
/// The window's screen, else the main one; null if there is none.
QScreen* screenOf(const QWindow& window);

/// The room that a wall of so many cards asks for: up to three columns and as many rows as that takes.
QSize wallSize(int tileCount, TileSize tileSize);

}  // namespace tallyrig
