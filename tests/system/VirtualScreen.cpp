#include "system/VirtualScreen.h"

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
  // The server takes the first free number and says which.
  const auto number = server_->waitForLine("", 20s);
  if (!number || number->find_first_not_of("0123456789") != std::string::npos) {
    error_ = "Xvfb does not start: " + server_->output();
    return;
  }
  display_ = ":" + *number;
  windowManager_ = std::make_unique<WatchedProcess>(std::vector<std::string>{"openbox", "--sm-disable"}, environment());
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

bool VirtualScreen::point(std::vector<std::string> arguments) const {
  arguments.insert(arguments.begin(), "xdotool");
  return runCommand(arguments, environment()).has_value();
}

bool VirtualScreen::click(QPoint place) const {
  return point({"mousemove", std::to_string(place.x()), std::to_string(place.y()), "click", "1"});
}

bool VirtualScreen::key(const std::string& name) const {
  return point({"key", name});
}

bool VirtualScreen::type(const std::string& text) const {
  return point({"type", "--delay", "20", text});
}

bool VirtualScreen::hasWindow(const std::string& title) const {
  return point({"search", "--onlyvisible", "--name", "^" + title + "$"});
}

}  // namespace tallyrig
