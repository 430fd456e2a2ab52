#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "platform/SerialQueue.h"
#include "platform/simulated/SimulatedClock.h"

namespace tallyrig {

class SimulatedQueue;

/// Serial queues on one thread and a virtual clock: nothing runs in parallel, and time passes only between events.
///
/// Each queue keeps the order in which its tasks were posted. Where several queues have a task due at the same
/// instant, the next to run is drawn from the seed, so that each seed is one interleaving and repeats exactly. A timer
/// event comes at an instant drawn from its leeway.
///
/// The thread that owns it counts as the main thread and, outside every task, stands on the main queue.
/// A `runSync` that could never return, because its queue waits for the caller, ends the program with a message.
class SimulatedScheduler : public Scheduler {
 public:
  SimulatedScheduler(SimulatedClock& clock, std::uint64_t seed);
  ~SimulatedScheduler() override;
  SimulatedScheduler(const SimulatedScheduler&) = delete;
  SimulatedScheduler& operator=(const SimulatedScheduler&) = delete;

  [[nodiscard]] std::shared_ptr<SerialQueue> makeQueue(std::string label, QueuePriority priority) override;
  SerialQueue& mainQueue() noexcept override;

  /// Moves the clock to the next event and runs it, unless that event lies after `limit`: then returns false and
  /// leaves the clock where it is.
  bool runNext(std::chrono::nanoseconds limit);

  /// Drops every task and timer event that has not run. What their destruction posts is dropped too.
  void discardPending();

  /// Tasks and timer events run so far.
  std::uint64_t eventsRun() const noexcept { return eventsRun_; }

 private:
  friend class SimulatedQueue;

  /// A queue's claim to be considered at the due time of its first event. Outdated once the queue has a newer claim.
  struct Claim {
    std::int64_t due;
    std::uint64_t draw;
    std::uint64_t ticket;
    SimulatedQueue* queue;
  };

  void enter(SimulatedQueue& queue);
  void runFirst(SimulatedQueue& queue);
  void release(SimulatedQueue* queue);
  void destroyIfUnused(SimulatedQueue& queue);

  SimulatedClock& clock_;
  std::mt19937_64 random_;
  std::vector<std::unique_ptr<SimulatedQueue>> queues_;
  SimulatedQueue* mainQueue_;
  std::vector<Claim> claims_;
  /// The queues whose task is running, the innermost last.
  std::vector<SimulatedQueue*> running_;
  std::uint64_t nextTicket_ = 1;
  std::uint64_t nextEvent_ = 0;
  std::uint64_t eventsRun_ = 0;
};

}  // namespace tallyrig
