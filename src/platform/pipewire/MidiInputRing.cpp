#include "platform/pipewire/MidiInputRing.h"

#include <algorithm>
#include <cstring>
#include <tuple>

namespace tallyrig {

void MidiInputRing::write(HostTime instant, HostTime due, std::span<const std::uint8_t> bytes) noexcept {
  constexpr std::size_t kPieceSize = std::tuple_size_v<decltype(Piece::bytes)>;
  if (bytes.empty()) return;
  if (pieces_.room() < (bytes.size() + kPieceSize - 1) / kPieceSize) {
    countLoss();
    return;
  }
  while (!bytes.empty()) {
    const std::size_t size = std::min(bytes.size(), kPieceSize);
    Piece piece{.instant = instant, .due = due, .cycle = cycle_, .size = static_cast<std::uint32_t>(size)};
    std::memcpy(piece.bytes.data(), bytes.data(), size);
    pieces_.stage(piece);
    bytes = bytes.subspan(size);
  }
}

std::optional<MidiInputRing::Packet> MidiInputRing::read(HostTime now) {
  const Piece* piece = pieces_.front();
  if (piece == nullptr || piece->due > now) return std::nullopt;
  Packet packet{.instant = piece->instant, .bytes = {}};
  const std::uint32_t cycle = piece->cycle;
  while (piece != nullptr && piece->cycle == cycle && piece->instant == packet.instant) {
    packet.bytes.insert(packet.bytes.end(), piece->bytes.begin(), piece->bytes.begin() + piece->size);
    pieces_.pop();
    piece = pieces_.front();
  }
  return packet;
}

}  // namespace tallyrig
