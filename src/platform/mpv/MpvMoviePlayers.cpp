#include "platform/mpv/MpvMoviePlayers.h"

#include <clocale>
#include <utility>

#include "platform/mpv/MpvMoviePlayer.h"

namespace tallyrig {

MpvMoviePlayers::MpvMoviePlayers(SerialQueue& mainQueue, std::string audioDrivers)
    : mainQueue_(mainQueue), audioDrivers_(std::move(audioDrivers)) {
  std::setlocale(LC_NUMERIC, "C");
}

std::unique_ptr<MoviePlayer> MpvMoviePlayers::make() {
  return MpvMoviePlayer::create(mainQueue_, audioDrivers_);
}

}  // namespace tallyrig
