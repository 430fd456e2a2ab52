#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tallyrig {

/// One picture of a movie, fitted into the size asked for. Plain value.
struct MoviePicture {
  int width = 0;
  int height = 0;
  /// Bytes from one row to the next.
  int stride = 0;
  /// Blue, green, red and an unused byte for each pixel.
  std::vector<std::uint8_t> pixels;
};

/// Draws the pictures of one movie player with OpenGL. Made, used and destroyed with one OpenGL context current.
class MoviePainter {
 public:
  virtual ~MoviePainter() = default;

  /// Draws the present picture, fitted and with black beside it, over a whole framebuffer object of that size in
  /// pixels. The top row comes first in its memory. Leaves OpenGL's state changed.
  virtual void paint(unsigned framebuffer, int width, int height) = 0;
};

/// Makes the painters of one movie player; may outlive it.
class MoviePainters {
 public:
  virtual ~MoviePainters() = default;

  /// Where an OpenGL function is, by its name.
  using FindFunction = std::function<void*(const char*)>;

  /// Empty if there is one already, if the player has gone, or if this OpenGL is of no use to it. On the thread that
  /// draws, with its context current.
  virtual std::unique_ptr<MoviePainter> make(FindFunction findFunction) = 0;
};

/// Plays one movie or sound file with its picture and, unless muted, with its own sound on one device. Loading and
/// seeking take their time; what is asked for meanwhile counts from when they are done.
///
/// Main thread, the callbacks too. They must not destroy the player.
class MoviePlayer {
 public:
  virtual ~MoviePlayer() = default;

  /// What is known at present.
  struct State {
    /// In seconds; after a seek its target, until the picture is there. May lie somewhat outside 0 to `duration`.
    double position = 0;
    /// In seconds; 0 while nothing is loaded, or if the file does not say.
    double duration = 0;
    /// A moving picture: a cover image does not count.
    bool hasVideo = false;
    /// The position moves, or will once a seek is done. False at the end of the file.
    bool isPlaying = false;
    /// The picture is on its way: the file is being loaded, or a seek is not done.
    bool isSeeking = false;
  };
  virtual State state() const = 0;

  /// Replaces what is loaded; paused at the start.
  virtual void load(const std::filesystem::path& file) = 0;
  /// Nothing is loaded after it.
  virtual void clear() = 0;
  virtual void play() = 0;
  virtual void pause() = 0;
  /// To the picture that stands at that time, in seconds.
  virtual void seek(double seconds) = 0;
  virtual void setMuted(bool muted) = 0;
  /// The output device of that name, as the audio system lists it; absent, or not to be found, is the default.
  virtual void setOutputDevice(const std::optional<std::string>& name) = 0;

  /// The pixels that pictures are wanted in, from now on; the present one comes again. None below 1.
  virtual void setPictureSize(int width, int height) = 0;
  /// A new picture; null where there is none any more.
  std::function<void(std::shared_ptr<const MoviePicture>)> onPicture;

  /// From now on pictures are for painters, and `onPicture` brings only the null ones. What is to be loaded waits for
  /// the first painter.
  virtual std::shared_ptr<MoviePainters> usePainters() = 0;
  /// The painter has another picture to draw.
  std::function<void()> onPictureDue;
};

class MoviePlayers {
 public:
  virtual ~MoviePlayers() = default;

  /// A player with nothing loaded; empty if the system has none. Main thread.
  virtual std::unique_ptr<MoviePlayer> make() = 0;
};

}  // namespace tallyrig
