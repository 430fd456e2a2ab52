#include "platform/simulated/SimulatedMidiEndpoints.h"

#include <algorithm>

namespace tallyrig {

void SimulatedMidiDestination::failSends(PlatformStatus status, std::size_t after) {
  failure_ = status;
  sendsUntilFailure_ = after;
}

PlatformStatus SimulatedMidiDestination::add(std::span<const std::uint8_t> bytes, HostTime when, HostTime now) {
  if (failure_ != kPlatformOk) {
    if (sendsUntilFailure_ == 0) return failure_;
    --sendsUntilFailure_;
  }
  const HostTime at = std::max(when, now);
  const auto after = std::upper_bound(waiting_.begin(), waiting_.end(), at,
                                      [](HostTime time, const Received& message) { return time < message.at; });
  waiting_.insert(after, {at, when, {bytes.begin(), bytes.end()}});
  return kPlatformOk;
}

std::optional<HostTime> SimulatedMidiDestination::nextDue() const {
  if (waiting_.empty()) return std::nullopt;
  return waiting_.front().at;
}

std::optional<SimulatedMidiDestination::Received> SimulatedMidiDestination::takeDue(HostTime now) {
  if (waiting_.empty() || waiting_.front().at > now) return std::nullopt;
  Received message = std::move(waiting_.front());
  waiting_.pop_front();
  if (keepsRecord_) received_.push_back(message);
  return message;
}

void SimulatedMidiDestination::flush(HostTime now) {
  std::erase_if(waiting_, [now](const Received& message) { return message.at > now; });
}

}  // namespace tallyrig
