#include "player/FileMediaPlayerModel.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr TimerSchedule kLookAgain{.interval = 40ms, .first = 40ms};

}  // namespace

FileMediaPlayerModel::FileMediaPlayerModel(std::unique_ptr<MoviePlayer> player, SerialQueue& mainQueue)
    : player_(std::move(player)), mainQueue_(mainQueue) {
  if (!player_) return;
  player_->onPicture = [this](std::shared_ptr<const MoviePicture> picture) { emit pictureChanged(std::move(picture)); };
  player_->onPictureDue = [this] { emit pictureDue(); };
}

void FileMediaPlayerModel::load(const std::filesystem::path& url) {
  clear();
  if (!player_) return;
  player_->load(url);
  timer_ = mainQueue_.repeat(kLookAgain, [this] { update(); });
}

void FileMediaPlayerModel::clear() {
  timer_.reset();
  if (player_) player_->clear();
  isPlaying_ = false;
  position_ = 0;
  duration_ = 0;
  hasVideo_ = false;
  emit changed();
}

void FileMediaPlayerModel::seek(double seconds) {
  position_ = std::clamp(seconds, 0.0, duration_);
  if (player_) player_->seek(position_);
  emit changed();
}

void FileMediaPlayerModel::play() {
  if (!player_) return;
  player_->play();
  isPlaying_ = true;
  emit changed();
}

void FileMediaPlayerModel::pause() {
  if (player_) player_->pause();
  isPlaying_ = false;
  emit changed();
}

void FileMediaPlayerModel::setMuted(bool muted) {
  if (player_) player_->setMuted(muted);
}

void FileMediaPlayerModel::setOutputDevice(const std::optional<std::string>& name) {
  if (player_) player_->setOutputDevice(name);
}

void FileMediaPlayerModel::setPictureSize(int width, int height) {
  if (player_) player_->setPictureSize(width, height);
}

std::shared_ptr<MoviePainters> FileMediaPlayerModel::usePainters() {
  return player_ ? player_->usePainters() : nullptr;
}

std::optional<double> FileMediaPlayerModel::presentPosition() const {
  const MoviePlayer::State state = player_ ? player_->state() : MoviePlayer::State{.position = position_};
  if (state.isSeeking || !std::isfinite(state.position)) return std::nullopt;
  return std::max(state.position, 0.0);
}

void FileMediaPlayerModel::update() {
  const MoviePlayer::State state = player_->state();
  const auto usable = [](double seconds) { return std::isfinite(seconds) ? std::max(seconds, 0.0) : 0.0; };
  position_ = usable(state.position);
  duration_ = usable(state.duration);
  hasVideo_ = state.hasVideo;
  isPlaying_ = state.isPlaying;
  emit changed();
}

}  // namespace tallyrig
