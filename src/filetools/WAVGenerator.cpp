#include "filetools/WAVGenerator.h"

#include <QDir>
#include <QStandardPaths>
#include <algorithm>
#include <cmath>
#include <utility>

#include "filetools/DroppedFile.h"
#include "platform/Log.h"

namespace tallyrig {
namespace {

constexpr double kLowestLevel = -18;
constexpr int kLastHour = 23;
constexpr int kLastSixtieth = 59;
constexpr int kSecondsPerMinute = 60;

QString fromUtf8(const std::string& text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QString durationName(int minutes, int seconds) {
  if (minutes == 0) return QString("%1s").arg(seconds);
  if (seconds == 0) return QString("%1mins").arg(minutes);
  return QString("%1m%2s").arg(minutes).arg(seconds);
}

}  // namespace

WAVGenerator::WAVGenerator(Scheduler& scheduler, Render render, QObject* parent)
    : QObject(parent),
      scheduler_(scheduler),
      queue_(scheduler.makeQueue("Tallyrig.WAVGenerator", QueuePriority::kUserInitiated)),
      render_(std::move(render)) {}

QStringList WAVGenerator::frameRates() {
  QStringList labels;
  for (const WAVFrameRate rate : kWAVFrameRates) labels.append(wavRateLabel(rate));
  return labels;
}

void WAVGenerator::setFrameRate(WAVFrameRate rate) {
  frameRate_ = rate;
  startFrames_ = std::min(startFrames_, maxFrameField(wavNumbering(rate)));
  emit changed();
}

QString WAVGenerator::frameRateText() const {
  return wavRateLabel(frameRate_);
}

void WAVGenerator::setFrameRateText(const QString& label) {
  for (const WAVFrameRate rate : kWAVFrameRates) {
    if (label == wavRateLabel(rate)) setFrameRate(rate);
  }
}

void WAVGenerator::setSampleRate(int sampleRate) {
  if (sampleRate != 44100 && sampleRate != 48000) return;
  sampleRate_ = sampleRate;
  emit changed();
}

void WAVGenerator::setBitDepth(int bitDepth) {
  if (bitDepth != 16 && bitDepth != 24) return;
  bitDepth_ = bitDepth;
  emit changed();
}

void WAVGenerator::setLevelDBFS(double level) {
  // `round` of what is no number is none either, and stays out.
  if (!std::isfinite(level)) return;
  levelDBFS_ = std::clamp(std::round(level), kLowestLevel, 0.0);
  emit changed();
}

QString WAVGenerator::levelText() const {
  return QString("%1 dBFS").arg(static_cast<int>(levelDBFS_));
}

QString WAVGenerator::sizeEstimate() const {
  const int length = durationMinutes_ * kSecondsPerMinute + durationSeconds_;
  const int bytesPerSample = bitDepth_ / 8;
  const double megabytes = static_cast<double>(length) * sampleRate_ * bytesPerSample * 9.5367431640625e-7;
  return fromUtf8(formatted("\u2248 %.1f MB \u00b7 %d:%02d", megabytes, durationMinutes_, durationSeconds_));
}

QString WAVGenerator::suggestedFileName() const {
  const QString start =
      fromUtf8(formatted("LTC_%02d%02d%02d%02d_", startHours_, startMinutes_, startSeconds_, startFrames_));
  return start + durationName(durationMinutes_, durationSeconds_) + "_" + frameRateText().remove('.') + "fps_" +
         (sampleRate_ == 44100 ? "44x" : "48x") + QString::number(bitDepth_) + ".wav";
}

QUrl WAVGenerator::suggestedFolder() {
  const QString music = QStandardPaths::writableLocation(QStandardPaths::MusicLocation);
  return QUrl::fromLocalFile(QDir(music).exists() ? music : QDir::homePath());
}

QString WAVGenerator::nameOfFileAt(const QUrl& url) {
  const auto path = localFile(url);
  std::error_code unknown;
  return path && std::filesystem::is_regular_file(*path, unknown) ? displayName(*path) : QString();
}

int& WAVGenerator::fieldValue(int field) {
  switch (field) {
    case hours:
      return startHours_;
    case minutes:
      return startMinutes_;
    case seconds:
      return startSeconds_;
    case frames:
      return startFrames_;
    case durationMinutesField:
      return durationMinutes_;
    default:
      return durationSeconds_;
  }
}

int WAVGenerator::fieldLimit(int field) const {
  if (field == hours) return kLastHour;
  return field == frames ? maxFrameField(wavNumbering(frameRate_)) : kLastSixtieth;
}

QString WAVGenerator::fieldText(int field) const {
  // The switch of the fields stands once.
  return fromUtf8(formatted("%02d", const_cast<WAVGenerator*>(this)->fieldValue(field)));
}

void WAVGenerator::typeInto(int field, const QString& text) {
  QString digits;
  for (const QChar letter : text) {
    if (letter.isDigit()) digits.append(QChar('0' + letter.digitValue()));
  }
  bool parsed = false;
  const qlonglong number = digits.toLongLong(&parsed);
  if (!parsed) return;
  fieldValue(field) = static_cast<int>(std::clamp<qlonglong>(number, 0, fieldLimit(field)));
  emit changed();
}

int WAVGenerator::nextField(int field) {
  return field == frames || field == durationSecondsField ? -1 : field + 1;
}

void WAVGenerator::generate() {
  if (isGenerating_) return;
  errorMessage_.reset();
  emit changed();
  emit savePanelRequested();
}

void WAVGenerator::save(const QUrl& url) {
  const auto path = localFile(url);
  if (isGenerating_ || !path) return;
  isGenerating_ = true;
  emit changed();
  const WAVStretch stretch{
      .startTimecode = {startHours_, startMinutes_, startSeconds_, startFrames_, wavNumbering(frameRate_)},
      .frameRate = frameRate_,
      .sampleRate = sampleRate_,
      .bitDepth = bitDepth_,
      .levelDBFS = levelDBFS_,
      .durationSeconds = durationMinutes_ * kSecondsPerMinute + durationSeconds_};
  const auto finish = lifetime_.guard([this](const std::optional<std::string>& failure) {
    isGenerating_ = false;
    if (failure) errorMessage_ = fromUtf8(*failure);
    emit changed();
  });
  queue_->post([render = render_, stretch, url = *path, finish, &mainQueue = scheduler_.mainQueue()] {
    mainQueue.post([finish, failure = render(stretch, url)] { finish(failure); });
  });
}

}  // namespace tallyrig
