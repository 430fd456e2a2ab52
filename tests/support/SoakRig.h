#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/LTCInput.h"
#include "support/LTCListener.h"
#include "support/Wall.h"

namespace tallyrig {

/// Eight cards on three drifting devices, for hours: generators, readers of what these send, re-emitters with and
/// without jam sync, two of which want the same output. Code drops out, devices stall, are unplugged and return, and
/// a user starts, stops, jams and applies settings, all drawn from the seed.
///
/// At every change that a card publishes, at every cycle of an output and some times a second in between, the rig
/// checks what must always hold. It stops at the first thing that does not.
class SoakRig {
 public:
  explicit SoakRig(std::uint64_t seed);
  ~SoakRig();

  /// Runs on; ends early at a failure.
  void run(std::chrono::nanoseconds duration);

  /// What did not hold, with the seed and the simulated time at which it was seen.
  const std::optional<std::string>& failure() const { return failure_; }

  struct Counts {
    std::int64_t changes = 0;
    std::int64_t timesCompared = 0;
    std::int64_t framesHeard = 0;
    std::int64_t disturbances = 0;
    std::int64_t outputStarts = 0;
    std::int64_t jamTransitions = 0;
  };
  const Counts& counts() const { return counts_; }

 private:
  /// What an output channel plays, as another decoder hears it.
  struct Ear {
    SimulatedDevice* device;
    std::int64_t channel;
    LTCListener listener;
    /// The newest ones.
    std::deque<LTCListener::Frame> frames;
    std::int64_t soundEnd = 0;
  };
  /// A device with the truth about how fast it is, and how long what passes through it may be broken.
  struct Machine {
    SimulatedDevice* device;
    double rate;
    HostTime brokenUntil;
    bool isAway = false;
  };
  struct Source {
    std::size_t machine;
    std::unique_ptr<LTCInput> code;
    HostTime changingUntil;
  };
  struct Card {
    std::shared_ptr<ReaderInstance> reader;
    /// What it reads: a source, or an ear whose output comes over a cable.
    std::optional<std::size_t> source;
    std::optional<std::size_t> cableFrom;
    std::optional<std::size_t> inputMachine;
    std::optional<std::size_t> outputMachine;
    std::optional<std::size_t> ear;
    bool wantsJam = false;
    JamSyncState jam = JamSyncState::off;
    /// Until then a user's action or its own input may still move it.
    HostTime changingUntil;
  };
  struct Plan {
    HostTime at;
    std::function<void()> action;
  };

  void addCards();
  void watch(std::size_t index);
  void listen(std::size_t machine, std::int64_t channel);

  void disturb();
  void dropOut(std::size_t source);
  /// The code begins or ends, and what its cards send with it.
  void changeSource(std::size_t source);
  /// The card may let its output go, or take it: whoever wants the same one then takes it, or does not get it.
  void changeOutput(const Card& card);
  void unplug(std::size_t machine);
  void restart(std::size_t card);
  void touch(std::size_t card);
  void later(std::chrono::milliseconds distance, std::function<void()> action);
  void breakAll(std::chrono::milliseconds duration);

  void checkChange(Card& card);
  void checkJam(Card& card);
  void checkSilence(const Ear& ear, std::span<const float> samples);
  void checkAtRest();
  void checkReservations();
  void checkInput(const Card& card);
  void checkOutput(const Card& card);

  bool holdsReservation(const ReaderInstance& reader) const;
  bool isWhole(const Card& card) const;
  HostTime in(std::chrono::milliseconds distance) const;
  std::uint64_t draw(std::uint64_t below) { return wall_.world.random()() % below; }
  std::string nameOf(const Card& card) const;
  void fail(const std::string& what);

  const std::uint64_t seed_;
  Wall wall_;
  std::chrono::nanoseconds ran_{0};
  std::vector<Machine> machines_;
  std::vector<Source> sources_;
  std::vector<std::unique_ptr<Ear>> ears_;
  std::vector<Card> cards_;
  std::vector<Plan> plans_;
  Counts counts_;
  std::optional<std::string> failure_;
};

}  // namespace tallyrig
