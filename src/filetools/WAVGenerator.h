#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "filetools/WAVRenderer.h"
#include "platform/Lifetime.h"
#include "platform/SerialQueue.h"

namespace tallyrig {

/// The state of one WAV generator window, and its run. The file is written on a queue of its own, so that the window
/// stays alive meanwhile; a run cannot be cancelled and outlives its window. Main thread.
class WAVGenerator : public QObject {
  Q_OBJECT
  Q_PROPERTY(int startHours READ startHours NOTIFY changed)
  Q_PROPERTY(int startMinutes READ startMinutes NOTIFY changed)
  Q_PROPERTY(int startSeconds READ startSeconds NOTIFY changed)
  Q_PROPERTY(int startFrames READ startFrames NOTIFY changed)
  Q_PROPERTY(int durationMinutes READ durationMinutes NOTIFY changed)
  Q_PROPERTY(int durationSeconds READ durationSeconds NOTIFY changed)
  /// Labels of the rates, and the one that is chosen.
  Q_PROPERTY(QStringList frameRates READ frameRates CONSTANT)
  Q_PROPERTY(QString frameRate READ frameRateText WRITE setFrameRateText NOTIFY changed)
  /// In hertz, 44100 or 48000.
  Q_PROPERTY(int sampleRate READ sampleRate WRITE setSampleRate NOTIFY changed)
  /// 16 or 24.
  Q_PROPERTY(int bitDepth READ bitDepth WRITE setBitDepth NOTIFY changed)
  /// -18 to 0 in steps of 1.
  Q_PROPERTY(double levelDBFS READ levelDBFS WRITE setLevelDBFS NOTIFY changed)
  Q_PROPERTY(QString levelText READ levelText NOTIFY changed)
  Q_PROPERTY(bool isGenerating READ isGenerating NOTIFY changed)
  /// Empty where there is none.
  Q_PROPERTY(QString errorMessage READ errorMessageText NOTIFY changed)
  Q_PROPERTY(QString sizeEstimate READ sizeEstimate NOTIFY changed)
  Q_PROPERTY(QString suggestedFileName READ suggestedFileName NOTIFY changed)
  /// Where the save panel begins: the user's music, or their home where there is no such folder.
  Q_PROPERTY(QUrl suggestedFolder READ suggestedFolder CONSTANT)

 public:
  /// The number fields, in the order in which the focus moves.
  enum TimecodeField { hours, minutes, seconds, frames, durationMinutesField, durationSecondsField };
  Q_ENUM(TimecodeField)

  using Render = std::function<std::optional<std::string>(const WAVStretch&, const std::filesystem::path&)>;

  WAVGenerator(Scheduler& scheduler, Render render, QObject* parent = nullptr);

  int startHours() const { return startHours_; }
  int startMinutes() const { return startMinutes_; }
  int startSeconds() const { return startSeconds_; }
  int startFrames() const { return startFrames_; }
  int durationMinutes() const { return durationMinutes_; }
  int durationSeconds() const { return durationSeconds_; }
  static QStringList frameRates();
  WAVFrameRate frameRate() const { return frameRate_; }
  void setFrameRate(WAVFrameRate rate);
  QString frameRateText() const;
  void setFrameRateText(const QString& label);
  int sampleRate() const { return sampleRate_; }
  void setSampleRate(int sampleRate);
  int bitDepth() const { return bitDepth_; }
  void setBitDepth(int bitDepth);
  double levelDBFS() const { return levelDBFS_; }
  void setLevelDBFS(double level);
  QString levelText() const;
  bool isGenerating() const { return isGenerating_; }
  const std::optional<QString>& errorMessage() const { return errorMessage_; }
  QString errorMessageText() const { return errorMessage_.value_or(QString()); }
  QString sizeEstimate() const;
  QString suggestedFileName() const;
  static QUrl suggestedFolder();

  /// A field's value as it stands in the window, two digits.
  Q_INVOKABLE QString fieldText(int field) const;
  /// Takes what has been typed into a field: its digits, limited to the field's range. Text without a number changes
  /// nothing.
  Q_INVOKABLE void typeInto(int field, const QString& text);
  /// The field after this one when return is pressed; -1 where the focus ends.
  Q_INVOKABLE static int nextField(int field);

  /// What the file is called that a run would replace; empty where none stands at `url`.
  Q_INVOKABLE static QString nameOfFileAt(const QUrl& url);
  /// Asks for a file name, and with it for a run; nothing during one.
  Q_INVOKABLE void generate();
  /// The answer: writes the file with the values as they stand.
  Q_INVOKABLE void save(const QUrl& url);

 signals:
  void changed();
  void savePanelRequested();

 private:
  int& fieldValue(int field);
  int fieldLimit(int field) const;

  Scheduler& scheduler_;
  const std::shared_ptr<SerialQueue> queue_;
  const Render render_;
  int startHours_ = 1;
  int startMinutes_ = 0;
  int startSeconds_ = 0;
  int startFrames_ = 0;
  int durationMinutes_ = 1;
  int durationSeconds_ = 0;
  WAVFrameRate frameRate_ = WAVFrameRate::fps25;
  int sampleRate_ = 48000;
  int bitDepth_ = 16;
  double levelDBFS_ = -6;
  bool isGenerating_ = false;
  std::optional<QString> errorMessage_;
  Lifetime lifetime_;
};

}  // namespace tallyrig
