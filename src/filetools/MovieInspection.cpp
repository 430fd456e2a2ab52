#include "filetools/MovieInspection.h"

#include <cmath>
#include <memory>

#include "filetools/MovieHeader.h"
#include "filetools/MovieLayout.h"
#include "filetools/SampleTables.h"

namespace tallyrig {
namespace {

std::error_code readHeader(const ByteSource& movie, MovieHeader& header) {
  MovieLayout layout;
  if (const auto error = readMovieLayout(movie, layout)) return error;
  return readMovieHeader(movie, layout, header);
}

}  // namespace

TimecodeTrackError inspectMovie(const ByteSource& movie, MovieInspection& inspection) {
  MovieHeader header;
  if (const auto error = readHeader(movie, header)) return error;
  const auto duration = durationOf(header);
  if (!duration) return TimecodeTrackFault::kDurationUnknown;
  inspection = {static_cast<double>(*duration) / header.timeScale, 0, 0};
  for (const MovieTrack& track : header.tracks) {
    if (track.mediaType == atomType("soun")) ++inspection.audioTrackCount;
    if (track.mediaType == atomType("vide")) ++inspection.videoTrackCount;
  }
  return {};
}

TimecodeTrackError inspectMovie(const UserFiles& files, const std::filesystem::path& url, MovieInspection& inspection) {
  std::unique_ptr<ByteSource> movie;
  if (const auto error = files.openForReading(url, movie)) return error;
  return inspectMovie(*movie, inspection);
}

TimecodeTrackError pictureFrameRates(const ByteSource& movie, std::vector<double>& rates) {
  rates.clear();
  MovieHeader header;
  if (const auto error = readHeader(movie, header)) return error;
  for (const MovieTrack& track : header.tracks) {
    if (track.mediaType != atomType("vide")) continue;
    SampleTables tables;
    if (const auto error = readSampleTables(track, tables)) return error;
    if (const auto error = sampleRate(tables, rates.emplace_back())) return error;
  }
  return {};
}

}  // namespace tallyrig
