#include "platform/mpv/MpvMoviePlayer.h"

#include <array>
#include <chrono>
#include <string_view>
#include <utility>

namespace tallyrig {
namespace {

constexpr std::string_view kDevicePrefix = "pipewire/";

const mpv_node* member(const mpv_node& map, std::string_view key) {
  if (map.format != MPV_FORMAT_NODE_MAP) return nullptr;
  for (int i = 0; i < map.u.list->num; ++i) {
    if (map.u.list->keys[i] == key) return &map.u.list->values[i];
  }
  return nullptr;
}

std::string textMember(const mpv_node& map, std::string_view key) {
  const mpv_node* const node = member(map, key);
  return node != nullptr && node->format == MPV_FORMAT_STRING ? node->u.string : "";
}

void setFlag(mpv_handle* handle, std::uint64_t request, const char* name, bool value) {
  int flag = value ? 1 : 0;
  mpv_set_property_async(handle, request, name, MPV_FORMAT_FLAG, &flag);
}

}  // namespace

std::unique_ptr<MpvMoviePlayer> MpvMoviePlayer::create(SerialQueue& mainQueue, const std::string& audioDrivers) {
  std::unique_ptr<MpvMoviePlayer> player(new MpvMoviePlayer(mainQueue));
  return player->open(audioDrivers) ? std::move(player) : nullptr;
}

bool MpvMoviePlayer::open(const std::string& audioDrivers) {
  handle_ = holdMpv(mpv_create());
  if (!handle_) return false;
  // Exact seeks, the last picture kept at the end, and nothing of the user's own configuration of other programs.
  const std::array options{
      std::pair{"config", "no"},
      std::pair{"load-scripts", "no"},
      std::pair{"ytdl", "no"},
      std::pair{"vo", "libmpv"},
      std::pair{"idle", "yes"},
      std::pair{"keep-open", "yes"},
      std::pair{"hr-seek", "yes"},
      std::pair{"video-rotate", "no"},
      std::pair{"gpu-hwdec-interop", "no"},
      // Pictures come when they are to be seen, for nothing here waits with drawing them.
      std::pair{"video-timing-offset", "0"},
      std::pair{"pause", "yes"},
      std::pair{"audio-display", "no"},
      std::pair{"terminal", "no"},
      std::pair{"input-default-bindings", "no"},
      std::pair{"sub", "no"},
      std::pair{"osd-level", "0"},
      std::pair{"audio-client-name", "Tallyrig"},
      std::pair{"ao", audioDrivers.c_str()},
  };
  for (const auto& [name, value] : options) {
    if (mpv_set_option_string(handle_.get(), name, value) < 0) return false;
  }
  if (mpv_initialize(handle_.get()) < 0) return false;

  auto deliver = lifetime_.guard([this](const std::shared_ptr<const MoviePicture>& picture) {
    if (onPicture) onPicture(picture);
  });
  pictures_ = MpvPictures::create(*handle_, [&main = mainQueue_, deliver](std::shared_ptr<const MoviePicture> picture) {
    main.post([deliver, picture = std::move(picture)] { deliver(picture); });
  });
  if (!pictures_) return false;

  mpv_observe_property(handle_.get(), 0, "time-pos", MPV_FORMAT_DOUBLE);
  mpv_observe_property(handle_.get(), 0, "duration", MPV_FORMAT_DOUBLE);
  mpv_observe_property(handle_.get(), 0, "current-tracks/video/id", MPV_FORMAT_INT64);
  mpv_observe_property(handle_.get(), 0, "current-tracks/video/demux-rotation", MPV_FORMAT_INT64);
  mpv_observe_property(handle_.get(), 0, "audio-device-list", MPV_FORMAT_NODE);
  observePause();
  wake_ = std::make_shared<Wake>(mainQueue_, lifetime_.guard([this] { readEvents(); }));
  mpv_set_wakeup_callback(
      handle_.get(),
      [](void* context) {
        auto& wake = *static_cast<Wake*>(context);
        if (!wake.isPosted.exchange(true)) wake.mainQueue.post(wake.readEvents);
      },
      wake_.get());
  return true;
}

MpvMoviePlayer::~MpvMoviePlayer() {
  if (handle_) {
    mpv_set_wakeup_callback(handle_.get(), nullptr, nullptr);
    // A painter may keep the core for a while yet.
    stopPlaying();
  }
  pictures_.reset();
  handle_.reset();
}

MoviePlayer::State MpvMoviePlayer::state() const {
  if (!isLoaded_) {
    const bool isLoading = loadRequest_ != 0 || waitingFile_;
    return {.position = seekOnLoad_.value_or(0), .isPlaying = isLoading && !isPaused(), .isSeeking = isLoading};
  }
  const double position = seekTarget_ ? *seekTarget_ : reportedPosition_.at(std::chrono::steady_clock::now());
  return {position, reportedPosition_.duration(), reportedVideo_, !isPaused(), seekTarget_.has_value()};
}

void MpvMoviePlayer::load(const std::filesystem::path& file) {
  isLoaded_ = false;
  seekOnLoad_.reset();
  seekTarget_.reset();
  wantedEntry_.reset();
  loadRequest_ = 0;
  pause();
  if (onPicture) onPicture(nullptr);
  const std::string path = std::filesystem::absolute(file).string();
  if (!painters_ || isPainterReady_) return sendLoad(path);
  // Without anybody to draw it libmpv would leave the picture out.
  stopPlaying();
  waitingFile_ = path;
}

void MpvMoviePlayer::sendLoad(const std::string& path) {
  loadRequest_ = ++lastRequest_;
  std::array command{"loadfile", path.c_str(), static_cast<const char*>(nullptr)};
  mpv_command_async(handle_.get(), loadRequest_, command.data());
}

void MpvMoviePlayer::clear() {
  isLoaded_ = false;
  seekOnLoad_.reset();
  seekTarget_.reset();
  wantedEntry_.reset();
  loadRequest_ = 0;
  waitingFile_.reset();
  pause();
  stopPlaying();
  if (onPicture) onPicture(nullptr);
}

void MpvMoviePlayer::stopPlaying() {
  std::array command{"stop", static_cast<const char*>(nullptr)};
  mpv_command_async(handle_.get(), ++lastRequest_, command.data());
}

void MpvMoviePlayer::setPictureSize(int width, int height) {
  if (pictures_) pictures_->setSize(width, height);
}

std::shared_ptr<MoviePainters> MpvMoviePlayer::usePainters() {
  if (painters_) return painters_;
  pictures_.reset();
  // Only drawing in memory needs our own turning.
  mpv_set_property_string(handle_.get(), "video-rotate", "0");
  const auto onMain = [&main = mainQueue_](auto task) { return [&main, task] { main.post(task); }; };
  painters_ = std::make_shared<MpvPainters>(
      handle_, MpvPainters::Events{.ready = onMain(lifetime_.guard([this] { painterReady(); })),
                                   .gone = onMain(lifetime_.guard([this] { isPainterReady_ = false; })),
                                   .pictureDue = onMain(lifetime_.guard([this] {
                                     if (onPictureDue) onPictureDue();
                                   }))});
  return painters_;
}

void MpvMoviePlayer::painterReady() {
  isPainterReady_ = true;
  if (const auto path = std::exchange(waitingFile_, std::nullopt)) return sendLoad(*path);
  // The picture was left out when the last painter went.
  const char* chosen = "auto";
  if (isLoaded_) mpv_set_property_async(handle_.get(), 0, "vid", MPV_FORMAT_STRING, &chosen);
}

void MpvMoviePlayer::setPaused(bool paused) {
  wantedPause_ = paused;
  pauseRequest_ = ++lastRequest_;
  setFlag(handle_.get(), pauseRequest_, "pause", paused);
}

void MpvMoviePlayer::observePause() {
  // A new observation begins with the value as it is, even if that is the one told last.
  if (pauseObservation_ != 0) mpv_unobserve_property(handle_.get(), pauseObservation_);
  pauseObservation_ = ++lastRequest_;
  mpv_observe_property(handle_.get(), pauseObservation_, "pause", MPV_FORMAT_FLAG);
}

void MpvMoviePlayer::seek(double seconds) {
  if (isLoaded_) {
    sendSeek(seconds);
  } else {
    seekOnLoad_ = seconds;
  }
}

void MpvMoviePlayer::sendSeek(double seconds) {
  seekTarget_ = seconds;
  isSeekTaken_ = false;
  seekingRequest_ = 0;
  pictureRequest_ = 0;
  seekRequest_ = ++lastRequest_;
  const std::string target = std::to_string(seconds);
  std::array command{"seek", target.c_str(), "absolute+exact", static_cast<const char*>(nullptr)};
  mpv_command_async(handle_.get(), seekRequest_, command.data());
}

void MpvMoviePlayer::setMuted(bool muted) {
  setFlag(handle_.get(), 0, "mute", muted);
}

void MpvMoviePlayer::setOutputDevice(const std::optional<std::string>& name) {
  outputDevice_ = name;
  chooseDevice();
}

void MpvMoviePlayer::chooseDevice() {
  std::string chosen = "auto";
  for (const Device& device : devices_) {
    if (outputDevice_ && device.description == *outputDevice_) chosen = device.name;
  }
  if (chosen == chosenDevice_) return;
  chosenDevice_ = chosen;
  const char* text = chosen.c_str();
  mpv_set_property_async(handle_.get(), 0, "audio-device", MPV_FORMAT_STRING, &text);
}

void MpvMoviePlayer::readEvents() {
  wake_->isPosted = false;
  while (true) {
    const mpv_event* const event = mpv_wait_event(handle_.get(), 0);
    if (event->event_id == MPV_EVENT_NONE) return;
    handle(*event);
  }
}

void MpvMoviePlayer::handle(const mpv_event& event) {
  switch (event.event_id) {
    case MPV_EVENT_COMMAND_REPLY:
      return handleReply(event);
    case MPV_EVENT_SET_PROPERTY_REPLY:
      if (event.reply_userdata == pauseRequest_) observePause();
      return;
    case MPV_EVENT_PROPERTY_CHANGE:
      if (event.reply_userdata == pauseObservation_ && pauseObservation_ > pauseRequest_) wantedPause_.reset();
      return handleProperty(*static_cast<const mpv_event_property*>(event.data));
    case MPV_EVENT_START_FILE:
      startedEntry_ = static_cast<const mpv_event_start_file*>(event.data)->playlist_entry_id;
      return;
    case MPV_EVENT_FILE_LOADED:
      if (startedEntry_ == wantedEntry_) handleLoaded();
      return;
    case MPV_EVENT_END_FILE:
      if (static_cast<const mpv_event_end_file*>(event.data)->playlist_entry_id != wantedEntry_) return;
      isLoaded_ = false;
      loadRequest_ = 0;
      return;
    case MPV_EVENT_PLAYBACK_RESTART:
      // The position told last is the target still, and the picture may stand a little after it.
      if (isSeekTaken_ && seekTarget_) {
        seekingRequest_ = ++lastRequest_;
        pictureRequest_ = ++lastRequest_;
        mpv_get_property_async(handle_.get(), seekingRequest_, "seeking", MPV_FORMAT_FLAG);
        mpv_get_property_async(handle_.get(), pictureRequest_, "time-pos", MPV_FORMAT_DOUBLE);
      }
      return;
    case MPV_EVENT_GET_PROPERTY_REPLY:
      return handleAnswer(event);
    default:
      return;
  }
}

void MpvMoviePlayer::handleReply(const mpv_event& event) {
  if (event.reply_userdata == loadRequest_ && event.error >= 0) {
    const mpv_node* const entry =
        member(static_cast<const mpv_event_command*>(event.data)->result, "playlist_entry_id");
    if (entry != nullptr && entry->format == MPV_FORMAT_INT64) wantedEntry_ = entry->u.int64;
  } else if (event.reply_userdata == seekRequest_) {
    isSeekTaken_ = true;
    if (event.error < 0) seekTarget_.reset();
  }
}

void MpvMoviePlayer::handleAnswer(const mpv_event& event) {
  const auto& property = *static_cast<const mpv_event_property*>(event.data);
  const bool isKnown = event.error >= 0;
  if (event.reply_userdata == seekingRequest_) {
    const bool isOnItsWay = isKnown && *static_cast<const int*>(property.data) != 0;
    if (isOnItsWay) pictureRequest_ = 0;
  } else if (event.reply_userdata == pictureRequest_) {
    seekTarget_.reset();
    if (isKnown) reportedPosition_.report(*static_cast<const double*>(property.data), std::chrono::steady_clock::now());
  }
}

void MpvMoviePlayer::handleLoaded() {
  isLoaded_ = true;
  if (const auto target = std::exchange(seekOnLoad_, std::nullopt)) sendSeek(*target);
}

void MpvMoviePlayer::handleProperty(const mpv_event_property& property) {
  const std::string_view name = property.name;
  const bool isKnown = property.format != MPV_FORMAT_NONE;
  const auto now = std::chrono::steady_clock::now();
  if (name == "time-pos") {
    reportedPosition_.report(isKnown ? *static_cast<const double*>(property.data) : 0, now);
  } else if (name == "duration") {
    reportedPosition_.setDuration(isKnown ? *static_cast<const double*>(property.data) : 0);
  } else if (name == "current-tracks/video/id") {
    reportedVideo_ = isKnown;
  } else if (name == "current-tracks/video/demux-rotation") {
    const std::int64_t degrees = isKnown ? *static_cast<const std::int64_t*>(property.data) : 0;
    if (pictures_) pictures_->setRotation(degrees % 90 == 0 ? static_cast<int>(degrees) : 0);
  } else if (name == "pause") {
    reportedPause_ = !isKnown || *static_cast<const int*>(property.data) != 0;
    reportedPosition_.setMoving(!reportedPause_, now);
  } else if (name == "audio-device-list" && isKnown) {
    const auto& list = *static_cast<const mpv_node*>(property.data);
    if (list.format != MPV_FORMAT_NODE_ARRAY) return;
    devices_.clear();
    for (int i = 0; i < list.u.list->num; ++i) {
      Device device{textMember(list.u.list->values[i], "name"), textMember(list.u.list->values[i], "description")};
      if (device.name.starts_with(kDevicePrefix)) devices_.push_back(std::move(device));
    }
    chooseDevice();
  }
}

}  // namespace tallyrig
