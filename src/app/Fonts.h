#pragma once

#include <QFont>
#include <QString>

namespace tallyrig {

/// The typeface of the interface: Inter where it is installed, else the desktop's own. Main thread.
QFont interfaceFont();

/// The typeface of running digits: DejaVu Sans Mono where it is installed, else the desktop's fixed-width face.
/// Main thread.
QString monospacedFamily();

}  // namespace tallyrig
