#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace tallyrig {

/// A duration of 64 bits that is not known.
inline constexpr std::uint64_t kUnknownTime = std::numeric_limits<std::uint64_t>::max();

/// Pieces of movie files, each as its bytes.
std::string number16(std::uint64_t number);
std::string number32(std::uint64_t number);
std::string number64(std::uint64_t number);
std::string atom(std::string_view type, std::string_view payload);
/// With a size of 64 bits.
std::string longAtom(std::string_view type, std::string_view payload);
/// Without a size: to the end of the file.
std::string openAtom(std::string_view type, std::string_view payload);

struct TestReference {
  std::string type;
  std::vector<std::uint32_t> trackIDs;
};

struct TestTrack {
  std::uint32_t id = 1;
  std::string mediaType = "vide";
  /// In the movie's time scale; with all bits set an unknown one.
  std::uint64_t duration = 6000;
  /// Version 1, with times of 64 bits.
  bool wide = false;
  std::vector<TestReference> references = {};
  /// Offsets of media in the file, as they stand in stco or co64.
  std::vector<std::uint64_t> chunks = {};
  bool longOffsets = false;
  /// More atoms of the track, of its media, and of the media's information and tables.
  std::string more = {};
  std::string moreOfMedia = {};
  std::string moreOfInformation = {};
  std::string moreTables = {};
  std::uint32_t mediaTimeScale = 600;
  /// What stands behind version and flags in stsd and stts, which are left out where this is empty.
  std::string description = {};
  std::string durations = {};

  std::string bytes() const;
};

/// A movie in memory, put together as this says, whether or not that makes sense.
struct TestMovie {
  enum class MediaHead { kShort, kLong, kOpenEnded };

  std::uint32_t timeScale = 600;
  std::uint64_t duration = 6000;
  std::uint32_t nextTrackID = 2;
  bool wide = false;
  std::vector<TestTrack> tracks = {TestTrack{}};
  std::string media = "the media of the movie";
  MediaHead mediaHead = MediaHead::kShort;
  /// The movie header before the media.
  bool headerFirst = false;
  /// What stands right before the media, such as an atom of type wide.
  std::string beforeMedia;
  /// Atoms at the file's end, and in the movie header before and after the tracks.
  std::string atEnd;
  std::string beforeTracks;
  std::string afterTracks;

  /// The payload of the movie header.
  std::string headerPayload() const;
  std::string bytes() const;
};

}  // namespace tallyrig
