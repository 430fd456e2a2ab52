#include "filetools/TimecodeTrackError.h"

namespace tallyrig {
namespace {

class Category final : public std::error_category {
 public:
  const char* name() const noexcept override { return "Tallyrig.FileAnalysis"; }

  std::string message(int value) const override {
    switch (static_cast<TimecodeTrackFault>(value)) {
      case TimecodeTrackFault::kDurationUnknown:
        return "The movie duration could not be validated.";
      case TimecodeTrackFault::kMovieNotPreserved:
        return "The rewritten movie did not preserve its duration or media tracks.";
      case TimecodeTrackFault::kTrackNotVerified:
        return "The rewritten movie's dedicated timecode track could not be verified.";
      case TimecodeTrackFault::kNoIdentity:
        return "Could not verify the source file's identity.";
      case TimecodeTrackFault::kSourceChanged:
        return "The source file changed while it was being prepared. Reopen it and try again.";
      case TimecodeTrackFault::kCadenceMismatch:
        return "The LTC does not match the picture cadence.";
      case TimecodeTrackFault::kMixedCadences:
        return "The movie has video tracks with incompatible frame cadences.";
    }
    return "The timecode track could not be written.";
  }
};

}  // namespace

const std::error_category& fileAnalysisCategory() noexcept {
  static const Category category;
  return category;
}

}  // namespace tallyrig
