#include "system/ProgramUnderTest.h"

#include <unistd.h>

#include <QRegularExpression>
#include <csignal>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

std::string fileText(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

fs::path makeHome() {
  std::string pattern = fs::temp_directory_path() / "tallyrig-home-XXXXXX";
  return mkdtemp(pattern.data()) == nullptr ? fs::path() : fs::path(pattern);
}

}  // namespace

std::string readersFile(const std::vector<CardSettings>& cards) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const CardSettings& card : cards) {
    nlohmann::ordered_json entry;
    entry["cardRole"] = card.generatorStart.empty() ? "Reader" : "Generator";
    entry["label"] = card.label;
    entry["backgroundColorHex"] = card.colour;
    entry["tileSize"] = card.tileSize;
    entry["sortOrder"] = list.size();
    if (card.deviceID) entry["selectedDeviceID"] = *card.deviceID;
    if (!card.deviceName.empty()) entry["selectedDeviceName"] = card.deviceName;
    entry["selectedChannel"] = card.channel;
    if (!card.generatorStart.empty()) {
      entry["generatorStartHours"] = std::stoi(card.generatorStart.substr(0, 2));
      entry["generatorStartMinutes"] = std::stoi(card.generatorStart.substr(3, 2));
      entry["generatorStartSeconds"] = std::stoi(card.generatorStart.substr(6, 2));
      entry["generatorStartFrames"] = std::stoi(card.generatorStart.substr(9, 2));
    }
    if (!card.outputDeviceName.empty()) {
      entry["outputProtocol"] = "LTC";
      entry["selectedOutputDeviceName"] = card.outputDeviceName;
      entry["selectedOutputChannel"] = card.outputChannel;
    }
    list.push_back(entry);
  }
  return list.dump();
}

ProgramUnderTest::ProgramUnderTest(std::string display) : home_(makeHome()), display_(std::move(display)) {}

ProgramUnderTest::~ProgramUnderTest() {
  process_.reset();
  std::error_code ignored;
  if (!home_.empty()) fs::remove_all(home_, ignored);
}

fs::path ProgramUnderTest::readersPath() const {
  return home_ / "data" / "Tallyrig" / "readers.json";
}

void ProgramUnderTest::writeReaders(const std::string& text) const {
  fs::create_directories(readersPath().parent_path());
  std::ofstream(readersPath(), std::ios::binary) << text;
}

std::string ProgramUnderTest::readReaders() const {
  return fileText(readersPath());
}

fs::path ProgramUnderTest::preferencesPath() const {
  return home_ / "config" / "Tallyrig" / "Tallyrig.conf";
}

void ProgramUnderTest::writePreferences(const std::string& text) const {
  fs::create_directories(preferencesPath().parent_path());
  std::ofstream(preferencesPath(), std::ios::binary) << text;
}

std::string ProgramUnderTest::readPreferences() const {
  return fileText(preferencesPath());
}

void ProgramUnderTest::start() {
  Environment environment = currentEnvironment();
  for (const char* name : {"WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "PIPEWIRE_REMOTE"}) environment.erase(name);
  environment["HOME"] = home_;
  environment["XDG_DATA_HOME"] = home_ / "data";
  environment["XDG_CONFIG_HOME"] = home_ / "config";
  environment["XDG_CACHE_HOME"] = home_ / "cache";
  environment["XDG_STATE_HOME"] = home_ / "state";
  environment["XDG_RUNTIME_DIR"] = home_;
  environment["DISPLAY"] = display_;
  environment["TZ"] = "UTC";
  environment["LSAN_OPTIONS"] = "print_suppressions=0:suppressions=" TALLYRIG_LEAKS;
  for (const auto& [name, value] : soundServer_) {
    environment[name] = value;
    if (value.empty()) environment.erase(name);
  }
  for (const auto& [name, value] : variables_) environment[name] = value;
  lastLine_.clear();
  process_ = std::make_unique<WatchedProcess>(std::vector<std::string>{TALLYRIG_PROGRAM}, environment);
}

testing::AssertionResult ProgramUnderTest::says(const std::string& text, std::chrono::milliseconds limit) {
  const auto line = process_->waitForLine(text, limit);
  if (!line) {
    return testing::AssertionFailure() << "no line with \"" << text << "\" within " << limit.count() << " ms"
                                       << (process_->isRunning() ? "" : "; the program has ended") << ". It wrote:\n"
                                       << process_->output();
  }
  lastLine_ = *line;
  return testing::AssertionSuccess();
}

void ProgramUnderTest::waitUntilSilent() {
  while (process_->waitForLine("", 1s)) {
  }
}

testing::AssertionResult ProgramUnderTest::quit() {
  process_->signal(SIGTERM);
  const auto status = process_->waitForExit(15s);
  if (status == 0) return testing::AssertionSuccess();
  return testing::AssertionFailure() << (status ? "it ended with " + std::to_string(*status) : "it does not end")
                                     << ". It wrote:\n"
                                     << process_->output();
}

testing::AssertionResult ProgramUnderTest::cut() {
  process_->signal(SIGKILL);
  if (process_->waitForExit(15s) == 128 + SIGKILL) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "it did not end by the signal:\n" << process_->output();
}

std::string timecodeIn(const std::string& text) {
  static const QRegularExpression pattern(QStringLiteral(R"(\d\d:\d\d:\d\d:\d\d)"));
  std::string result;
  auto matches = pattern.globalMatch(QString::fromStdString(text));
  while (matches.hasNext()) result = matches.next().captured().toStdString();
  return result;
}

}  // namespace tallyrig
