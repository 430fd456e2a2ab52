#pragma once

#include <QSettings>
#include <filesystem>

#include "platform/Preferences.h"

namespace tallyrig {

/// The user's settings file of the program; Qt writes it when the event loop is next idle and on destruction.
class SettingsPreferences final : public Preferences {
 public:
  SettingsPreferences();
  /// A settings file in the INI format at `path` instead of the user's own.
  explicit SettingsPreferences(const std::filesystem::path& path);

  std::optional<std::string> string(std::string_view key) const override;
  void setString(std::string_view key, std::string_view value) override;

  /// Writes the file at once.
  void save();

 private:
  QSettings settings_;
};

}  // namespace tallyrig
