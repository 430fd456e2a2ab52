#include "platform/pipewire/MidiSchedule.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace tallyrig {

MidiSchedule::MidiSchedule(std::size_t messages) : added_(messages), done_(messages) {
  waiting_.reserve(added_.capacity());
}

MidiSchedule::~MidiSchedule() {
  reclaim();
  takeNew();
  for (const auto* message : waiting_) delete message;
}

PlatformStatus MidiSchedule::add(std::span<const std::uint8_t> bytes, HostTime when, HostTime now) {
  auto message =
      std::make_unique<Message>(Message{.when = when, .added = now, .bytes = std::vector(bytes.begin(), bytes.end())});
  const std::lock_guard lock(producers_);
  reclaim();
  if (count_ == added_.capacity()) return -ENOBUFS;
  ++count_;
  used_ = true;
  message->generation = generation_.load(std::memory_order_relaxed);
  added_.stage(message.release());
  added_.publish();
  return kPlatformOk;
}

void MidiSchedule::flush() {
  const std::lock_guard lock(producers_);
  generation_.fetch_add(1, std::memory_order_release);
}

bool MidiSchedule::isEmpty() {
  const std::lock_guard lock(producers_);
  reclaim();
  return count_ == 0;
}

bool MidiSchedule::wasUsed() {
  const std::lock_guard lock(producers_);
  reclaim();
  return std::exchange(used_, false) || count_ != 0;
}

void MidiSchedule::reclaim() {
  for (Message** message = done_.front(); message != nullptr; message = done_.front()) {
    delete *message;
    done_.pop();
    --count_;
  }
}

MidiSchedule::Troubles MidiSchedule::takeTroubles() noexcept {
  return {.late = late_.exchange(0, std::memory_order_relaxed),
          .worstNanos = worstNanos_.exchange(0, std::memory_order_relaxed),
          .dropped = dropped_.exchange(0, std::memory_order_relaxed)};
}

void MidiSchedule::writeDue(const MidiCycle& cycle, Wire& wire) {
  // Before the new messages are taken: those that were added before a flush that is seen are all among them.
  const std::uint64_t generation = generation_.load(std::memory_order_acquire);
  takeNew();
  dropFlushed(generation);
  std::size_t handled = 0;
  for (; handled < waiting_.size(); ++handled) {
    Message& message = *waiting_[handled];
    if (message.out == 0 && message.when >= cycle.end()) break;
    const std::uint64_t lateness = message.out == 0 ? latenessOf(message, cycle) : 0;
    if (lateness > kTooLateNanos) {
      dropped_.fetch_add(1, std::memory_order_relaxed);
      retire(&message);
      continue;
    }
    const std::span rest = std::span<const std::uint8_t>(message.bytes).subspan(message.out);
    const std::size_t size = std::min(rest.size(), wire.room());
    if (size < rest.size() && (size == 0 || !wire.isEmpty())) break;
    wire.put(cycle.offsetOf(message.when), rest.first(size));
    if (lateness > kToleranceNanos) countLate(lateness);
    message.out += size;
    if (message.out < message.bytes.size()) break;
    retire(&message);
  }
  waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(handled));
}

void MidiSchedule::takeNew() {
  for (Message** added = added_.front(); added != nullptr; added = added_.front()) {
    Message* message = *added;
    added_.pop();
    auto place = waiting_.end();
    // Nothing comes before the rest of a message that has begun.
    while (place != waiting_.begin() && (*(place - 1))->when > message->when && (*(place - 1))->out == 0) --place;
    waiting_.insert(place, message);
  }
}

void MidiSchedule::dropFlushed(std::uint64_t generation) {
  if (generation == seenGeneration_) return;
  seenGeneration_ = generation;
  std::erase_if(waiting_, [&](Message* message) {
    const bool drops = message->out == 0 && message->generation < generation;
    if (drops) retire(message);
    return drops;
  });
}

void MidiSchedule::retire(Message* message) noexcept {
  done_.stage(message);
  done_.publish();
}

std::uint64_t MidiSchedule::latenessOf(const Message& message, const MidiCycle& cycle) {
  // What was added during the cycle before may not have been seen by it.
  return (cycle.start - std::max(message.when, message.added + cycle.duration())).ticks;
}

void MidiSchedule::countLate(std::uint64_t nanos) noexcept {
  late_.fetch_add(1, std::memory_order_relaxed);
  worstNanos_.store(std::max(worstNanos_.load(std::memory_order_relaxed), nanos), std::memory_order_relaxed);
}

}  // namespace tallyrig
