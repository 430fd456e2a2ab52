#pragma once

#include <QObject>
#include <QStringList>
#include <QUrl>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <variant>
#include <vector>

#include "audio/AudioDevices.h"
#include "filetools/FileAnalysisEngine.h"
#include "platform/Lifetime.h"
#include "player/FileMediaAudioRouter.h"
#include "player/FileMediaPlayerModel.h"

namespace tallyrig {

/// What the media player works with. All outlive it.
struct FileMediaPlayerServices {
  AudioSystem& audio;
  Scheduler& scheduler;
  MediaFiles& files;
  SampleRateConverters& converters;
  MoviePlayers& movies;
  FileAnalysisEngine analysis;
};

/// What the Media Player window shows and does: one clip with its picture, its timecode, and each channel of its sound
/// on an output of choice. While the routed sound is not there, the clip's own sound is heard. One stands for one
/// opening of the window; its end ends everything. Main thread.
class FileMediaPlayer : public QObject {
  Q_OBJECT
  /// Name of the clip's file; empty without one.
  Q_PROPERTY(QString clipName READ clipName NOTIFY changed)
  Q_PROPERTY(bool hasClip READ hasClip NOTIFY changed)
  Q_PROPERTY(bool isAnalysing READ isAnalysing NOTIFY changed)
  /// Why the clip has no timecode; empty if it has one or while it is looked for.
  Q_PROPERTY(QString errorMessage READ errorMessage NOTIFY changed)
  /// Why the clip's sound is not routed; empty if it is.
  Q_PROPERTY(QString audioRoutingError READ audioRoutingError NOTIFY changed)
  Q_PROPERTY(bool isAudioRoutePreparing READ isAudioRoutePreparing NOTIFY changed)
  /// Texts of the summary: start, rate and channel of the timecode, "--" for what is not known.
  Q_PROPERTY(QString startText READ startText NOTIFY changed)
  Q_PROPERTY(QString rateText READ rateText NOTIFY changed)
  Q_PROPERTY(QString channelText READ channelText NOTIFY changed)
  /// "System Default", then the devices.
  Q_PROPERTY(QStringList outputNames READ outputNames NOTIFY changed)
  /// Place in `outputNames`, or -1 while the chosen device is away.
  Q_PROPERTY(int outputIndex READ outputIndex WRITE selectOutput NOTIFY changed)
  /// One text for each channel of the clip: "TC 25" where the timecode is, else "Ch 2".
  Q_PROPERTY(QStringList channelMarks READ channelMarks NOTIFY changed)
  /// What a channel can be assigned to: "None", then the device's outputs.
  Q_PROPERTY(QStringList outputChoices READ outputChoices NOTIFY changed)
  /// For each channel of the clip the place in `outputChoices`.
  Q_PROPERTY(QList<int> assignedChoices READ assignedChoices NOTIFY changed)
  /// What the open panel offers.
  Q_PROPERTY(QStringList fileFilters READ fileFilters CONSTANT)
  Q_PROPERTY(QString jumpTimecodeText READ jumpTimecodeText WRITE setJumpTimecodeText NOTIFY changed)

  Q_PROPERTY(bool isPlaying READ isPlaying NOTIFY positionChanged)
  Q_PROPERTY(bool hasVideo READ hasVideo NOTIFY positionChanged)
  /// In seconds: where the slider stands, while it is held, or else the clip.
  Q_PROPERTY(double shownPosition READ shownPosition NOTIFY positionChanged)
  Q_PROPERTY(double effectiveDuration READ effectiveDuration NOTIFY positionChanged)
  /// "00:12.345 / 01:00.000".
  Q_PROPERTY(QString positionLine READ positionLine NOTIFY positionChanged)
  Q_PROPERTY(QString timecodeText READ timecodeText NOTIFY positionChanged)
  Q_PROPERTY(tallyrig::FileMediaPlayerModel* player READ player CONSTANT)

 public:
  explicit FileMediaPlayer(const FileMediaPlayerServices& services);
  ~FileMediaPlayer() override;

  /// Loads the first of what has been dropped or chosen; false, and nothing happens, if that is no file.
  Q_INVOKABLE bool loadDropped(const QList<QUrl>& urls);
  Q_INVOKABLE void loadClip(const QUrl& url);
  Q_INVOKABLE void ejectClip();
  Q_INVOKABLE void togglePlayback();
  /// Forward, or back where negative.
  Q_INVOKABLE void skip(double seconds);
  /// The slider is held and stands there, in seconds.
  Q_INVOKABLE void scrub(double position);
  /// The slider has been let go.
  Q_INVOKABLE void commitScrub();
  Q_INVOKABLE void jumpToTimecode();
  Q_INVOKABLE void refreshOutputDevices();
  /// A place in `outputNames`.
  void selectOutput(int index);
  /// A channel of the clip, and a place in `outputChoices`.
  Q_INVOKABLE void assign(int source, int choice);

  QString clipName() const;
  bool hasClip() const { return droppedFileURL_.has_value(); }
  bool isAnalysing() const { return isAnalysing_; }
  QString errorMessage() const;
  QString audioRoutingError() const;
  bool isAudioRoutePreparing() const { return isAudioRoutePreparing_; }
  QString startText() const;
  QString rateText() const;
  QString channelText() const;
  QStringList outputNames() const;
  int outputIndex() const;
  QStringList channelMarks() const;
  QStringList outputChoices() const;
  QList<int> assignedChoices() const;
  QStringList fileFilters() const;
  QString jumpTimecodeText() const { return jumpTimecodeText_; }
  void setJumpTimecodeText(const QString& text);
  bool isPlaying() const { return player_.isPlaying(); }
  bool hasVideo() const { return player_.hasVideo(); }
  double shownPosition() const { return isScrubbing_ ? scrubPosition_ : player_.position(); }
  double effectiveDuration() const;
  QString positionLine() const;
  QString timecodeText() const;
  FileMediaPlayerModel* player() { return &player_; }

 signals:
  void changed();
  void positionChanged();

 private:
  /// What loading a clip finds out, on the analysis queue.
  struct Loaded {
    std::variant<StreamingMediaAudio, std::string> audio;
    int channelCount = 0;
    FileAnalysisOutcome outcome;
  };

  void listen();
  void forgetClip();
  void finishLoading(std::uint64_t operation, const Loaded& loaded);
  void prepareRouting();
  void routingUnavailable(const std::string& why);
  void buildDefaultRouting();
  /// Without a choice of the user's another device may be the system's default now.
  void followDefaultOutput();
  /// Makes the routing as it is now heard; from the beginning if there was none.
  void applyRouting();
  std::vector<int> assignmentList() const;
  int outputChannelCount() const;
  std::optional<std::string> selectedOutputName() const;
  std::optional<Timecode> startTimecode() const;
  void seek(double target);

  FileMediaPlayerServices services_;
  FileMediaPlayerModel player_;
  FileMediaAudioRouter audioRouter_;
  const std::shared_ptr<SerialQueue> analysisQueue_;

  std::optional<std::filesystem::path> droppedFileURL_;
  std::optional<StreamingMediaAudio> stream_;
  std::optional<FileAnalysisResult> result_;
  int fileChannelCount_ = 0;
  bool isAnalysing_ = false;
  std::optional<std::string> errorMessage_;
  std::vector<AudioOutputDevice> outputDevices_;
  std::optional<AudioDeviceID> selectedOutputID_;
  /// Channel of the clip to output channel, both from 0; a channel that is not there goes nowhere.
  std::map<int, int> channelAssignments_;
  /// The device that the routing was made for, by name.
  std::string routedOutput_;
  std::map<int, MTCFrameRate> detectedTimecodeChannels_;
  bool isScrubbing_ = false;
  double scrubPosition_ = 0;
  QString jumpTimecodeText_;
  std::optional<std::string> audioRoutingError_;
  bool isAudioRoutePreparing_ = false;
  /// A result of a clip that has been replaced is told by its number.
  std::uint64_t mediaOperationID_ = 0;
  std::stop_source mediaLoadStop_;
  Subscription deviceListObserver_;
  Lifetime lifetime_;
};

}  // namespace tallyrig
