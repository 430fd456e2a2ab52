#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>

#include "support/TestMovie.h"

namespace tallyrig {

/// What an atom becomes, from its type and payload to its bytes.
using Reshape = std::function<std::string(const std::string& type, const std::string& payload)>;

inline std::uint64_t numberAt(std::string_view bytes, std::size_t at, std::size_t width) {
  std::uint64_t number = 0;
  for (const char byte : bytes.substr(at, width)) number = number << 8 | static_cast<std::uint8_t>(byte);
  return number;
}

/// The atoms in `bytes`, which all have sizes of 32 bits, each as `reshape` makes it, those within others first.
inline std::string reshaped(std::string_view bytes, const Reshape& reshape) {
  static const std::set<std::string> kParents{"moov", "trak", "edts", "mdia", "minf", "stbl"};
  std::string result;
  while (bytes.size() >= 8) {
    const auto size = static_cast<std::size_t>(numberAt(bytes, 0, 4));
    const std::string type(bytes.substr(4, 4));
    const std::string payload(bytes.substr(8, size - 8));
    result += reshape(type, kParents.contains(type) ? reshaped(payload, reshape) : payload);
    bytes.remove_prefix(size);
  }
  return result + std::string(bytes);
}

/// Everything that can have 64 bits has them: the media's size, for which the writer has left eight bytes of "wide" or
/// "free" before it, the media's offsets, and the times of movie, tracks, media and edits. The media does not move, if
/// it comes before the header.
inline std::string wideMovie(std::string_view movie) {
  const auto times = [](const std::string& type, const std::string& old, std::size_t numbersBetween) {
    std::string wide = std::string(1, '\1') + old.substr(1, 3);
    wide += number64(numberAt(old, 4, 4)) + number64(numberAt(old, 8, 4)) + old.substr(12, numbersBetween * 4);
    const std::size_t duration = 12 + numbersBetween * 4;
    return atom(type, wide + number64(numberAt(old, duration, 4)) + old.substr(duration + 4));
  };
  const auto list = [](const std::string& type, char version, const std::string& old, std::size_t width,
                       const std::function<std::string(std::size_t)>& row) {
    std::string wide = std::string(1, version) + old.substr(1, 7);
    for (std::size_t at = 8; at < old.size(); at += width) wide += row(at);
    return atom(type, wide);
  };
  return reshaped(movie, [&](const std::string& type, const std::string& old) {
    if (type == "mvhd" || type == "mdhd") return times(type, old, 1);
    if (type == "tkhd") return times(type, old, 2);
    if (type == "wide" || type == "free") return std::string();
    if (type == "mdat") return longAtom(type, old);
    if (type == "stco") {
      return list("co64", '\0', old, 4, [&](std::size_t at) { return number64(numberAt(old, at, 4)); });
    }
    if (type == "elst") {
      return list(type, '\1', old, 12, [&](std::size_t at) {
        const auto start = static_cast<std::int32_t>(numberAt(old, at + 4, 4));
        return number64(numberAt(old, at, 4)) + number64(static_cast<std::uint64_t>(std::int64_t{start})) +
               old.substr(at + 8, 4);
      });
    }
    return atom(type, old);
  });
}

/// The media, which must come last, has no size and reaches to the end of the file.
inline std::string openEndedMovie(std::string_view movie) {
  return reshaped(movie, [](const std::string& type, const std::string& payload) {
    return type == "mdat" ? openAtom(type, payload) : atom(type, payload);
  });
}

/// Atoms of no known type in the header, in each track and in its media, and at the end of the file. The media must
/// come before the header.
inline std::string strangeMovie(std::string_view movie) {
  return reshaped(movie,
                  [](const std::string& type, const std::string& payload) {
                    const bool holds = type == "moov" || type == "trak" || type == "mdia";
                    return atom(type, holds ? payload + atom("odd!", "in " + type) : payload);
                  }) +
         atom("uuid", "sixteen bytes id and whatever");
}

}  // namespace tallyrig
