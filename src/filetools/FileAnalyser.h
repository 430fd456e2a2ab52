#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariantList>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <vector>

#include "filetools/FileAnalysis.h"
#include "filetools/TimecodeTrackWriter.h"
#include "platform/Lifetime.h"
#include "platform/SerialQueue.h"

namespace tallyrig {

/// What the File Analyser does with a file. Each blocks and may be called on any thread but a real-time one.
struct FileAnalyserOperations {
  using Path = std::filesystem::path;

  std::function<FileSummary(const Path&)> summary;
  std::function<FileAnalysisOutcome(const Path&, const std::vector<int>&, const std::stop_token&)> analyse;
  std::function<TimecodeTrackResult(const Path&, const Timecode&, const std::stop_token&)> writeTimecodeTrack;
};

/// The state of one File Analyser window: the file it has, what was found in it, and what is under way. The work runs
/// on queues of its own, so that the window stays alive meanwhile. Each outcome belongs to the file session in which it
/// was begun; one that comes when the user has loaded another file is dropped.
///
/// Main thread. Destroying it cancels what is under way.
class FileAnalyser : public QObject {
  Q_OBJECT
  Q_PROPERTY(bool hasFile READ hasFile NOTIFY changed)
  Q_PROPERTY(QString fileName READ fileName NOTIFY changed)
  Q_PROPERTY(int fileChannelCount READ fileChannelCount NOTIFY changed)
  Q_PROPERTY(bool autoDetect READ autoDetect NOTIFY changed)
  /// Counts from 0.
  Q_PROPERTY(int selectedChannel READ selectedChannel NOTIFY changed)
  Q_PROPERTY(bool isAnalysing READ isAnalysing NOTIFY changed)
  Q_PROPERTY(bool isWritingTimecode READ isWritingTimecode NOTIFY changed)
  /// A drag hovers over the drop area.
  Q_PROPERTY(bool isTargeted READ isTargeted WRITE setTargeted NOTIFY changed)
  /// Texts; empty where there is none.
  Q_PROPERTY(QString errorMessage READ errorMessageText NOTIFY changed)
  Q_PROPERTY(QString writeSuccessMessage READ writeSuccessText NOTIFY changed)
  Q_PROPERTY(QString channelHint READ channelHint NOTIFY changed)
  Q_PROPERTY(bool hasResult READ hasResult NOTIFY changed)
  Q_PROPERTY(QString durationText READ durationText NOTIFY changed)
  Q_PROPERTY(QString startText READ startText NOTIFY changed)
  Q_PROPERTY(QString startDetail READ startDetail NOTIFY changed)
  Q_PROPERTY(QString metadataText READ metadataText NOTIFY changed)
  /// One entry for each probe: `time` and `text`.
  Q_PROPERTY(QVariantList probeRows READ probeRows NOTIFY changed)
  /// A movie can take a timecode track, whether or not this one may now.
  Q_PROPERTY(bool offersWriting READ offersWriting NOTIFY changed)
  Q_PROPERTY(bool canWriteTimecode READ canWriteTimecode NOTIFY changed)
  Q_PROPERTY(QString writeHelp READ writeHelp NOTIFY changed)
  Q_PROPERTY(QStringList fileFilters READ fileFilters CONSTANT)

 public:
  FileAnalyser(Scheduler& scheduler, FileAnalyserOperations operations, QObject* parent = nullptr);
  ~FileAnalyser() override;

  /// Begins a new session: learns the file's channels and picture rate, then analyses it.
  void loadFile(const std::filesystem::path& url);
  /// What a panel has chosen or a drop has brought. Whether it is taken; what is no file is not.
  Q_INVOKABLE bool loadDropped(const QList<QUrl>& urls);
  Q_INVOKABLE void startAnalysis();
  Q_INVOKABLE void startWrite();
  Q_INVOKABLE void cancelTasks();
  Q_INVOKABLE void chooseAutoDetect();
  Q_INVOKABLE void chooseChannel(int channel);

  const std::optional<std::filesystem::path>& droppedFileURL() const { return droppedFileURL_; }
  bool hasFile() const { return droppedFileURL_.has_value(); }
  QString fileName() const;
  int fileChannelCount() const { return fileChannelCount_; }
  std::optional<double> videoFrameRate() const { return videoFrameRate_; }
  bool autoDetect() const { return autoDetect_; }
  int selectedChannel() const { return selectedChannel_; }
  bool isAnalysing() const { return isAnalysing_; }
  bool isWritingTimecode() const { return isWritingTimecode_; }
  bool isTargeted() const { return isTargeted_; }
  void setTargeted(bool isTargeted);
  const std::optional<FileAnalysisResult>& result() const { return result_; }
  const std::optional<QString>& errorMessage() const { return errorMessage_; }
  const std::optional<QString>& writeSuccessMessage() const { return writeSuccessMessage_; }

  bool hasResult() const { return result_.has_value(); }
  QString errorMessageText() const { return errorMessage_.value_or(QString()); }
  QString writeSuccessText() const { return writeSuccessMessage_.value_or(QString()); }
  QString channelHint() const;
  QString durationText() const;
  QString startText() const;
  QString startDetail() const;
  QString metadataText() const;
  QVariantList probeRows() const;
  bool offersWriting() const;
  bool canWriteTimecode() const;
  /// Why the picture does not go with the code; absent if it does or if nothing could be written anyway.
  std::optional<QString> cadenceWarning() const;
  QString writeHelp() const;
  QStringList fileFilters() const;

 signals:
  void changed();

 private:
  /// A task that can be told to end.
  struct Work {
    std::shared_ptr<SerialQueue> queue;
    std::optional<std::stop_source> stop;
  };

  template <typename Operation, typename Finish>
  void start(Work& work, Operation operation, Finish finish);
  bool isWritable() const;
  bool cadenceFits() const;
  void finishAnalysis(const FileAnalysisOutcome& outcome);
  void finishWrite(const TimecodeTrackResult& outcome);

  Scheduler& scheduler_;
  const std::shared_ptr<const FileAnalyserOperations> operations_;
  std::optional<std::filesystem::path> droppedFileURL_;
  int fileChannelCount_ = 0;
  std::optional<double> videoFrameRate_;
  bool autoDetect_ = true;
  int selectedChannel_ = 0;
  bool isAnalysing_ = false;
  std::optional<FileAnalysisResult> result_;
  std::optional<QString> errorMessage_;
  bool isTargeted_ = false;
  bool isWritingTimecode_ = false;
  std::optional<QString> writeSuccessMessage_;
  /// The session; each load begins another.
  std::uint64_t fileOperationID_ = 0;
  Work probeTask_;
  Work analysisTask_;
  Work writeTask_;
  Lifetime lifetime_;
};

/// "75s" reads "1m 15s": the truncated whole seconds of a time.
QString shortTime(double seconds);

}  // namespace tallyrig
