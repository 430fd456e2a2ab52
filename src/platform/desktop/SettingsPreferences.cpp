#include "platform/desktop/SettingsPreferences.h"

#include <QFile>
#include <QString>
#include <QVariant>

namespace tallyrig {
namespace {

QString textOf(std::string_view utf8) {
  return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

}  // namespace

SettingsPreferences::SettingsPreferences()
    : settings_(QSettings::NativeFormat, QSettings::UserScope, "Tallyrig", "Tallyrig") {
  settings_.setFallbacksEnabled(false);
}

SettingsPreferences::SettingsPreferences(const std::filesystem::path& path)
    : settings_(QFile::decodeName(path.c_str()), QSettings::IniFormat) {}

std::optional<std::string> SettingsPreferences::string(std::string_view key) const {
  const QVariant value = settings_.value(textOf(key));
  if (value.typeId() != QMetaType::QString) return std::nullopt;
  return value.toString().toStdString();
}

void SettingsPreferences::setString(std::string_view key, std::string_view value) {
  settings_.setValue(textOf(key), textOf(value));
}

void SettingsPreferences::save() {
  settings_.sync();
}

}  // namespace tallyrig
