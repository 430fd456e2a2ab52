#include "player/FileMediaAudioRouter.h"

#include <algorithm>
#include <chrono>
#include <system_error>
#include <utility>

#include "player/FileMediaAudioRouterError.h"
#include "player/FindOutput.h"
#include "player/StreamingMediaDecoder.h"

namespace tallyrig {
namespace {

constexpr PlatformStatus kNoDevice = -static_cast<PlatformStatus>(std::errc::no_such_device);
// A device may lengthen its cycles while it runs; none lengthens them beyond this.
constexpr std::int64_t kLongestUsualCycle = 8192;
// Picture and sound this near count as together. While the clip is heard already, until the routed sound takes over, it
// is an eighth of a picture at 25 a second; from a standstill a whole one, so that no sound is passed over unheard.
constexpr double kTogetherMoving = 0.005;
constexpr double kTogetherStanding = 0.04;
// How long sound waits for a picture that does not come.
constexpr auto kLookAgain = std::chrono::milliseconds(5);
constexpr int kMostLooks = 400;

std::string deviceFailure(PlatformStatus status) {
  return FileMediaAudioRouterError{FileMediaAudioRouterError::Kind::outputDeviceConfiguration, status}.description();
}

}  // namespace

FileMediaAudioRouter::FileMediaAudioRouter(AudioSystem& audio, Scheduler& scheduler, MediaFiles& files,
                                           SampleRateConverters& converters)
    : audio_(audio),
      scheduler_(scheduler),
      files_(files),
      converters_(converters),
      decodingQueue_(scheduler.makeQueue("Tallyrig.MediaDecoder", QueuePriority::kUserInitiated)),
      engine_(audio),
      deviceListObserver_(audio.observeDevices([this] { checkDevice(); })) {}

FileMediaAudioRouter::~FileMediaAudioRouter() {
  endSession();
}

std::optional<std::string> FileMediaAudioRouter::prepare(const StreamingMediaAudio& stream,
                                                         std::vector<int> assignments, int outputChannelCount,
                                                         std::optional<AudioDeviceID> outputDeviceID) {
  stop();
  pendingAssignments_ = std::move(assignments);
  pendingOutputChannelCount_ = outputChannelCount;
  outputDeviceID_ = outputDeviceID;
  loadedStream_ = stream;
  if (auto failure = configure(stream)) {
    endSession();
    engine_.stop();
    return failure;
  }
  if (onBuffering) onBuffering();
  startDecoder(0);
  return std::nullopt;
}

void FileMediaAudioRouter::restart(const StreamingMediaAudio& stream, double position, bool wantsPlayback) {
  begin(stream, position, wantsPlayback);
}

std::optional<std::string> FileMediaAudioRouter::begin(const StreamingMediaAudio& stream, double position,
                                                       bool wantsPlayback) {
  endSession();
  loadedStream_ = stream;
  if (onBuffering) onBuffering();
  if (auto failure = configure(stream)) {
    endWith(*failure);
    return failure;
  }
  session_->setWantsPlayback(wantsPlayback);
  startDecoder(position);
  return std::nullopt;
}

std::optional<std::string> FileMediaAudioRouter::configure(const StreamingMediaAudio& stream) {
  const auto device = findOutput(audio_, outputDeviceID_);
  if (!device) return deviceFailure(kNoDevice);
  double rate = 0;
  if (const auto status = audio_.nominalSampleRate(device->id, rate); status != kPlatformOk)
    return deviceFailure(status);
  if (pendingOutputChannelCount_ < 1 || !(rate > 0)) return "Could not configure the audio output format.";
  session_ = std::make_shared<StreamingMediaPlaybackSession>(StreamingMediaPlaybackSession::Settings{
      stream, pendingAssignments_, pendingOutputChannelCount_, maximumFramesToRender(device->id), rate});
  deviceInUse_ = device->id;
  if (const auto status = engine_.play(device->id, session_); status != kPlatformOk) return deviceFailure(status);
  return std::nullopt;
}

void FileMediaAudioRouter::startDecoder(double position) {
  startPosition_ = position;
  if (!session_->claimDecoder()) return;
  SerialQueue& main = scheduler_.mainQueue();
  const auto ready = lifetime_.guard([this, session = session_] { handleReady(session); });
  const auto failed =
      lifetime_.guard([this, session = session_](const std::string& text) { handleFailure(session, text); });
  StreamingMediaDecoder::Reports reports{
      [&main, ready] { main.post(ready); },
      [&main, failed](const std::string& text) { main.post([failed, text] { failed(text); }); }};
  std::make_shared<StreamingMediaDecoder>(session_, position, files_, converters_, decodingQueue_, std::move(reports))
      ->start();
}

std::optional<std::string> FileMediaAudioRouter::applyRouting(std::optional<AudioDeviceID> outputDeviceID,
                                                              int outputChannelCount, std::vector<int> assignments,
                                                              double position) {
  const int limit = std::max(outputChannelCount, 1);
  for (int& output : assignments) {
    if (output < 0 || output >= limit) output = -1;
  }
  if (session_ && outputChannelCount == pendingOutputChannelCount_ && assignments == pendingAssignments_ &&
      outputDeviceID == outputDeviceID_) {
    return std::nullopt;
  }
  pendingAssignments_ = std::move(assignments);
  pendingOutputChannelCount_ = outputChannelCount;
  outputDeviceID_ = outputDeviceID;
  if (!loadedStream_) return std::nullopt;
  return begin(StreamingMediaAudio(*loadedStream_), position, wantsPlayback());
}

void FileMediaAudioRouter::stop() {
  endSession();
  engine_.stop();
  loadedStream_.reset();
}

void FileMediaAudioRouter::endSession() {
  if (session_) session_->cancel();
  session_.reset();
  isReady_ = false;
}

void FileMediaAudioRouter::endWith(const std::string& failure) {
  endSession();
  engine_.stop();
  if (onFailure) onFailure(failure);
}

void FileMediaAudioRouter::setPlayback(bool playing) {
  if (!session_) return;
  const bool wanted = session_->wantsPlayback();
  session_->setWantsPlayback(playing);
  if (!playing) session_->setRendering(false);
  if (playing && !wanted && isReady_) beginRendering(session_, kTogetherStanding, 0);
}

void FileMediaAudioRouter::beginRendering(const std::shared_ptr<StreamingMediaPlaybackSession>& session,
                                          double together, int looks) {
  if (session != session_ || !isReady_ || !session_->wantsPlayback() || session_->isRendering()) return;
  const double rate = session_->settings().outputRate;
  const double ahead = startPosition_ + static_cast<double>(session_->renderedFrames()) / rate;
  const auto picture = picturePosition ? picturePosition() : std::optional(ahead);
  const bool mustWait = !picture || ahead - *picture > together;
  if (mustWait && looks < kMostLooks) {
    scheduler_.mainQueue().postAfter(kLookAgain, lifetime_.guard([this, session, together, looks] {
      beginRendering(session, together, looks + 1);
    }));
    return;
  }
  if (picture && *picture - ahead > together) {
    // The next cycle comes half a cycle later than now, on the average.
    const auto untilHeard = static_cast<std::int64_t>(audio_.timing(deviceInUse_).bufferFrames.value_or(0)) / 2;
    session_->skip(static_cast<std::int64_t>((*picture - ahead) * rate) + untilHeard);
  }
  session_->setRendering(true);
}

std::optional<StreamingMediaAudio> FileMediaAudioRouter::stream() const {
  if (!session_) return std::nullopt;
  return session_->settings().stream;
}

void FileMediaAudioRouter::handleReady(const std::shared_ptr<StreamingMediaPlaybackSession>& session) {
  if (session != session_) return;
  isReady_ = true;
  if (onReady) onReady();
  if (session_ && session_->wantsPlayback()) beginRendering(session_, kTogetherMoving, 0);
}

void FileMediaAudioRouter::handleFailure(const std::shared_ptr<StreamingMediaPlaybackSession>& session,
                                         const std::string& text) {
  if (session == session_) endWith(text);
}

void FileMediaAudioRouter::checkDevice() {
  if (!session_) return;
  auto device = findOutput(audio_, deviceInUse_);
  // Without a choice the sound goes where the system's goes, and that may be elsewhere now.
  if (!outputDeviceID_ && (!device || defaultOutput(audio_))) device = findOutput(audio_, std::nullopt);
  if (!device) return endWith(deviceFailure(kNoDevice));
  double rate = 0;
  const double sessionRate = session_->settings().outputRate;
  const bool isSame = device->id == deviceInUse_;
  if (isSame && (audio_.nominalSampleRate(deviceInUse_, rate) != kPlatformOk || rate == sessionRate)) return;
  // The ring holds sound of the old rate.
  const double position = startPosition_ + static_cast<double>(session_->renderedFrames()) / sessionRate;
  begin(StreamingMediaAudio(session_->settings().stream), position, session_->wantsPlayback());
}

std::int64_t FileMediaAudioRouter::maximumFramesToRender(AudioDeviceID device) const {
  return std::max<std::int64_t>(audio_.timing(device).bufferFrames.value_or(0), kLongestUsualCycle);
}

}  // namespace tallyrig
