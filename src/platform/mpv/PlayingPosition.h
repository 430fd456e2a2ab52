#pragma once

#include <algorithm>
#include <chrono>

namespace tallyrig {

/// Where a movie is between two reports of its position, which come once a picture and tell that picture's own time.
/// In seconds. Main thread.
class PlayingPosition {
 public:
  using Time = std::chrono::steady_clock::time_point;

  /// The position is this one now.
  void report(double seconds, Time now) {
    seconds_ = seconds;
    since_ = now;
  }
  /// The movie has begun to move, or stands.
  void setMoving(bool isMoving, Time now) {
    if (isMoving == isMoving_) return;
    report(at(now), now);
    isMoving_ = isMoving;
  }
  /// The movie's length; between reports the position goes no further.
  void setDuration(double seconds) { duration_ = seconds; }
  /// 0 while it is not known.
  double duration() const { return duration_; }

  double at(Time now) const {
    if (!isMoving_ || seconds_ >= duration_) return seconds_;
    const auto passed = std::clamp<Time::duration>(now - since_, {}, kLongestPicture);
    return std::min(seconds_ + std::chrono::duration<double>(passed).count(), duration_);
  }

 private:
  /// Pictures do not follow each other more slowly; where no report comes for longer the movie is held up.
  static constexpr std::chrono::milliseconds kLongestPicture{100};

  double seconds_ = 0;
  double duration_ = 0;
  Time since_;
  bool isMoving_ = false;
};

}  // namespace tallyrig
