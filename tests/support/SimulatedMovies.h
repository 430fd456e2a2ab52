#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/HostClock.h"
#include "platform/MoviePlayer.h"

namespace tallyrig {

/// Movie players that play on a clock, up to the end of the file. They show one picture, if the movie has any.
class SimulatedMovies : public MoviePlayers {
 public:
  struct Movie {
    double duration = 0;
    bool hasVideo = true;
    /// Draws the movie's one picture in a size in pixels; without it there is none.
    std::function<MoviePicture(int width, int height)> picture = {};
  };

  explicit SimulatedMovies(const HostClock& clock) : clock_(clock) {}

  std::unique_ptr<MoviePlayer> make() override { return isMissing ? nullptr : std::make_unique<Player>(*this); }

  /// Files that can be loaded; another one leaves the player empty.
  std::map<std::filesystem::path, Movie> movies;
  bool isMissing = false;

  // What the last player was told.
  bool muted = false;
  std::optional<std::string> device;
  double lastSeek = -1;
  bool isLoaded = false;

 private:
  class Player : public MoviePlayer {
   public:
    explicit Player(SimulatedMovies& owner) : owner_(owner) {}
    ~Player() override { owner_.isLoaded = false; }

    State state() const override {
      if (!movie_) return {};
      const double position = std::min(position_ + elapsed(), movie_->duration);
      return {position, movie_->duration, movie_->hasVideo, playing_ && position < movie_->duration};
    }
    void load(const std::filesystem::path& file) override {
      clear();
      const auto found = owner_.movies.find(file);
      if (found == owner_.movies.end()) return;
      movie_ = found->second;
      owner_.isLoaded = true;
      showPicture();
    }
    void clear() override {
      movie_.reset();
      position_ = 0;
      playing_ = false;
      owner_.isLoaded = false;
    }
    void play() override {
      playing_ = true;
      since_ = owner_.clock_.now();
    }
    void pause() override {
      position_ = state().position;
      playing_ = false;
    }
    void seek(double seconds) override {
      owner_.lastSeek = seconds;
      position_ = seconds;
      since_ = owner_.clock_.now();
    }
    void setMuted(bool muted) override { owner_.muted = muted; }
    void setOutputDevice(const std::optional<std::string>& name) override { owner_.device = name; }
    void setPictureSize(int width, int height) override {
      width_ = width;
      height_ = height;
      showPicture();
    }
    std::shared_ptr<MoviePainters> usePainters() override { return nullptr; }

   private:
    void showPicture() {
      if (movie_ && movie_->picture && width_ > 0 && height_ > 0 && onPicture)
        onPicture(std::make_shared<MoviePicture>(movie_->picture(width_, height_)));
    }
    double elapsed() const { return playing_ ? owner_.clock_.seconds(owner_.clock_.now() - since_) : 0; }

    SimulatedMovies& owner_;
    std::optional<Movie> movie_;
    double position_ = 0;
    bool playing_ = false;
    int width_ = 0;
    int height_ = 0;
    HostTime since_;
  };

  const HostClock& clock_;
};

}  // namespace tallyrig
