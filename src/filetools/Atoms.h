#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <system_error>
#include <vector>

namespace tallyrig {

/// Atoms of QuickTime movies (boxes of ISO/IEC 14496-12): a size of 32 bits, big-endian as all numbers here, that
/// counts the header too; a type of four characters; the payload. A size of 1 stands for a size of 64 bits after the
/// type.
using AtomType = std::uint32_t;
using AtomBytes = std::span<const std::uint8_t>;

constexpr std::size_t kAtomHeaderSize = 8;
constexpr std::size_t kLongAtomHeaderSize = 16;
/// Side by side; more than any honest movie has, and few enough that a hostile one does not fill the memory.
constexpr std::size_t kMostAtoms = 4096;

consteval AtomType atomType(const char (&text)[5]) {
  AtomType type = 0;
  for (int index = 0; index < 4; ++index) type = type << 8 | static_cast<std::uint8_t>(text[index]);
  return type;
}

/// The number at `at`, which must lie within `bytes` whole.
std::uint16_t read16(AtomBytes bytes, std::size_t at) noexcept;
std::uint32_t read32(AtomBytes bytes, std::size_t at) noexcept;
std::uint64_t read64(AtomBytes bytes, std::size_t at) noexcept;

/// What the first bytes of an atom say.
struct AtomHead {
  AtomType type = 0;
  /// Header included. 0 for an atom that reaches to the end of its file.
  std::uint64_t size = 0;
  std::size_t headerSize = kAtomHeaderSize;
};

/// From the first 16 bytes of an atom, or fewer where what holds it ends before.
std::error_code readAtomHead(AtomBytes bytes, AtomHead& head);

/// An atom that lies in memory.
struct Atom {
  AtomType type = 0;
  AtomBytes whole;
  AtomBytes payload;
};

/// What lies side by side in an atom.
struct AtomList {
  std::vector<Atom> atoms;
  /// Fewer than eight zeros after the last atom, with which some writers close a list.
  AtomBytes tail;
};

/// Takes the payload of an atom to pieces, without looking into them. The pieces fill it exactly or it is refused, and
/// so it is if there are more than `most`.
std::error_code readAtoms(AtomBytes payload, AtomList& list, std::size_t most = kMostAtoms);

/// The only atom of a type into `atom`, left empty if there is none. Two are a contradiction.
std::error_code findAtom(const AtomList& list, AtomType type, Atom& atom);

/// Like `findAtom`, and none is a contradiction too.
std::error_code requireAtom(const AtomList& list, AtomType type, Atom& atom);

}  // namespace tallyrig
