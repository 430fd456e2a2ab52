#include "filetools/MovieFault.h"

#include <string>

namespace tallyrig {
namespace {

class Category final : public std::error_category {
 public:
  const char* name() const noexcept override { return "movie"; }

  std::string message(int value) const override {
    switch (static_cast<MovieFault>(value)) {
      case MovieFault::kNoMovieHeader:
        return "The file holds no movie header.";
      case MovieFault::kAtomTooLong:
        return "An atom of the movie is longer than the space it lies in.";
      case MovieFault::kContradiction:
        return "The atoms of the movie contradict each other.";
      case MovieFault::kTooManyAtoms:
        return "The movie has too many atoms.";
      case MovieFault::kHeaderTooLarge:
        return "The movie header is too large.";
      case MovieFault::kCompressedHeader:
        return "The movie header is compressed, which is not supported.";
      case MovieFault::kFragmented:
        return "The movie is fragmented, which is not supported.";
      case MovieFault::kUnknownDuration:
        return "The movie does not tell its duration.";
      case MovieFault::kDurationTooLong:
        return "The movie is too long for a timecode track.";
      case MovieFault::kOpenEndedMedia:
        return "The media of the movie has no end that something could be added after.";
      case MovieFault::kTimecodeOutOfRange:
        return "The timecode does not fit a timecode track.";
    }
    return "The movie cannot be edited.";
  }
};

}  // namespace

const std::error_category& movieFaultCategory() noexcept {
  static const Category category;
  return category;
}

}  // namespace tallyrig
