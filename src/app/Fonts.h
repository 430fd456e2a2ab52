#pragma once

#include <QtQml/qqmlregistration.h>
#include <QFont>
#include <QObject>
#include <QString>

namespace tallyrig {

/// The typeface of the interface: Inter where it is installed, else the desktop's own. Main thread.
QFont interfaceFont();

/// The typeface of running digits: DejaVu Sans Mono where it is installed, else the desktop's fixed-width face.
/// Main thread.
QString monospacedFamily();

/// The same for the views.
class AppFonts : public QObject {
  Q_OBJECT
  QML_ELEMENT
  QML_SINGLETON
  Q_PROPERTY(QString monospacedFamily READ monospaced CONSTANT)

 public:
  using QObject::QObject;

  static QString monospaced() { return monospacedFamily(); }
};

}  // namespace tallyrig
