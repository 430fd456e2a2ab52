#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QPalette>

#include "app/DesktopColourScheme.h"
#include "reader/ReaderStore.h"

namespace tallyrig {

/// Whether the interface is light or dark: what the user chose, else what the desktop says, else what the desktop's own
/// palette was at start. Sets the application's palette to match. Main thread.
class Appearance : public QObject {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("Made where the program is put together")
  Q_PROPERTY(bool dark READ dark NOTIFY darkChanged)

 public:
  /// `systemPalette` is the application's palette as the desktop gave it.
  Appearance(const ReaderStore& store, const DesktopColourScheme& desktop, const QPalette& systemPalette);

  bool dark() const { return dark_; }

 signals:
  void darkChanged();

 private:
  void apply();

  const ReaderStore& store_;
  const DesktopColourScheme& desktop_;
  const bool systemIsDark_;
  bool dark_ = false;
};

}  // namespace tallyrig
