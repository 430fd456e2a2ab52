#pragma once

#include <QObject>
#include <QString>
#include <memory>

#include "platform/Lifetime.h"
#include "reader/ReaderServices.h"
#include "reader/ReaderSnapshot.h"

namespace tallyrig {

/// The part of a card's settings form that says where a generator starts: at a time that the user types, or at the time
/// of day. Main thread.
class GeneratorStartSettings : public QObject {
  Q_OBJECT
  /// "Manual" or "Local Time".
  Q_PROPERTY(QString mode READ mode WRITE setMode NOTIFY edited)
  /// The start time as it is being edited; any text until `settleText`.
  Q_PROPERTY(QString text READ text WRITE setText NOTIFY edited)
  /// The time of day now, at the generator's rate. Moves every tenth of a second while the mode is "Local Time".
  Q_PROPERTY(QString timeOfDayText READ timeOfDayText NOTIFY timeOfDayMoved)

 public:
  /// `draft` is the form's copy of the settings. A stored UTC start is edited as local time.
  GeneratorStartSettings(ReaderSnapshot& draft, const ReaderServices& services);

  /// Reads the text into the draft's start fields, each brought into its range, and writes it anew from them. A text
  /// that is not of four parts leaves the fields as they are; a part that is no number counts as 0.
  Q_INVOKABLE void settleText();

  QString mode() const;
  /// "Local Time" takes the time of day as the start.
  void setMode(const QString& raw);
  const QString& text() const { return text_; }
  void setText(const QString& text);
  QString timeOfDayText() const;

 signals:
  void edited();
  void timeOfDayMoved();

 private:
  void captureTimeOfDay();
  void writeText();
  void followMode();
  Timecode timeOfDayNow() const;

  ReaderSnapshot& draft_;
  const WallClock& wallClock_;
  Scheduler& scheduler_;
  QString text_;
  std::unique_ptr<RepeatingTimer> redraw_;
  Lifetime lifetime_;
};

}  // namespace tallyrig
