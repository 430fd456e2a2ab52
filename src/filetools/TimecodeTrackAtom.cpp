#include "filetools/TimecodeTrackAtom.h"

#include <algorithm>
#include <limits>

#include "filetools/MovieFault.h"

namespace tallyrig {
namespace {

constexpr std::uint32_t kVersion1 = 1U << 24U;
constexpr std::uint32_t kWholeRate = 1U << 16U;
constexpr std::uint16_t kLanguageUndetermined = 0x55c4;

/// The sample's duration in units of the media's own time scale.
struct MediaTime {
  std::uint32_t timeScale = 0;
  std::uint32_t duration = 0;
};

/// The longest duration of one sample that readers agree on: some take its 32 bits as signed.
constexpr std::uint64_t kLongestSample = std::numeric_limits<std::int32_t>::max();

std::error_code mediaTimeOf(const TimecodeTrackPlace& place, MediaTime& time) {
  const std::uint64_t scale = place.movieTimeScale;
  const std::uint64_t divisor = place.duration / kLongestSample + (place.duration % kLongestSample != 0 ? 1 : 0);
  if (divisor > scale) return MovieFault::kDurationTooLong;
  const std::uint64_t mediaScale = scale / std::max<std::uint64_t>(divisor, 1);
  // Rounded up, so that the sample reaches to the movie's end.
  const std::uint64_t duration =
      place.duration / scale * mediaScale + (place.duration % scale * mediaScale + scale - 1) / scale;
  time = {static_cast<std::uint32_t>(mediaScale), static_cast<std::uint32_t>(duration)};
  return {};
}

bool isWide(std::uint64_t duration) {
  return duration >= std::numeric_limits<std::uint32_t>::max();
}

void putTime(AtomWriter& writer, bool wide, std::uint64_t time) {
  if (wide) {
    writer.put64(time);
  } else {
    writer.put32(static_cast<std::uint32_t>(time));
  }
}

void putMatrix(AtomWriter& writer) {
  constexpr std::uint32_t kOne = 1U << 16U;
  constexpr std::uint32_t kOneOfTheLastColumn = 1U << 30U;
  for (const std::uint32_t number : {kOne, 0U, 0U, 0U, kOne, 0U, 0U, 0U, kOneOfTheLastColumn}) writer.put32(number);
}

void writeTrackHead(AtomWriter& writer, const TimecodeTrackPlace& place) {
  constexpr std::uint32_t kEnabledAndInMovie = 3;
  const bool wide = isWide(place.duration);
  writer.atom(atomType("tkhd"), [&] {
    writer.put32((wide ? kVersion1 : 0) | kEnabledAndInMovie);
    putTime(writer, wide, 0);
    putTime(writer, wide, 0);
    writer.put32(place.trackID);
    writer.put32(0);
    putTime(writer, wide, place.duration);
    writer.putZeros(16);  // Reserved, layer, group and volume.
    putMatrix(writer);
    writer.putZeros(8);  // No picture of its own.
  });
}

void writeEdits(AtomWriter& writer, const TimecodeTrackPlace& place) {
  const bool wide = isWide(place.duration);
  writer.atom(atomType("edts"), [&] {
    writer.atom(atomType("elst"), [&] {
      writer.put32(wide ? kVersion1 : 0);
      writer.put32(1);
      putTime(writer, wide, place.duration);
      putTime(writer, wide, 0);
      writer.put32(kWholeRate);
    });
  });
}

void writeHandler(AtomWriter& writer, AtomType component, AtomType type, std::string_view name) {
  writer.atom(atomType("hdlr"), [&] {
    writer.put32(0);
    writer.put32(component);
    writer.put32(type);
    writer.putZeros(12);
    writer.putPascalString(name);
  });
}

void writeMediaInformationHead(AtomWriter& writer) {
  constexpr std::uint16_t kDitherCopy = 0x40;
  constexpr std::uint16_t kTextSize = 12;
  constexpr std::uint16_t kHalf = 0x8000;
  constexpr std::uint16_t kFull = 0xffff;
  writer.atom(atomType("gmhd"), [&] {
    writer.atom(atomType("gmin"), [&] {
      writer.put32(0);
      for (const std::uint16_t number : {kDitherCopy, kHalf, kHalf, kHalf}) writer.put16(number);
      writer.putZeros(4);  // Balance, reserved.
    });
    writer.atom(atomType("tmcd"), [&] {
      writer.atom(atomType("tcmi"), [&] {
        writer.put32(0);
        writer.putZeros(4);  // Font and face by number.
        writer.put16(kTextSize);
        writer.putZeros(2);
        writer.putZeros(6);                                              // Black text
        for (int colour = 0; colour < 3; ++colour) writer.put16(kFull);  // on white.
        writer.putPascalString("");
      });
    });
  });
}

void writeDataReference(AtomWriter& writer) {
  constexpr std::uint32_t kInThisFile = 1;
  writer.atom(atomType("dinf"), [&] {
    writer.atom(atomType("dref"), [&] {
      writer.put32(0);
      writer.put32(1);
      writer.atom(atomType("alis"), [&] { writer.put32(kInThisFile); });
    });
  });
}

void writeSampleDescription(AtomWriter& writer, const TimecodeTrackFormat& format) {
  writer.atom(atomType("stsd"), [&] {
    writer.put32(0);
    writer.put32(1);
    writer.atom(atomType("tmcd"), [&] {
      writer.putZeros(6);
      writer.put16(1);  // The first data reference.
      writer.put32(0);
      writer.put32(format.timeCodeFlags);
      writer.put32(format.frameDuration.timescale);
      writer.put32(format.frameDuration.value);
      writer.put8(static_cast<std::uint8_t>(format.frameQuanta));
      writer.put8(0);
    });
  });
}

void writeSampleTable(AtomWriter& writer, const TimecodeTrackFormat& format, const TimecodeTrackPlace& place,
                      std::uint32_t sampleDuration) {
  constexpr std::uint32_t kSampleSize = 4;
  const auto table = [&](AtomType type, std::initializer_list<std::uint32_t> numbers) {
    writer.atom(type, [&] {
      writer.put32(0);
      for (const std::uint32_t number : numbers) writer.put32(number);
    });
  };
  writer.atom(atomType("stbl"), [&] {
    writeSampleDescription(writer, format);
    table(atomType("stts"), {1, 1, sampleDuration});
    table(atomType("stsc"), {1, 1, 1, 1});
    table(atomType("stsz"), {kSampleSize, 1});
    const auto low = static_cast<std::uint32_t>(place.sampleOffset);
    if (place.sampleOffset == low) {
      table(atomType("stco"), {1, low});
    } else {
      table(atomType("co64"), {1, static_cast<std::uint32_t>(place.sampleOffset >> 32U), low});
    }
  });
}

void writeMedia(AtomWriter& writer, const TimecodeTrackFormat& format, const TimecodeTrackPlace& place,
                const MediaTime& time) {
  writer.atom(atomType("mdia"), [&] {
    writer.atom(atomType("mdhd"), [&] {
      for (const std::uint32_t number : {0U, 0U, 0U, time.timeScale, time.duration}) writer.put32(number);
      writer.put16(kLanguageUndetermined);
      writer.put16(0);
    });
    writeHandler(writer, atomType("mhlr"), atomType("tmcd"), "Timecode");
    writer.atom(atomType("minf"), [&] {
      writeMediaInformationHead(writer);
      writeHandler(writer, atomType("dhlr"), atomType("alis"), "");
      writeDataReference(writer);
      writeSampleTable(writer, format, place, time.duration);
    });
  });
}

}  // namespace

std::error_code putTimecodeTrack(AtomWriter& writer, const TimecodeTrackFormat& format,
                                 const TimecodeTrackPlace& place) {
  MediaTime time;
  if (const auto error = mediaTimeOf(place, time)) return error;
  writer.atom(atomType("trak"), [&] {
    writeTrackHead(writer, place);
    writeEdits(writer, place);
    writeMedia(writer, format, place, time);
  });
  return {};
}

}  // namespace tallyrig
