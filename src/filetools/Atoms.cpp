#include "filetools/Atoms.h"

#include <algorithm>

#include "filetools/MovieFault.h"

namespace tallyrig {
namespace {

template <typename Number>
Number readNumber(AtomBytes bytes, std::size_t at) noexcept {
  Number number = 0;
  for (const std::uint8_t byte : bytes.subspan(at, sizeof(Number))) number = static_cast<Number>(number << 8 | byte);
  return number;
}

}  // namespace

std::uint16_t read16(AtomBytes bytes, std::size_t at) noexcept {
  return readNumber<std::uint16_t>(bytes, at);
}

std::uint32_t read32(AtomBytes bytes, std::size_t at) noexcept {
  return readNumber<std::uint32_t>(bytes, at);
}

std::uint64_t read64(AtomBytes bytes, std::size_t at) noexcept {
  return readNumber<std::uint64_t>(bytes, at);
}

std::error_code readAtomHead(AtomBytes bytes, AtomHead& head) {
  constexpr std::uint32_t kSizeFollows = 1;
  if (bytes.size() < kAtomHeaderSize) return MovieFault::kAtomTooLong;
  head = {read32(bytes, 4), read32(bytes, 0), kAtomHeaderSize};
  if (head.size == kSizeFollows) {
    if (bytes.size() < kLongAtomHeaderSize) return MovieFault::kAtomTooLong;
    head.size = read64(bytes, 8);
    head.headerSize = kLongAtomHeaderSize;
    return head.size < kLongAtomHeaderSize ? MovieFault::kContradiction : std::error_code{};
  }
  return head.size != 0 && head.size < kAtomHeaderSize ? MovieFault::kContradiction : std::error_code{};
}

std::error_code readAtoms(AtomBytes payload, AtomList& list, std::size_t most) {
  list = {};
  while (!payload.empty()) {
    if (payload.size() < kAtomHeaderSize) {
      if (std::ranges::any_of(payload, [](std::uint8_t byte) { return byte != 0; })) return MovieFault::kAtomTooLong;
      list.tail = payload;
      return {};
    }
    AtomHead head;
    if (const auto error = readAtomHead(payload.first(std::min(payload.size(), kLongAtomHeaderSize)), head)) {
      return error;
    }
    if (head.size == 0) return MovieFault::kContradiction;
    if (head.size > payload.size()) return MovieFault::kAtomTooLong;
    if (list.atoms.size() == most) return MovieFault::kTooManyAtoms;
    const AtomBytes whole = payload.first(static_cast<std::size_t>(head.size));
    list.atoms.push_back({head.type, whole, whole.subspan(head.headerSize)});
    payload = payload.subspan(whole.size());
  }
  return {};
}

std::error_code findAtom(const AtomList& list, AtomType type, Atom& atom) {
  atom = {};
  for (const Atom& candidate : list.atoms) {
    if (candidate.type != type) continue;
    if (!atom.whole.empty()) return MovieFault::kContradiction;
    atom = candidate;
  }
  return {};
}

std::error_code requireAtom(const AtomList& list, AtomType type, Atom& atom) {
  if (const auto error = findAtom(list, type, atom)) return error;
  return atom.whole.empty() ? MovieFault::kContradiction : std::error_code{};
}

}  // namespace tallyrig
