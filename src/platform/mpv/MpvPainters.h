#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "platform/MoviePlayer.h"
#include "platform/mpv/MpvHandles.h"

namespace tallyrig {

/// Draws the pictures of one libmpv player with the OpenGL of the window that shows them.
class MpvPainters final : public MoviePainters {
 public:
  /// All are called on whatever thread it happens, and must do no more than pass it on.
  struct Events {
    /// There is a painter now, or there will be none.
    std::function<void()> ready;
    std::function<void()> gone;
    std::function<void()> pictureDue;
  };

  MpvPainters(const MpvHandle& player, Events events);

  std::unique_ptr<MoviePainter> make(FindFunction findFunction) override;

 private:
  class Painter;
  /// What the painter needs, however long it stays.
  struct Shared {
    Events events;
    std::atomic<bool> isInUse{false};
  };

  const std::weak_ptr<mpv_handle> player_;
  const std::shared_ptr<Shared> shared_;
};

}  // namespace tallyrig
