#include "filetools/SourceFileState.h"

#include <utility>

namespace tallyrig {

TimecodeTrackError sourceFileState(const UserFiles& files, const std::filesystem::path& url, SourceFileState& state) {
  FileAttributes attributes;
  if (const auto error = files.attributes(url, attributes)) return error;
  if (attributes.number == 0 || !std::in_range<std::int64_t>(attributes.size)) return TimecodeTrackFault::kNoIdentity;
  state = {static_cast<std::int64_t>(attributes.number), static_cast<std::int64_t>(attributes.size),
           attributes.modified};
  return {};
}

TimecodeTrackError verifySourceUnchanged(const UserFiles& files, const std::filesystem::path& url,
                                         const SourceFileState& expected) {
  SourceFileState state;
  if (auto error = sourceFileState(files, url, state)) return error;
  return state == expected ? TimecodeTrackError{} : TimecodeTrackFault::kSourceChanged;
}

TimecodeTrackError isSymbolicLink(const UserFiles& files, const std::filesystem::path& url, bool& answer) {
  FileAttributes attributes;
  if (const auto error = files.attributes(url, attributes)) return error;
  answer = attributes.kind == FileAttributes::Kind::kSymbolicLink;
  return {};
}

}  // namespace tallyrig
