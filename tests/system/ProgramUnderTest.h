#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "system/WatchedProcess.h"

namespace tallyrig {

/// A card as a test lists it in readers.json. What is not here is left to the program.
struct CardSettings {
  std::string label{};
  std::string colour = "#104080";
  std::string deviceName{};
  std::optional<unsigned> deviceID{};
  /// From 0.
  int channel = 0;
  std::string tileSize = "Medium";
  /// For a generator, "HH:MM:SS:FF": it shows its start while it is idle. Empty for a reader.
  std::string generatorStart{};
  /// Where it sends LTC; empty for a card that sends nothing.
  std::string outputDeviceName{};
  /// From 0.
  int outputChannel = 0;
};

/// The text of readers.json for these cards.
std::string readersFile(const std::vector<CardSettings>& cards);

/// The program itself, with a home of its own, on a given screen. One thread.
class ProgramUnderTest {
 public:
  explicit ProgramUnderTest(std::string display);
  /// Ends the program and removes its home.
  ~ProgramUnderTest();

  /// The variables that lead to the sound server; without them there is none. An empty value takes one away.
  void useSoundServer(Environment variables) { soundServer_ = std::move(variables); }

  /// A variable that the program gets besides.
  void useVariable(const std::string& name, const std::string& value) { variables_[name] = value; }

  /// Where the program keeps its cards.
  std::filesystem::path readersPath() const;
  void writeReaders(const std::string& text) const;
  /// Empty if there is no such file.
  std::string readReaders() const;
  /// The small settings, as Qt keeps them: "[General]" and a line for each key.
  std::filesystem::path preferencesPath() const;
  void writePreferences(const std::string& text) const;
  std::string readPreferences() const;

  void start();
  WatchedProcess& process() { return *process_; }

  /// Whether a line with `text` comes, behind the one that was waited for last. The failure shows the whole log.
  testing::AssertionResult says(const std::string& text, std::chrono::milliseconds limit = std::chrono::seconds(15));
  /// The line that `says` found last.
  const std::string& lastLine() const { return lastLine_; }

  /// Waits until it has said nothing for a second.
  void waitUntilSilent();

  /// Ends it as a session that closes does; expects an orderly end.
  testing::AssertionResult quit();
  /// Ends it as a power cut does.
  testing::AssertionResult cut();

 private:
  std::filesystem::path home_;
  std::string display_;
  Environment soundServer_;
  Environment variables_;
  std::unique_ptr<WatchedProcess> process_;
  std::string lastLine_;
};

/// The last "HH:MM:SS:FF" of a text; empty if there is none.
std::string timecodeIn(const std::string& text);

}  // namespace tallyrig
