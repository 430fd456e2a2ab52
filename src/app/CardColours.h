#pragma once

#include <QtQml/qqmlregistration.h>
#include <QColor>
#include <QObject>

namespace tallyrig {

/// The card colour helpers, for the views. Main thread.
class CardColours : public QObject {
  Q_OBJECT
  QML_ELEMENT
  QML_SINGLETON

 public:
  using QObject::QObject;

  /// What a card with this colour text is painted in.
  Q_INVOKABLE static QColor background(const QString& hex);
  /// The card's foreground at an opacity of 0 to 1.
  Q_INVOKABLE static QColor foreground(const QString& hex, double opacity);
  /// The card's foreground for small text: at `opacity`, or as much above it as the text needs to be read. `plate` is
  /// the opacity of the foreground that lies under the text, as in a chip.
  Q_INVOKABLE static QColor text(const QString& hex, double opacity, double plate = 0);
  /// A plate of `tint` at an opacity for white text on the card: darkened as far as the text needs to be read.
  Q_INVOKABLE static QColor plateForWhite(const QString& hex, const QColor& tint, double opacity);
};

}  // namespace tallyrig
