#pragma once

#include <QObject>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "platform/MoviePlayer.h"
#include "platform/SerialQueue.h"

namespace tallyrig {

/// The picture of a clip and the clip's own sound, with its position looked at 25 times a second while a clip is
/// loaded. Main thread.
class FileMediaPlayerModel : public QObject {
  Q_OBJECT

 public:
  /// Without a movie player there is neither picture nor position.
  FileMediaPlayerModel(std::unique_ptr<MoviePlayer> player, SerialQueue& mainQueue);

  bool isPlaying() const { return isPlaying_; }
  /// In seconds, 0 and up.
  double position() const { return position_; }
  /// In seconds; 0 while it is not known.
  double duration() const { return duration_; }
  bool hasVideo() const { return hasVideo_; }

  /// Where the clip is at this moment, in seconds; absent while its picture is on the way there.
  std::optional<double> presentPosition() const;

  void load(const std::filesystem::path& url);
  void clear();
  /// In seconds, kept within the clip; `position` follows at once.
  void seek(double seconds);
  void play();
  void pause();
  void setMuted(bool muted);
  /// By name; absent is the system's default.
  void setOutputDevice(const std::optional<std::string>& name);

  /// See `MoviePlayer::setPictureSize`.
  void setPictureSize(int width, int height);
  /// See `MoviePlayer::usePainters`; empty without a movie player.
  std::shared_ptr<MoviePainters> usePainters();

 signals:
  /// Any of the four values may have changed.
  void changed();
  /// Null where there is no picture any more.
  void pictureChanged(std::shared_ptr<const tallyrig::MoviePicture> picture);
  /// The painter has another picture to draw.
  void pictureDue();

 private:
  void update();

  std::unique_ptr<MoviePlayer> player_;
  SerialQueue& mainQueue_;
  std::unique_ptr<RepeatingTimer> timer_;
  bool isPlaying_ = false;
  double position_ = 0;
  double duration_ = 0;
  bool hasVideo_ = false;
};

}  // namespace tallyrig
