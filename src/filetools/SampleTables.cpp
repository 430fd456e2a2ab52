#include "filetools/SampleTables.h"

#include <algorithm>
#include <limits>

#include "filetools/MovieFault.h"

namespace tallyrig {
namespace {

/// A table atom's payload behind its version and flags.
std::error_code findTable(const AtomList& list, AtomType type, AtomBytes& table) {
  constexpr std::size_t kVersionAndFlags = 4;
  Atom atom;
  if (const auto error = findAtom(list, type, atom)) return error;
  if (atom.whole.empty()) return {};
  if (atom.payload.size() < kVersionAndFlags) return MovieFault::kContradiction;
  table = atom.payload.subspan(kVersionAndFlags);
  return {};
}

std::error_code requireList(const AtomList& parent, AtomType type, AtomList& list) {
  Atom atom;
  if (const auto error = requireAtom(parent, type, atom)) return error;
  return readAtoms(atom.payload, list);
}

std::error_code readTimeScale(const AtomList& media, std::uint32_t& timeScale) {
  Atom head;
  if (const auto error = requireAtom(media, atomType("mdhd"), head)) return error;
  if (head.payload.empty()) return MovieFault::kContradiction;
  const std::size_t at = head.payload.front() == 1 ? 20 : 12;
  if (head.payload.size() < at + 4) return MovieFault::kContradiction;
  timeScale = read32(head.payload, at);
  return {};
}

std::error_code readDataReference(const AtomList& information, bool& elsewhere) {
  constexpr std::uint32_t kInThisFile = 1;
  Atom atom;
  AtomList list;
  AtomBytes references;
  if (const auto error = findAtom(information, atomType("dinf"), atom)) return error;
  if (const auto error = readAtoms(atom.payload, list)) return error;
  if (const auto error = findTable(list, atomType("dref"), references)) return error;
  // Behind the count stands the first reference: its size, type, version and flags.
  elsewhere = references.size() >= 16 && (read32(references, 12) & kInThisFile) == 0;
  return {};
}

/// The numbers of a table of rows, behind their count.
class Rows {
 public:
  Rows(AtomBytes table, std::size_t numbersInRow) : width_(numbersInRow * 4) {
    if (table.size() < 4) return;
    promised_ = read32(table, 0);
    rows_ = table.subspan(4);
  }

  bool areWhole() const { return rows_.size() / width_ >= promised_; }
  std::size_t size() const { return std::min<std::size_t>(promised_, rows_.size() / width_); }
  std::uint32_t at(std::size_t row, std::size_t number) const { return read32(rows_, row * width_ + number * 4); }
  std::uint64_t wideAt(std::size_t row) const { return read64(rows_, row * width_); }

 private:
  std::size_t width_;
  std::size_t promised_ = 0;
  AtomBytes rows_;
};

/// The sizes of samples, which can be the same for all.
class Sizes {
 public:
  explicit Sizes(AtomBytes table) : rows_(table.size() < 4 ? table : table.subspan(4), 1) {
    if (table.size() < 8) return;
    common_ = read32(table, 0);
    count_ = common_ != 0 ? read32(table, 4) : rows_.size();
  }

  std::uint64_t count() const { return count_; }
  std::uint32_t at(std::uint64_t sample) const {
    return common_ != 0 ? common_ : rows_.at(static_cast<std::size_t>(sample), 0);
  }
  bool areCommon() const { return common_ != 0; }

 private:
  Rows rows_;
  std::uint32_t common_ = 0;
  std::uint64_t count_ = 0;
};

}  // namespace

std::error_code readSampleTables(const MovieTrack& track, SampleTables& tables) {
  tables = {};
  AtomList media;
  AtomList information;
  AtomList list;
  if (const auto error = requireList(track.children, atomType("mdia"), media)) return error;
  if (const auto error = readTimeScale(media, tables.timeScale)) return error;
  if (const auto error = requireList(media, atomType("minf"), information)) return error;
  if (const auto error = readDataReference(information, tables.elsewhere)) return error;
  if (const auto error = requireList(information, atomType("stbl"), list)) return error;
  if (const auto error = findTable(list, atomType("stsd"), tables.descriptions)) return error;
  if (const auto error = findTable(list, atomType("stts"), tables.durations)) return error;
  if (const auto error = findTable(list, atomType("stsc"), tables.chunkLengths)) return error;
  if (const auto error = findTable(list, atomType("stsz"), tables.sizes)) return error;
  if (const auto error = findTable(list, atomType("stco"), tables.shortOffsets)) return error;
  return findTable(list, atomType("co64"), tables.longOffsets);
}

std::error_code sampleRate(const SampleTables& tables, double& rate) {
  const Rows rows(tables.durations, 2);
  if (!rows.areWhole()) return MovieFault::kContradiction;
  // Floating: the sums of a dishonest table are beyond any integer.
  double samples = 0;
  double units = 0;
  for (std::size_t row = 0; row < rows.size(); ++row) {
    samples += rows.at(row, 0);
    units += static_cast<double>(rows.at(row, 0)) * rows.at(row, 1);
  }
  rate = units > 0 ? samples * tables.timeScale / units : 0;
  return {};
}

std::optional<std::uint64_t> firstSampleOf(const SampleTables& tables, std::uint32_t size) {
  const Sizes sizes(tables.sizes);
  const Rows runs(tables.chunkLengths, 3);
  const bool wide = tables.shortOffsets.empty();
  const Rows offsets(wide ? tables.longOffsets : tables.shortOffsets, wide ? 2 : 1);
  if (sizes.areCommon() && sizes.at(0) < size) return std::nullopt;

  std::uint64_t sample = 0;
  std::size_t run = 0;
  for (std::size_t chunk = 0; chunk < offsets.size() && run < runs.size(); ++chunk) {
    while (run + 1 < runs.size() && runs.at(run + 1, 0) <= chunk + 1) ++run;
    if (runs.at(run, 0) > chunk + 1) return std::nullopt;
    std::uint64_t offset = wide ? offsets.wideAt(chunk) : offsets.at(chunk, 0);
    for (std::uint32_t left = runs.at(run, 1); left > 0; --left, ++sample) {
      if (sample >= sizes.count()) return std::nullopt;
      if (sizes.at(sample) >= size) return offset;
      if (offset > std::numeric_limits<std::uint64_t>::max() - sizes.at(sample)) return std::nullopt;
      offset += sizes.at(sample);
    }
  }
  return std::nullopt;
}

}  // namespace tallyrig
