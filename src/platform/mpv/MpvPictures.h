#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/MoviePlayer.h"
#include "platform/SerialQueue.h"
#include "platform/mpv/MpvHandles.h"

namespace tallyrig {

/// Draws the pictures of one libmpv player into memory, on a thread of its own: at full size a picture costs more than
/// the window's thread has to spare. Pictures that come faster than they are drawn are left out.
class MpvPictures {
 public:
  /// `deliver` is called on the drawing thread.
  using Deliver = std::function<void(std::shared_ptr<const MoviePicture>)>;

  /// Empty if libmpv refuses. Main thread.
  static std::unique_ptr<MpvPictures> create(mpv_handle& player, Deliver deliver);
  /// Waits for the picture that is being drawn.
  ~MpvPictures();
  MpvPictures(const MpvPictures&) = delete;
  MpvPictures& operator=(const MpvPictures&) = delete;

  /// In pixels; none are drawn below 1. The present picture is drawn anew. Main thread.
  void setSize(int width, int height);
  /// Turns the pictures clockwise by 0, 90, 180 or 270 degrees, which libmpv does not do in memory. Main thread.
  void setRotation(int degrees);

 private:
  explicit MpvPictures(Deliver deliver) : deliver_(std::move(deliver)) {}

  struct Wanted {
    int width = 0;
    int height = 0;
    int rotation = 0;

    bool operator==(const Wanted&) const = default;
  };

  void want(const Wanted& wanted);
  void run();
  std::shared_ptr<const MoviePicture> draw(const Wanted& wanted);
  bool drawUpright(MoviePicture& picture);

  const Deliver deliver_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool isDue_ = false;
  bool isWantedNew_ = false;
  bool isEnding_ = false;
  Wanted wanted_;
  /// Drawing thread only: libmpv has had something to show.
  bool hasPicture_ = false;
  MpvRenderContext context_;
  std::thread thread_;
};

}  // namespace tallyrig
