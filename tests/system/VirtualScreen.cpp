#include "system/VirtualScreen.h"

#include <QRegularExpression>
#include <filesystem>

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

const std::filesystem::path kScreenshots = TALLYRIG_SCREENSHOTS;

}  // namespace

VirtualScreen::VirtualScreen() {
  server_ = std::make_unique<WatchedProcess>(std::vector<std::string>{"Xvfb", "-displayfd", "1", "-screen", "0",
                                                                      "1280x900x24", "-nolisten", "tcp", "-noreset"},
                                             currentEnvironment());
  // The server takes the first free number and says which, after what it has to say about those that are taken.
  std::optional<std::string> number;
  do number = server_->waitForLine("", 20s);
  while (number && number->find_first_not_of("0123456789") != std::string::npos);
  if (!number) {
    error_ = "Xvfb does not start: " + server_->output();
    return;
  }
  display_ = ":" + *number;
  // It runs the command when it manages windows; on a new machine it reads every font before.
  windowManager_ = std::make_unique<WatchedProcess>(
      std::vector<std::string>{"openbox", "--sm-disable", "--startup", "echo ready"}, environment());
  if (!windowManager_->waitForLine("ready", 60s)) error_ = "openbox does not start: " + windowManager_->output();
}

Environment VirtualScreen::environment() const {
  Environment result = currentEnvironment();
  result["DISPLAY"] = display_;
  result.erase("WAYLAND_DISPLAY");
  return result;
}

QImage VirtualScreen::screenshot(const std::string& name) const {
  std::filesystem::create_directories(kScreenshots);
  const std::string path = kScreenshots / (name + ".png");
  if (!runCommand({"import", "-silent", "-window", "root", path}, environment())) return {};
  return QImage(QString::fromStdString(path)).convertToFormat(QImage::Format_RGB32);
}

std::optional<std::string> VirtualScreen::xdotool(std::vector<std::string> arguments) const {
  arguments.insert(arguments.begin(), "xdotool");
  return runCommand(arguments, environment());
}

bool VirtualScreen::click(QPoint place) const {
  return xdotool({"mousemove", std::to_string(place.x()), std::to_string(place.y()), "click", "1"}).has_value();
}

bool VirtualScreen::key(const std::string& name) const {
  return xdotool({"key", name}).has_value();
}

bool VirtualScreen::type(const std::string& text) const {
  return xdotool({"type", "--delay", "20", text}).has_value();
}

std::optional<QSize> VirtualScreen::window(const std::string& title) const {
  const auto shown = frame(title);
  return shown ? std::optional(shown->size()) : std::nullopt;
}

std::optional<QRect> VirtualScreen::frame(const std::string& title) const {
  const auto geometry =
      xdotool({"search", "--onlyvisible", "--name", "^" + title + "$", "getwindowgeometry", "--shell"});
  if (!geometry) return std::nullopt;
  static const QRegularExpression pattern(QStringLiteral("X=(-?\\d+)\\s+Y=(-?\\d+)\\s+WIDTH=(\\d+)\\s+HEIGHT=(\\d+)"));
  const auto match = pattern.match(QString::fromStdString(*geometry));
  if (!match.hasMatch()) return std::nullopt;
  return QRect(match.captured(1).toInt(), match.captured(2).toInt(), match.captured(3).toInt(),
               match.captured(4).toInt());
}

std::optional<std::string> VirtualScreen::property(const std::string& title, const std::string& name) const {
  return runCommand({"xprop", "-name", title, name}, environment());
}

bool VirtualScreen::place(const std::string& title, const QRect& frame) const {
  return xdotool({"search", "--onlyvisible", "--name", "^" + title + "$", "windowsize", "%1",
                  std::to_string(frame.width()), std::to_string(frame.height()), "windowmove", "%1",
                  std::to_string(frame.x()), std::to_string(frame.y())})
      .has_value();
}

bool VirtualScreen::drag(QPoint from, QPoint to) const {
  constexpr int kSteps = 12;
  std::vector<std::string> order{"mousemove", std::to_string(from.x()), std::to_string(from.y()), "mousedown", "1"};
  for (int step = 1; step <= kSteps; ++step) {
    const QPoint at = from + (to - from) * step / kSteps;
    for (const std::string& word : {std::string("mousemove"), std::to_string(at.x()), std::to_string(at.y()),
                                    std::string("sleep"), std::string("0.03")})
      order.push_back(word);
  }
  // The cards that made room are on their way for a moment.
  for (const char* word : {"sleep", "0.4", "mouseup", "1"}) order.emplace_back(word);
  return xdotool(order).has_value();
}

bool VirtualScreen::clickIn(const std::string& title, QPoint place) const {
  return xdotool({"search", "--onlyvisible", "--name", "^" + title + "$", "mousemove", "--window", "%1",
                  std::to_string(place.x()), std::to_string(place.y()), "click", "1"})
      .has_value();
}

}  // namespace tallyrig
