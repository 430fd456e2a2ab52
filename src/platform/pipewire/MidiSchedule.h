#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "platform/HostTime.h"
#include "platform/PlatformStatus.h"
#include "platform/pipewire/MidiCycle.h"
#include "platform/pipewire/SpscQueue.h"

namespace tallyrig {

/// What the program has sent to one destination and what is not on the wire yet, in the order of its times, and of the
/// calls where these are equal.
///
/// A message goes out in the cycle that its instant falls into, at the sample nearest to it. The beginning of a cycle
/// is handed out when the cycle begins, so a message for "now" goes out with the beginning of the next one: that is no
/// lateness of ours. A message that was here in time and still did not go out at its instant, since cycles were left
/// out or there was no link yet, goes out with the beginning of the next cycle and is counted as late; after
/// `kTooLateNanos` its position on the tape is worth nothing any more, and it is dropped.
class MidiSchedule {
 public:
  static constexpr std::size_t kMessages = 4096;
  /// What the beginning of a cycle may move by between its announcement and its coming.
  static constexpr std::uint64_t kToleranceNanos = 1'000'000;
  static constexpr std::uint64_t kTooLateNanos = 1'000'000'000;

  explicit MidiSchedule(std::size_t messages = kMessages);
  /// Neither thread may use it any more.
  ~MidiSchedule();
  MidiSchedule(const MidiSchedule&) = delete;
  MidiSchedule& operator=(const MidiSchedule&) = delete;

  // Any thread; they wait for each other and never for the data thread.

  /// -ENOBUFS if too many messages wait. `now` is the instant of the call.
  PlatformStatus add(std::span<const std::uint8_t> bytes, HostTime when, HostTime now);
  /// Drops all that was added and does not go out in a cycle that has already begun. A message of which a part is out
  /// goes out to its end.
  void flush();
  bool isEmpty();
  /// Whether anything was added since the last call, or still waits.
  bool wasUsed();

  struct Troubles {
    std::uint64_t late = 0;
    std::uint64_t worstNanos = 0;
    std::uint64_t dropped = 0;
  };
  /// What happened since the last call.
  Troubles takeTroubles() noexcept;

  // Data thread; real-time safe.

  /// The events of one cycle, in the order of their offsets.
  class Wire {
   public:
    virtual ~Wire() = default;
    /// How many bytes one more event can have; 0 if there is room for none.
    virtual std::size_t room() const = 0;
    virtual bool isEmpty() const = 0;
    virtual void put(std::uint32_t offset, std::span<const std::uint8_t> bytes) = 0;
  };
  /// Puts onto the wire what is due before the cycle ends. What does not fit waits for the next one; only a message
  /// that is longer than an empty wire is split.
  void writeDue(const MidiCycle& cycle, Wire& wire);

 private:
  struct Message {
    HostTime when;
    HostTime added;
    std::uint64_t generation = 0;
    std::vector<std::uint8_t> bytes;
    std::size_t out = 0;
  };

  void reclaim();
  void takeNew();
  void dropFlushed(std::uint64_t generation);
  void retire(Message* message) noexcept;
  /// In nanoseconds; 0 for a message that could not have gone out before.
  static std::uint64_t latenessOf(const Message& message, const MidiCycle& cycle);
  void countLate(std::uint64_t nanos) noexcept;

  std::mutex producers_;
  std::size_t count_ = 0;
  bool used_ = false;
  std::atomic<std::uint64_t> generation_ = 0;

  SpscQueue<Message*> added_;
  SpscQueue<Message*> done_;

  // Data thread.
  std::vector<Message*> waiting_;
  std::uint64_t seenGeneration_ = 0;

  std::atomic<std::uint64_t> late_ = 0;
  std::atomic<std::uint64_t> worstNanos_ = 0;
  std::atomic<std::uint64_t> dropped_ = 0;
};

}  // namespace tallyrig
