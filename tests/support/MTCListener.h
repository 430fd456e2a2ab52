#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/simulated/SimulatedMidiEndpoints.h"
#include "timecode/Timecode.h"

namespace tallyrig {

/// Reads MIDI Time Code (MIDI 1.0) off the messages that have left a simulated destination: a second opinion beside the
/// decoder that the program uses. It knows no tolerance: a quarter frame that does not follow its forerunner is a
/// break. The world's thread.
class MTCListener {
 public:
  struct Position {
    Timecode timecode;
    /// When the message left, or the first quarter frame of a sequence.
    HostTime at;
  };

  explicit MTCListener(SimulatedMidiDestination& destination) : destination_(destination) {}

  /// Takes what has left since the last call.
  void listen() {
    for (const auto& message : destination_.received()) hear(message);
    destination_.clearReceived();
  }

  /// Whole sequences of eight quarter frames, in order.
  const std::vector<Position>& sequences() const { return sequences_; }
  /// Full frames, in order.
  const std::vector<Position>& locates() const { return locates_; }
  /// Sequences that were cut off before their end by a locate, or by another piece than the next.
  int brokenCount() const { return broken_; }
  /// Messages that left later than they were meant to, and messages that are no timecode.
  int lateCount() const { return late_; }
  int strangeCount() const { return strange_; }
  std::int64_t quarterFrameCount() const { return quarterFrames_; }
  /// The shortest and longest time between two quarter frames with no locate between them; 0 before there are two.
  HostDuration shortestPeriod() const { return shortest_; }
  HostDuration longestPeriod() const { return longest_; }

  /// Forgets everything heard so far but not the sequence under way.
  void clear() {
    sequences_.clear();
    locates_.clear();
    broken_ = late_ = strange_ = 0;
    quarterFrames_ = 0;
    shortest_ = longest_ = {};
  }

 private:
  static constexpr int kPieces = 8;

  void hear(const SimulatedMidiDestination::Received& message) {
    if (message.at != message.requested) ++late_;
    const std::span<const std::uint8_t> bytes = message.bytes;
    constexpr std::array<std::uint8_t, 5> kHead{0xF0, 0x7F, 0x7F, 0x01, 0x01};
    if (bytes.size() == 2 && bytes[0] == 0xF1 && bytes[1] < 0x80) {
      hearPiece(bytes[1] / 16, bytes[1] % 16, message.at);
    } else if (bytes.size() == 10 && std::ranges::equal(bytes.first(5), kHead) && bytes[9] == 0xF7) {
      endSequence();
      lastQuarterFrame_.reset();
      locates_.push_back({timecode(bytes[5] % 32, bytes[6], bytes[7], bytes[8], bytes[5] / 32), message.at});
    } else {
      ++strange_;
    }
  }

  void hearPiece(int piece, int nibble, HostTime at) {
    ++quarterFrames_;
    if (lastQuarterFrame_) {
      const HostDuration period = at - *lastQuarterFrame_;
      shortest_ = shortest_.ticks == 0 ? period : std::min(shortest_, period);
      longest_ = std::max(longest_, period);
    }
    lastQuarterFrame_ = at;
    if (piece != next_) {
      endSequence();
      if (piece != 0) {
        ++broken_;
        return;
      }
    }
    if (piece == 0) began_ = at;
    nibbles_.at(static_cast<std::size_t>(piece)) = nibble;
    next_ = (piece + 1) % kPieces;
    if (next_ != 0) return;
    const auto field = [this](std::size_t low) { return nibbles_.at(low) + 16 * nibbles_.at(low + 1); };
    sequences_.push_back(
        {timecode(nibbles_[6] + 16 * (nibbles_[7] % 2), field(4), field(2), field(0), nibbles_[7] / 2), began_});
  }

  void endSequence() {
    if (next_ != 0) ++broken_;
    next_ = 0;
  }

  static Timecode timecode(int hours, int minutes, int seconds, int frames, int rate) {
    return {hours, minutes, seconds, frames, static_cast<MTCFrameRate>(rate)};
  }

  SimulatedMidiDestination& destination_;
  std::vector<Position> sequences_;
  std::vector<Position> locates_;
  std::array<int, kPieces> nibbles_{};
  /// The piece that would continue; 0 also before the first.
  int next_ = 0;
  HostTime began_;
  std::optional<HostTime> lastQuarterFrame_;
  HostDuration shortest_;
  HostDuration longest_;
  std::int64_t quarterFrames_ = 0;
  int broken_ = 0;
  int late_ = 0;
  int strange_ = 0;
};

}  // namespace tallyrig
