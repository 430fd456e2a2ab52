#include "platform/simulated/SimulatedMidiCable.h"

#include <algorithm>
#include <utility>

namespace tallyrig {
namespace {

constexpr std::uint8_t kSysExStart = 0xF0;

/// 0 up to, but not, 1.
double drawFraction(std::mt19937_64& random) {
  return static_cast<double>(random() >> 11) * 0x1p-53;
}

}  // namespace

SimulatedMidiCable::SimulatedMidiCable(const HostClock& clock, const SimulatedMidiCableOptions& options,
                                       std::uint64_t seed)
    : clock_(clock), options_(options), random_(seed) {}

void SimulatedMidiCable::transmit(std::span<const std::uint8_t> message, HostTime sent) {
  if (isCut_ || message.empty()) return;
  if (options_.loss > 0 && drawFraction(random_) < options_.loss) return;
  const HostTime arrival = drawArrival(sent);
  const bool isSplit =
      message[0] == kSysExStart && options_.longestSysExPacket > 0 && message.size() > options_.longestSysExPacket;
  if (!isSplit) {
    std::optional<HostDuration> window;
    if (options_.mergeWindow) window = ticks(*options_.mergeWindow);
    onTheWay_.push_back({arrival, {message.begin(), message.end()}, window});
    return;
  }
  for (; !message.empty(); message = message.subspan(std::min(options_.longestSysExPacket, message.size()))) {
    const auto part = message.first(std::min(options_.longestSysExPacket, message.size()));
    onTheWay_.push_back({arrival, {part.begin(), part.end()}, std::nullopt});
  }
}

HostTime SimulatedMidiCable::drawArrival(HostTime sent) {
  HostTime arrival = sent + ticks(options_.latency);
  if (options_.jitter.count() > 0) {
    const auto range = static_cast<std::uint64_t>(options_.jitter.count()) + 1;
    arrival = arrival + clock_.ticksFromNanos(random_() % range);
  }
  lastArrival_ = std::max(arrival, lastArrival_);
  return lastArrival_;
}

std::optional<HostTime> SimulatedMidiCable::nextDelivery() const {
  if (onTheWay_.empty()) return std::nullopt;
  return readAt(onTheWay_.front());
}

HostTime SimulatedMidiCable::readAt(const Message& first) const {
  const HostTime complete = first.arrival + first.mergeWindow.value_or(HostDuration{});
  const std::uint64_t grid = ticks(options_.readInterval).ticks;
  return grid == 0 ? complete : HostTime{(complete.ticks + grid - 1) / grid * grid};
}

std::vector<SimulatedMidiPacket> SimulatedMidiCable::deliver(HostTime now) {
  std::vector<SimulatedMidiPacket> packets;
  while (!onTheWay_.empty() && readAt(onTheWay_.front()) <= now) packets.push_back(takePacket());
  return packets;
}

SimulatedMidiPacket SimulatedMidiCable::takePacket() {
  const Message& first = onTheWay_.front();
  const HostTime end = first.arrival + first.mergeWindow.value_or(HostDuration{});
  SimulatedMidiPacket packet{options_.hidesTime ? HostTime{} : first.arrival, {}};
  const bool merges = first.mergeWindow.has_value();

  std::vector<std::vector<std::uint8_t>> messages;
  do {
    messages.push_back(std::move(onTheWay_.front().bytes));
    onTheWay_.pop_front();
  } while (merges && !onTheWay_.empty() && onTheWay_.front().mergeWindow && onTheWay_.front().arrival <= end);
  // Not std::shuffle, whose draws differ from library to library.
  for (std::size_t left = messages.size(); options_.reorders && left > 1; --left) {
    std::swap(messages[left - 1], messages[random_() % left]);
  }
  for (const auto& message : messages) packet.bytes.insert(packet.bytes.end(), message.begin(), message.end());
  return packet;
}

HostDuration SimulatedMidiCable::ticks(std::chrono::nanoseconds time) const {
  return clock_.ticksFromNanos(static_cast<std::uint64_t>(std::max<std::int64_t>(time.count(), 0)));
}

}  // namespace tallyrig
