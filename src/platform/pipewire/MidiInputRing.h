#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/HostTime.h"
#include "platform/pipewire/SpscQueue.h"

namespace tallyrig {

/// The way of one source's bytes from the data thread to the reading queue.
class MidiInputRing {
 public:
  /// Pieces that can wait: about a second and a half of a full MIDI wire.
  static constexpr std::size_t kPieces = 2048;

  explicit MidiInputRing(std::size_t pieces = kPieces) : pieces_(pieces) {}

  // Data thread; real-time safe.

  /// `due` is when the bytes may be handed on. Bytes that find no room are lost, as a whole, and counted.
  void write(HostTime instant, HostTime due, std::span<const std::uint8_t> bytes) noexcept;
  /// Lets the reader see what the cycle brought. What follows belongs to other packets, even if its instant is the
  /// same.
  void endCycle() noexcept {
    pieces_.publish();
    ++cycle_;
  }
  /// Something could not be read at all.
  void countLoss() noexcept { lost_.fetch_add(1, std::memory_order_relaxed); }

  // Reading queue.

  struct Packet {
    HostTime instant;
    std::vector<std::uint8_t> bytes;
  };
  /// What came in one cycle with one instant, if it is due at `now`. Packets come in the order of the events.
  std::optional<Packet> read(HostTime now);

  // Any thread.

  /// How many events were lost since the last call.
  std::uint64_t takeLosses() noexcept { return lost_.exchange(0, std::memory_order_relaxed); }

 private:
  struct Piece {
    HostTime instant;
    HostTime due;
    std::uint32_t cycle = 0;
    std::uint32_t size = 0;
    std::array<std::uint8_t, 40> bytes{};
  };

  SpscQueue<Piece> pieces_;
  std::uint32_t cycle_ = 0;
  std::atomic<std::uint64_t> lost_ = 0;
};

}  // namespace tallyrig
