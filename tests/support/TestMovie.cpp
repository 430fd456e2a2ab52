#include "support/TestMovie.h"

namespace tallyrig {
namespace {

std::string number(std::uint64_t value, int bytes) {
  std::string text;
  for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8) text += static_cast<char>(value >> shift & 0xff);
  return text;
}

std::string versionAndFlags(bool wide, std::uint32_t flags) {
  return number32((wide ? 1U << 24U : 0U) | flags);
}

std::string time(bool wide, std::uint64_t value) {
  return wide ? number64(value) : number32(value);
}

const std::string kMatrix =
    number32(0x10000) + std::string(12, '\0') + number32(0x10000) + std::string(12, '\0') + number32(0x40000000);

}  // namespace

std::string number16(std::uint64_t value) {
  return number(value, 2);
}

std::string number32(std::uint64_t value) {
  return number(value, 4);
}

std::string number64(std::uint64_t value) {
  return number(value, 8);
}

std::string atom(std::string_view type, std::string_view payload) {
  return number32(payload.size() + 8) + std::string(type) + std::string(payload);
}

std::string longAtom(std::string_view type, std::string_view payload) {
  return number32(1) + std::string(type) + number64(payload.size() + 16) + std::string(payload);
}

std::string openAtom(std::string_view type, std::string_view payload) {
  return number32(0) + std::string(type) + std::string(payload);
}

std::string TestTrack::bytes() const {
  const std::string head = versionAndFlags(wide, 3) + time(wide, 7) + time(wide, 8) + number32(id) + number32(0) +
                           time(wide, duration) + std::string(16, '\0') + kMatrix + std::string(8, '\0');
  const std::string mediaHead = versionAndFlags(wide, 0) + time(wide, 7) + time(wide, 8) + number32(mediaTimeScale) +
                                time(wide, duration) + number32(0);
  const std::string handler = number32(0) + "mhlr" + mediaType + std::string(13, '\0');
  std::string offsets = number32(0) + number32(chunks.size());
  for (const std::uint64_t chunk : chunks) offsets += longOffsets ? number64(chunk) : number32(chunk);
  std::string tables;
  if (!description.empty()) tables += atom("stsd", number32(0) + description);
  if (!durations.empty()) tables += atom("stts", number32(0) + durations);
  tables += moreTables + atom(longOffsets ? "co64" : "stco", offsets);
  const std::string information = moreOfInformation + atom("stbl", tables);
  std::string all = atom("tkhd", head);
  if (!references.empty()) {
    std::string list;
    for (const TestReference& reference : references) {
      std::string ids;
      for (const std::uint32_t trackID : reference.trackIDs) ids += number32(trackID);
      list += atom(reference.type, ids);
    }
    all += atom("tref", list);
  }
  all += more;
  all += atom("mdia", atom("mdhd", mediaHead) + atom("hdlr", handler) + atom("minf", information) + moreOfMedia);
  return atom("trak", all);
}

std::string TestMovie::headerPayload() const {
  std::string payload = atom("mvhd", versionAndFlags(wide, 0) + time(wide, 7) + time(wide, 8) + number32(timeScale) +
                                         time(wide, duration) + number32(0x10000) + std::string(12, '\0') + kMatrix +
                                         std::string(24, '\0') + number32(nextTrackID));
  payload += beforeTracks;
  for (const TestTrack& track : tracks) payload += track.bytes();
  return payload + afterTracks;
}

std::string TestMovie::bytes() const {
  const std::string header = atom("moov", headerPayload());
  std::string body = beforeMedia;
  switch (mediaHead) {
    case MediaHead::kShort:
      body += atom("mdat", media);
      break;
    case MediaHead::kLong:
      body += longAtom("mdat", media);
      break;
    case MediaHead::kOpenEnded:
      body += openAtom("mdat", media);
      break;
  }
  const std::string type = atom("ftyp", "qt  " + number32(0) + "qt  ");
  return type + (headerFirst ? header + body : body + header) + atEnd;
}

}  // namespace tallyrig
