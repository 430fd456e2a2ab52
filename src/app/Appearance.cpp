#include "app/Appearance.h"

#include <QGuiApplication>

namespace tallyrig {

namespace {

QPalette paletteFor(bool dark) {
  const QColor window = dark ? QColor(0x16, 0x18, 0x1C) : QColor(0xE9, 0xEB, 0xEF);
  const QColor base = dark ? QColor(0x12, 0x14, 0x18) : QColor(0xFF, 0xFF, 0xFF);
  const QColor raised = dark ? QColor(0x2A, 0x2E, 0x35) : QColor(0xF7, 0xF8, 0xFA);
  const QColor text = dark ? QColor(0xF1, 0xF3, 0xF6) : QColor(0x1A, 0x1C, 0x20);
  const QColor accent = dark ? QColor::fromRgbF(0.39F, 0.64F, 0.84F) : QColor::fromRgbF(0.2F, 0.4F, 0.59F);
  QPalette palette(text, raised, raised.lighter(), raised.darker(), raised.darker(), text, Qt::white, base, window);
  palette.setColor(QPalette::ToolTipBase, raised);
  palette.setColor(QPalette::ToolTipText, text);
  palette.setColor(QPalette::Highlight, accent);
  palette.setColor(QPalette::HighlightedText, Qt::white);
  palette.setColor(QPalette::Link, accent);
  QColor faint = text;
  faint.setAlphaF(0.5F);
  palette.setColor(QPalette::PlaceholderText, faint);
  return palette;
}

bool isDark(const QPalette& palette) {
  return palette.color(QPalette::Window).lightnessF() < palette.color(QPalette::WindowText).lightnessF();
}

}  // namespace

Appearance::Appearance(const ReaderStore& store, const DesktopColourScheme& desktop, const QPalette& systemPalette)
    : store_(store), desktop_(desktop), systemIsDark_(isDark(systemPalette)) {
  connect(&store_, &ReaderStore::appearanceOverrideChanged, this, &Appearance::apply);
  connect(&desktop_, &DesktopColourScheme::changed, this, &Appearance::apply);
  apply();
}

void Appearance::apply() {
  const AppearanceMode mode = store_.appearanceOverride();
  const bool dark = mode == AppearanceMode::dark ||
                    (mode == AppearanceMode::system && desktop_.prefersDark().value_or(systemIsDark_));
  QGuiApplication::setPalette(paletteFor(dark));
  if (dark == dark_) return;
  dark_ = dark;
  emit darkChanged();
}

}  // namespace tallyrig
