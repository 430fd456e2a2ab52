#pragma once

#include "platform/MoviePlayer.h"
#include "platform/SerialQueue.h"

namespace tallyrig {

/// Movie players on libmpv. Made after the application object, for libmpv needs the numbers of the "C" locale, which
/// this sets for the process.
class MpvMoviePlayers final : public MoviePlayers {
 public:
  /// What the player's own sound goes to, a list of libmpv's drivers. Where none of them works the picture goes on.
  explicit MpvMoviePlayers(SerialQueue& mainQueue, std::string audioDrivers = "pipewire,null");

  std::unique_ptr<MoviePlayer> make() override;

 private:
  SerialQueue& mainQueue_;
  const std::string audioDrivers_;
};

}  // namespace tallyrig
