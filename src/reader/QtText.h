#pragma once

#include <QString>
#include <optional>
#include <string>
#include <string_view>

namespace tallyrig {

/// UTF-8 text as the interface takes it.
inline QString toQString(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

/// The same; empty where there is none.
inline QString toQStringOrEmpty(const std::optional<std::string>& text) {
  return text ? toQString(*text) : QString();
}

}  // namespace tallyrig
