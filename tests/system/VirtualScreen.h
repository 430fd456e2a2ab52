#pragma once

#include <QImage>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <memory>
#include <optional>
#include <string>

#include "system/WatchedProcess.h"

namespace tallyrig {

/// A screen in memory with a window manager on it, a pointer and a keyboard. Ends with its object. One thread.
class VirtualScreen {
 public:
  VirtualScreen();

  /// Empty, or why there is no screen.
  const std::string& error() const { return error_; }
  /// What DISPLAY must be for a program to appear here.
  const std::string& display() const { return display_; }

  /// The whole screen as it is now, kept as {name}.png among the screenshots of this build.
  QImage screenshot(const std::string& name) const;

  bool click(QPoint place) const;
  /// Presses the button at one place and releases it at another, as a hand does it, in steps.
  bool drag(QPoint from, QPoint to) const;
  /// A key by its X name, such as "Escape" or "ctrl+a".
  bool key(const std::string& name) const;
  bool type(const std::string& text) const;
  /// The size of the window with exactly this title. Absent if none is shown.
  std::optional<QSize> window(const std::string& title) const;
  /// Where that window's contents are and how large.
  std::optional<QRect> frame(const std::string& title) const;
  /// What `xprop` says of a property of that window, such as "_MOTIF_WM_HINTS".
  std::optional<std::string> property(const std::string& title, const std::string& name) const;
  /// Gives the window that place and size.
  bool place(const std::string& title, const QRect& frame) const;
  /// Clicks at a place counted from the top left of that window's contents.
  bool clickIn(const std::string& title, QPoint place) const;

 private:
  Environment environment() const;
  std::optional<std::string> xdotool(std::vector<std::string> arguments) const;

  std::string display_;
  std::string error_;
  std::unique_ptr<WatchedProcess> server_;
  std::unique_ptr<WatchedProcess> windowManager_;
};

}  // namespace tallyrig
