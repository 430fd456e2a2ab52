#include "app/Fonts.h"

#include <QFontDatabase>
#include <QGuiApplication>

namespace tallyrig {

QFont interfaceFont() {
  QFont font = QGuiApplication::font();
  if (QFontDatabase::hasFamily(QStringLiteral("Inter"))) font.setFamily(QStringLiteral("Inter"));
  return font;
}

QString monospacedFamily() {
  const QString preferred = QStringLiteral("DejaVu Sans Mono");
  return QFontDatabase::hasFamily(preferred) ? preferred : QFontDatabase::systemFont(QFontDatabase::FixedFont).family();
}

}  // namespace tallyrig
