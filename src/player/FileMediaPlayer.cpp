#include "player/FileMediaPlayer.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "filetools/DroppedFile.h"
#include "player/FindOutput.h"
#include "player/MediaTimecode.h"

namespace tallyrig {
namespace {

QString toQString(const std::string& text) {
  return QString::fromStdString(text);
}

}  // namespace

FileMediaPlayer::FileMediaPlayer(const FileMediaPlayerServices& services)
    : services_(services),
      player_(services.movies.make(), services.scheduler.mainQueue()),
      audioRouter_(services.audio, services.scheduler, services.files, services.converters),
      analysisQueue_(services.scheduler.makeQueue("Tallyrig.MediaLoad", QueuePriority::kUserInitiated)),
      deviceListObserver_(services.audio.observeDevices([this] { refreshOutputDevices(); })) {
  connect(&player_, &FileMediaPlayerModel::changed, this, &FileMediaPlayer::positionChanged);
  audioRouter_.picturePosition = [this] { return player_.presentPosition(); };
  refreshOutputDevices();
}

FileMediaPlayer::~FileMediaPlayer() {
  mediaLoadStop_.request_stop();
}

void FileMediaPlayer::listen() {
  audioRouter_.onBuffering = [this] {
    isAudioRoutePreparing_ = true;
    player_.setMuted(false);
    emit changed();
  };
  audioRouter_.onReady = [this] {
    audioRoutingError_.reset();
    isAudioRoutePreparing_ = false;
    player_.setMuted(true);
    emit changed();
  };
  audioRouter_.onFailure = [this](const std::string& text) {
    audioRoutingError_ = text;
    isAudioRoutePreparing_ = false;
    player_.setMuted(false);
    emit changed();
  };
}

void FileMediaPlayer::forgetClip() {
  mediaLoadStop_.request_stop();
  mediaLoadStop_ = {};
  ++mediaOperationID_;
  audioRouter_.stop();
  droppedFileURL_.reset();
  stream_.reset();
  result_.reset();
  errorMessage_.reset();
  audioRoutingError_.reset();
  channelAssignments_.clear();
  detectedTimecodeChannels_.clear();
  jumpTimecodeText_.clear();
  fileChannelCount_ = 0;
  isAnalysing_ = false;
  isAudioRoutePreparing_ = false;
  isScrubbing_ = false;
  scrubPosition_ = 0;
}

bool FileMediaPlayer::loadDropped(const QList<QUrl>& urls) {
  if (!droppedFile(urls)) return false;
  loadClip(urls.front());
  return true;
}

void FileMediaPlayer::loadClip(const QUrl& url) {
  const auto local = localFile(url);
  if (!local) return;
  forgetClip();
  listen();
  const std::filesystem::path& path = *local;
  isAnalysing_ = true;
  isAudioRoutePreparing_ = true;
  droppedFileURL_ = path;
  player_.load(path);
  player_.setOutputDevice(selectedOutputName());
  player_.setMuted(false);

  auto finish =
      lifetime_.guard([this](std::uint64_t operation, const Loaded& loaded) { finishLoading(operation, loaded); });
  analysisQueue_->post([&files = services_.files, &main = services_.scheduler.mainQueue(), engine = services_.analysis,
                        stop = mediaLoadStop_.get_token(), operation = mediaOperationID_, path,
                        finish = std::move(finish)] {
    if (stop.stop_requested()) return;
    Loaded loaded{StreamingMediaAudio::load(path, files), engine.channelCount(path), {}};
    if (stop.stop_requested()) return;
    std::vector<int> channels(static_cast<std::size_t>(std::max(loaded.channelCount, 1)));
    std::iota(channels.begin(), channels.end(), 0);
    loaded.outcome = engine.analyse(path, channels, stop);
    if (stop.stop_requested()) return;
    main.post([finish, operation, loaded = std::move(loaded)] { finish(operation, loaded); });
  });
  emit changed();
  emit positionChanged();
}

void FileMediaPlayer::finishLoading(std::uint64_t operation, const Loaded& loaded) {
  if (operation != mediaOperationID_) return;
  isAnalysing_ = false;
  fileChannelCount_ = loaded.channelCount;
  if (const auto* const result = std::get_if<FileAnalysisResult>(&loaded.outcome)) {
    result_ = *result;
    // A rate without a start is that of a file which only says a timecode of itself: no channel carries it.
    if (result->timecodeAtFileStart) {
      detectedTimecodeChannels_[result->detectedChannel] = result->detectedFrameRate;
      jumpTimecodeText_ = toQString(result->timecodeAtFileStart->text());
    }
  } else {
    errorMessage_ = std::get<FileAnalysisError>(loaded.outcome).description();
  }
  buildDefaultRouting();
  if (const auto* const why = std::get_if<std::string>(&loaded.audio)) {
    routingUnavailable(*why);
  } else {
    stream_ = std::get<StreamingMediaAudio>(loaded.audio);
    prepareRouting();
  }
  emit changed();
  emit positionChanged();
}

void FileMediaPlayer::prepareRouting() {
  if (const auto failure = audioRouter_.prepare(*stream_, assignmentList(), outputChannelCount(), selectedOutputID_)) {
    return routingUnavailable(*failure);
  }
  // The user did not wait: the clip is not at its start, or it plays.
  if (player_.isPlaying() || player_.position() > 0) {
    audioRouter_.restart(*stream_, player_.position(), player_.isPlaying());
  }
}

void FileMediaPlayer::routingUnavailable(const std::string& why) {
  audioRouter_.stop();
  audioRoutingError_ = "Audio routing unavailable: " + why;
  isAudioRoutePreparing_ = false;
  player_.setMuted(false);
}

void FileMediaPlayer::ejectClip() {
  audioRouter_.onBuffering = nullptr;
  audioRouter_.onReady = nullptr;
  audioRouter_.onFailure = nullptr;
  forgetClip();
  player_.clear();
  selectedOutputID_.reset();
  refreshOutputDevices();
  emit positionChanged();
}

void FileMediaPlayer::togglePlayback() {
  if (player_.isPlaying()) {
    player_.pause();
    audioRouter_.setPlayback(false);
    return;
  }
  if (!hasClip()) return;
  // From the end there is nothing to play but the clip again.
  constexpr double kEndSeconds = 0.02;
  if (effectiveDuration() > 0 && player_.position() >= effectiveDuration() - kEndSeconds) seek(0);
  audioRouter_.setPlayback(true);
  player_.play();
}

void FileMediaPlayer::skip(double seconds) {
  if (hasClip()) seek(player_.position() + seconds);
}

void FileMediaPlayer::scrub(double position) {
  if (!hasClip()) return;
  isScrubbing_ = true;
  scrubPosition_ = position;
  emit positionChanged();
}

void FileMediaPlayer::commitScrub() {
  if (!isScrubbing_) return;
  isScrubbing_ = false;
  seek(scrubPosition_);
}

void FileMediaPlayer::jumpToTimecode() {
  const auto start = startTimecode();
  if (!start) return;
  const auto target = positionOfTimecode(*start, jumpTimecodeText_.toStdString());
  if (!target || *target < 0 || *target > effectiveDuration()) return;
  seek(*target);
  scrubPosition_ = *target;
}

void FileMediaPlayer::seek(double target) {
  target = std::clamp(target, 0.0, effectiveDuration());
  if (const auto stream = audioRouter_.stream()) audioRouter_.restart(*stream, target, audioRouter_.wantsPlayback());
  player_.seek(target);
  emit positionChanged();
}

void FileMediaPlayer::refreshOutputDevices() {
  outputDevices_ = listOutputDevices(services_.audio);
  followDefaultOutput();
  emit changed();
}

void FileMediaPlayer::followDefaultOutput() {
  if (selectedOutputID_ || !stream_) return;
  const auto output = findOutput(services_.audio, std::nullopt);
  if (!output || (output->name == routedOutput_ && audioRouter_.stream())) return;
  if (output->name != routedOutput_) buildDefaultRouting();
  applyRouting();
}

void FileMediaPlayer::selectOutput(int index) {
  if (index < 0 || index > static_cast<int>(outputDevices_.size())) return;
  selectedOutputID_.reset();
  if (index > 0) selectedOutputID_ = outputDevices_[static_cast<std::size_t>(index - 1)].id;
  player_.setOutputDevice(selectedOutputName());
  buildDefaultRouting();
  applyRouting();
  emit changed();
}

void FileMediaPlayer::assign(int source, int choice) {
  if (source < 0 || source >= fileChannelCount_ || choice < 0 || choice > outputChannelCount()) return;
  channelAssignments_.erase(source);
  if (choice > 0) channelAssignments_[source] = choice - 1;
  applyRouting();
  emit changed();
}

void FileMediaPlayer::buildDefaultRouting() {
  channelAssignments_.clear();
  const auto output = findOutput(services_.audio, selectedOutputID_);
  routedOutput_ = output ? output->name : "";
  const int outputs = outputChannelCount();
  for (int channel = 0; channel < std::min(fileChannelCount_, outputs); ++channel)
    channelAssignments_[channel] = channel;
}

void FileMediaPlayer::applyRouting() {
  if (!stream_) return;
  if (!audioRouter_.stream()) return prepareRouting();
  audioRouter_.applyRouting(selectedOutputID_, outputChannelCount(), assignmentList(), player_.position());
  audioRouter_.setPlayback(player_.isPlaying());
}

std::vector<int> FileMediaPlayer::assignmentList() const {
  std::vector<int> list(static_cast<std::size_t>(fileChannelCount_), -1);
  for (const auto& [source, output] : channelAssignments_) list[static_cast<std::size_t>(source)] = output;
  return list;
}

int FileMediaPlayer::outputChannelCount() const {
  const auto device = findOutput(services_.audio, selectedOutputID_);
  return device ? device->channelCount : 0;
}

std::optional<std::string> FileMediaPlayer::selectedOutputName() const {
  if (!selectedOutputID_) return std::nullopt;
  const auto device = findOutput(services_.audio, selectedOutputID_);
  return device ? std::optional(device->name) : std::nullopt;
}

std::optional<Timecode> FileMediaPlayer::startTimecode() const {
  return result_ ? result_->timecodeAtFileStart : std::nullopt;
}

void FileMediaPlayer::setJumpTimecodeText(const QString& text) {
  if (text == jumpTimecodeText_) return;
  jumpTimecodeText_ = text;
  emit changed();
}

QString FileMediaPlayer::clipName() const {
  return droppedFileURL_ ? displayName(*droppedFileURL_) : QString();
}

QStringList FileMediaPlayer::fileFilters() const {
  return acceptedFileFilters();
}

QString FileMediaPlayer::errorMessage() const {
  return toQString(errorMessage_.value_or(""));
}

QString FileMediaPlayer::audioRoutingError() const {
  return toQString(audioRoutingError_.value_or(""));
}

QString FileMediaPlayer::startText() const {
  const auto start = startTimecode();
  return start ? toQString(start->text()) : "--";
}

QString FileMediaPlayer::rateText() const {
  return startTimecode() ? QString(tallyrig::rateText(result_->detectedFrameRate)) : "--";
}

QString FileMediaPlayer::channelText() const {
  return startTimecode() ? QString::number(result_->detectedChannel + 1) : "--";
}

QStringList FileMediaPlayer::outputNames() const {
  QStringList names{"System Default"};
  for (const AudioOutputDevice& device : outputDevices_)
    names.append(toQString(device.name) + QString(" (%1 ch)").arg(device.channelCount));
  return names;
}

int FileMediaPlayer::outputIndex() const {
  if (!selectedOutputID_) return 0;
  const auto found = std::find_if(outputDevices_.begin(), outputDevices_.end(),
                                  [this](const auto& device) { return device.id == *selectedOutputID_; });
  return found == outputDevices_.end() ? -1 : static_cast<int>(found - outputDevices_.begin()) + 1;
}

QStringList FileMediaPlayer::channelMarks() const {
  QStringList marks;
  for (int channel = 0; channel < fileChannelCount_; ++channel) {
    const auto found = detectedTimecodeChannels_.find(channel);
    marks.append(found == detectedTimecodeChannels_.end() ? QString("Ch %1").arg(channel + 1)
                                                          : QString("TC ") + tallyrig::rateText(found->second));
  }
  return marks;
}

QStringList FileMediaPlayer::outputChoices() const {
  QStringList choices{"None"};
  for (int output = 1; output <= outputChannelCount(); ++output) choices.append(QString("Output %1").arg(output));
  return choices;
}

QList<int> FileMediaPlayer::assignedChoices() const {
  QList<int> choices;
  for (const int output : assignmentList()) choices.append(output + 1);
  return choices;
}

double FileMediaPlayer::effectiveDuration() const {
  return std::max(player_.duration(), result_ ? result_->fileDurationSeconds : 0.0);
}

QString FileMediaPlayer::positionLine() const {
  return toQString(positionText(shownPosition()) + " / " + positionText(effectiveDuration()));
}

QString FileMediaPlayer::timecodeText() const {
  return toQString(runningTimecodeText(startTimecode(), shownPosition()));
}

}  // namespace tallyrig
