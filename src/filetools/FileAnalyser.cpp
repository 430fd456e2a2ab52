#include "filetools/FileAnalyser.h"

#include <QVariantMap>
#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

#include "filetools/DroppedFile.h"
#include "filetools/TimecodeTrackFormat.h"
#include "platform/Log.h"

namespace tallyrig {
namespace {

QString fromUtf8(const std::string& text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

}  // namespace

FileAnalyser::FileAnalyser(Scheduler& scheduler, FileAnalyserOperations operations, QObject* parent)
    : QObject(parent),
      scheduler_(scheduler),
      operations_(std::make_shared<const FileAnalyserOperations>(std::move(operations))) {
  for (Work* work : {&probeTask_, &analysisTask_, &writeTask_}) {
    work->queue = scheduler.makeQueue("Tallyrig.FileAnalyser", QueuePriority::kUserInitiated);
  }
}

FileAnalyser::~FileAnalyser() {
  for (Work* work : {&probeTask_, &analysisTask_, &writeTask_}) {
    if (work->stop) work->stop->request_stop();
  }
}

/// Runs `operation` on the task's queue, and `finish` with what it returns on the main thread: unless it has been
/// cancelled, or the file session is over by then.
template <typename Operation, typename Finish>
void FileAnalyser::start(Work& work, Operation operation, Finish finish) {
  if (work.stop) work.stop->request_stop();
  work.stop.emplace();
  const std::stop_token token = work.stop->get_token();
  const auto finishInSession = lifetime_.guard([this, token, session = fileOperationID_, url = droppedFileURL_,
                                                finish = std::move(finish)](const auto& outcome) {
    if (!token.stop_requested() && session == fileOperationID_ && url == droppedFileURL_) finish(outcome);
  });
  work.queue->post([token, operation = std::move(operation), finishInSession, &mainQueue = scheduler_.mainQueue()] {
    if (token.stop_requested()) return;
    auto outcome = operation(token);
    if (token.stop_requested()) return;
    mainQueue.post([finishInSession, outcome = std::move(outcome)] { finishInSession(outcome); });
  });
}

bool FileAnalyser::loadDropped(const QList<QUrl>& urls) {
  const auto file = droppedFile(urls);
  if (file) loadFile(*file);
  return file.has_value();
}

void FileAnalyser::loadFile(const std::filesystem::path& url) {
  cancelTasks();
  ++fileOperationID_;
  droppedFileURL_ = url;
  result_.reset();
  errorMessage_.reset();
  writeSuccessMessage_.reset();
  fileChannelCount_ = 0;
  selectedChannel_ = 0;
  autoDetect_ = true;
  videoFrameRate_.reset();
  isAnalysing_ = true;
  isWritingTimecode_ = false;
  emit changed();

  start(
      probeTask_, [operations = operations_, url](const std::stop_token&) { return operations->summary(url); },
      [this](const FileSummary& summary) {
        fileChannelCount_ = summary.channelCount;
        videoFrameRate_ = summary.videoFrameRate;
        startAnalysis();
      });
}

void FileAnalyser::startAnalysis() {
  if (!droppedFileURL_) return;
  result_.reset();
  errorMessage_.reset();
  writeSuccessMessage_.reset();
  isAnalysing_ = true;
  std::vector<int> channels{selectedChannel_};
  if (autoDetect_) {
    channels.resize(static_cast<std::size_t>(std::max(fileChannelCount_, 1)));
    std::iota(channels.begin(), channels.end(), 0);
  }
  emit changed();
  start(
      analysisTask_,
      [operations = operations_, url = *droppedFileURL_, channels = std::move(channels)](const std::stop_token& stop) {
        return operations->analyse(url, channels, stop);
      },
      [this](const FileAnalysisOutcome& outcome) { finishAnalysis(outcome); });
}

void FileAnalyser::finishAnalysis(const FileAnalysisOutcome& outcome) {
  isAnalysing_ = false;
  if (const auto* found = std::get_if<FileAnalysisResult>(&outcome)) {
    result_ = *found;
    selectedChannel_ = found->detectedChannel;
    autoDetect_ = false;
  } else if (!result_) {
    errorMessage_ = fromUtf8(std::get<FileAnalysisError>(outcome).description());
  }
  emit changed();
}

void FileAnalyser::startWrite() {
  if (!droppedFileURL_ || !result_ || !result_->timecodeAtFileStart) return;
  writeSuccessMessage_.reset();
  errorMessage_.reset();
  isWritingTimecode_ = true;
  emit changed();
  start(
      writeTask_,
      [operations = operations_, url = *droppedFileURL_, timecode = *result_->timecodeAtFileStart](
          const std::stop_token& stop) { return operations->writeTimecodeTrack(url, timecode, stop); },
      [this](const TimecodeTrackResult& outcome) { finishWrite(outcome); });
}

void FileAnalyser::finishWrite(const TimecodeTrackResult& outcome) {
  isWritingTimecode_ = false;
  if (outcome.failed) {
    errorMessage_ = fromUtf8(outcome.text.value_or(""));
    emit changed();
    return;
  }
  writeSuccessMessage_ = fromUtf8(outcome.text.value_or("Timecode track written successfully."));
  emit changed();
  startAnalysis();
}

void FileAnalyser::cancelTasks() {
  for (Work* work : {&probeTask_, &analysisTask_, &writeTask_}) {
    if (work->stop) work->stop->request_stop();
    work->stop.reset();
  }
  isAnalysing_ = false;
  isWritingTimecode_ = false;
  emit changed();
}

void FileAnalyser::chooseAutoDetect() {
  autoDetect_ = true;
  emit changed();
}

void FileAnalyser::chooseChannel(int channel) {
  autoDetect_ = false;
  selectedChannel_ = channel;
  emit changed();
}

void FileAnalyser::setTargeted(bool isTargeted) {
  if (isTargeted == isTargeted_) return;
  isTargeted_ = isTargeted;
  emit changed();
}

QString FileAnalyser::fileName() const {
  return droppedFileURL_ ? displayName(*droppedFileURL_) : QString();
}

QString FileAnalyser::channelHint() const {
  return QString("Will try all %1 channels and use whichever decodes LTC.").arg(fileChannelCount_);
}

QString FileAnalyser::durationText() const {
  return result_ ? shortTime(result_->fileDurationSeconds) : QString();
}

QString FileAnalyser::startText() const {
  if (!result_ || !result_->timecodeAtFileStart) return "Not detected";
  return fromUtf8(result_->timecodeAtFileStart->text());
}

QString FileAnalyser::startDetail() const {
  if (!result_ || !result_->timecodeAtFileStart) return {};
  return QString::fromUtf8("%1 · Ch %2 of %3")
      .arg(rateText(result_->detectedFrameRate))
      .arg(result_->detectedChannel + 1)
      .arg(result_->totalChannels);
}

QString FileAnalyser::metadataText() const {
  return result_ && result_->metadataTimecode ? fromUtf8(*result_->metadataTimecode) : "Not found";
}

QVariantList FileAnalyser::probeRows() const {
  QVariantList rows;
  if (!result_) return rows;
  for (const ProbeResult& probe : result_->probeResults) {
    rows.append(QVariantMap{{"time", "@" + shortTime(probe.probeTimeSeconds)},
                            {"text", probe.timecode ? fromUtf8(probe.timecode->text()) : "No LTC decoded"}});
  }
  return rows;
}

bool FileAnalyser::offersWriting() const {
  return droppedFileURL_ && lowerCasedExtension(droppedFileURL_->filename().string()) == "mov";
}

bool FileAnalyser::isWritable() const {
  return result_ && result_->timecodeAtFileStart && offersWriting();
}

bool FileAnalyser::cadenceFits() const {
  if (!videoFrameRate_) return true;
  TimecodeTrackFormat format;
  return !resolveTrackFormat(result_->timecodeAtFileStart->frameRate, std::array{*videoFrameRate_}, format);
}

bool FileAnalyser::canWriteTimecode() const {
  return isWritable() && cadenceFits();
}

std::optional<QString> FileAnalyser::cadenceWarning() const {
  if (!isWritable() || cadenceFits()) return std::nullopt;
  return fromUtf8(formatted("LTC is %s but picture is %.3f fps \u2014 cannot write a matching timecode track.",
                            rateText(result_->timecodeAtFileStart->frameRate), *videoFrameRate_));
}

QString FileAnalyser::writeHelp() const {
  return cadenceWarning().value_or(
      "Write LTC start timecode to the file's timecode track using a verified transactional replacement");
}

QStringList FileAnalyser::fileFilters() const {
  return acceptedFileFilters();
}

QString shortTime(double seconds) {
  constexpr qint64 kSecondsPerMinute = 60;
  const auto whole = static_cast<qint64>(seconds);
  if (whole < kSecondsPerMinute) return QString("%1s").arg(whole);
  return QString("%1m %2s").arg(whole / kSecondsPerMinute).arg(whole % kSecondsPerMinute);
}

}  // namespace tallyrig
