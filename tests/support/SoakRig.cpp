#include "support/SoakRig.h"

#include <algorithm>
#include <utility>

#include "support/Cards.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

/// From a disturbance until all that follows from it has settled: the watchdog's three seconds, a rebuild a second
/// later, and the lock.
constexpr auto kSettling = 6s;
constexpr std::size_t kFramesKept = 400;
constexpr std::array kRates{MTCFrameRate::fps24, MTCFrameRate::fps25, MTCFrameRate::fps2997, MTCFrameRate::fps30};

enum : std::size_t { kDesk, kStage, kWire };

}  // namespace

SoakRig::SoakRig(std::uint64_t seed) : seed_(seed), wall_({.seed = seed}) {
  auto& audio = wall_.world.audio();
  const auto add = [&](const SimulatedDeviceOptions& options) {
    machines_.push_back({&audio.addDevice(options), options.rate * (1 + options.driftPpm * 1e-6), in(0ms)});
    machines_.back().device->setJitter(2ms);
  };
  add({.name = "Desk", .inputGroups = {8}, .outputGroups = {8}, .quantum = 512, .driftPpm = 100});
  add({.name = "Stage", .inputGroups = {2, 2}, .outputGroups = {2, 2}, .quantum = 480, .driftPpm = -100});
  add({.name = "Wire", .outputGroups = {2}, .quantum = 1024, .driftPpm = 37});
  for (std::size_t i = 0; i < 4; ++i) {
    const std::size_t machine = i == 1 ? kStage : kDesk;
    const Timecode start{static_cast<std::int64_t>(6 * i), 58, 30, 0, kRates[i]};
    sources_.push_back(
        {machine, std::make_unique<LTCInput>(*machines_[machine].device, i + 1, kRates[i], start), in(0ms)});
  }
  listen(kDesk, 0);
  listen(kWire, 1);
  listen(kStage, 1);
  listen(kDesk, 1);
  listen(kWire, 0);
  audio.connect(*machines_[kDesk].device, 0, *machines_[kStage].device, 0);
  audio.connect(*machines_[kWire].device, 1, *machines_[kDesk].device, 0);
  addCards();
}

SoakRig::~SoakRig() = default;

void SoakRig::addCards() {
  const SimulatedDevice& desk = *machines_[kDesk].device;
  const SimulatedDevice& stage = *machines_[kStage].device;
  const SimulatedDevice& wire = *machines_[kWire].device;
  wall_.openWith({generatorOn(desk, 0, {1, 0, 0, 0, MTCFrameRate::fps25}),
                  generatorOn(wire, 1, {23, 58, 30, 0, MTCFrameRate::fps2997}), readerOn(stage, 0), readerOn(desk, 0),
                  emittingOn(readerOn(desk, 1), stage, 1), emittingOn(readerOn(stage, 2), desk, 1),
                  emittingOn(readerOn(desk, 3), wire, 0, OutputFrameRate::fps25),
                  emittingOn(readerOn(desk, 4), desk, 1, OutputFrameRate::fps30)});
  cards_.resize(8);
  for (std::size_t i = 0; i < cards_.size(); ++i) cards_[i].reader = wall_.store->readers()[i];
  const auto generates = [this](std::size_t card, std::size_t machine, std::size_t ear) {
    cards_[card].outputMachine = machine;
    cards_[card].ear = ear;
  };
  generates(0, kDesk, 0);
  generates(1, kWire, 1);
  const auto readsCable = [this](std::size_t card, std::size_t ear, std::size_t machine) {
    cards_[card].cableFrom = ear;
    cards_[card].inputMachine = machine;
  };
  readsCable(2, 0, kStage);
  readsCable(3, 1, kDesk);
  const auto reemits = [&](std::size_t card, std::size_t source, std::size_t machine, std::size_t ear) {
    cards_[card].source = source;
    cards_[card].inputMachine = sources_[source].machine;
    generates(card, machine, ear);
  };
  reemits(4, 0, kStage, 2);
  reemits(5, 1, kDesk, 3);
  reemits(6, 2, kWire, 4);
  reemits(7, 3, kDesk, 3);
  cards_[4].wantsJam = cards_[5].wantsJam = true;
  for (std::size_t i = 0; i < cards_.size(); ++i) watch(i);
  breakAll(kSettling);
  wall_.world.runPending();
  for (std::size_t i = 0; i < cards_.size(); ++i) touch(i);
}

void SoakRig::watch(std::size_t index) {
  Card& card = cards_[index];
  QObject::connect(card.reader.get(), &ReaderInstance::changed, [this, index] { checkChange(cards_[index]); });
  QObject::connect(card.reader.get(), &ReaderInstance::jamChanged, [this, index] { checkJam(cards_[index]); });
}

void SoakRig::listen(std::size_t machine, std::int64_t channel) {
  SimulatedDevice* device = machines_[machine].device;
  auto& ear = *ears_.emplace_back(std::make_unique<Ear>(Ear{device, channel, LTCListener(48000), {}}));
  ear.listener.onFrame = [this, &ear](const LTCListener::Frame& frame) {
    ++counts_.framesHeard;
    ear.frames.push_back(frame);
    if (ear.frames.size() > kFramesKept) ear.frames.pop_front();
  };
  device->onOutput(static_cast<std::size_t>(channel),
                   [this, &ear](std::int64_t position, std::span<const float> samples) {
                     ear.listener.hear(position, samples);
                     checkSilence(ear, samples);
                   });
}

void SoakRig::run(std::chrono::nanoseconds duration) {
  const auto end = wall_.world.clock().nanos() + duration;
  const auto began = wall_.world.clock().nanos();
  while (!failure_ && wall_.world.clock().nanos() < end) {
    wall_.world.runFor(std::chrono::milliseconds(50 + draw(400)));
    const HostTime now = wall_.world.clock().now();
    const auto due =
        std::stable_partition(plans_.begin(), plans_.end(), [&](const Plan& plan) { return plan.at > now; });
    std::vector<Plan> ready(std::make_move_iterator(due), std::make_move_iterator(plans_.end()));
    plans_.erase(due, plans_.end());
    for (const Plan& plan : ready) plan.action();
    checkAtRest();
    if (draw(60) == 0) disturb();
    counts_.outputStarts += static_cast<std::int64_t>(wall_.world.logCount("started LTC output"));
    if (wall_.world.hasLogged("dropped")) fail("audio was dropped before decoding");
    if (wall_.world.hasLogged("underrun")) fail("an output ran dry");
    wall_.world.clearLog();
  }
  ran_ += wall_.world.clock().nanos() - began;
}

void SoakRig::disturb() {
  ++counts_.disturbances;
  switch (draw(8)) {
    case 0:
    case 1:
    case 2:
      dropOut(draw(sources_.size()));
      break;
    case 3: {
      Machine& machine = machines_[draw(machines_.size())];
      machine.device->stall(std::chrono::milliseconds(draw(5000)));
      breakAll(kSettling + 5s);
      break;
    }
    case 4:
      unplug(draw(machines_.size()));
      break;
    default:
      touch(draw(cards_.size()));
      break;
  }
}

void SoakRig::dropOut(std::size_t source) {
  const auto length = std::chrono::milliseconds(20 + draw(draw(10) == 0 ? 600'000 : 8'000));
  sources_[source].code->gain = 0;
  changeSource(source);
  later(length, [this, source] {
    sources_[source].code->gain = 1;
    changeSource(source);
  });
}

void SoakRig::changeSource(std::size_t source) {
  sources_[source].changingUntil = in(kSettling);
  for (const Card& card : cards_) {
    if (card.source == source) changeOutput(card);
  }
}

void SoakRig::changeOutput(const Card& card) {
  if (!card.ear) return;
  for (Card& other : cards_) {
    if (other.ear == card.ear) other.changingUntil = std::max(other.changingUntil, in(kSettling));
  }
}

void SoakRig::unplug(std::size_t index) {
  Machine& machine = machines_[index];
  if (machine.isAway) return;
  machine.isAway = true;
  breakAll(kSettling);
  wall_.world.audio().unplug(*machine.device);
  for (const auto& ear : ears_) {
    if (ear->device == machine.device) ear->listener.finish();
  }
  const auto length = std::chrono::milliseconds(20 + draw(20'000));
  later(length, [this, index] {
    wall_.world.audio().plugIn(*machines_[index].device);
    breakAll(kSettling + 4s);
    // A user looks after the cards of a device that has returned.
    later(std::chrono::milliseconds(2000 + draw(2000)), [this, index] {
      machines_[index].isAway = false;
      wall_.registry->refresh("soak");
      for (std::size_t i = 0; i < cards_.size(); ++i) {
        if (cards_[i].inputMachine == index || cards_[i].outputMachine == index) restart(i);
      }
      breakAll(kSettling);
    });
  });
}

void SoakRig::restart(std::size_t index) {
  cards_[index].reader->startMonitoring();
  later(std::chrono::milliseconds(100 + draw(1000)), [this, index] {
    Card& card = cards_[index];
    card.changingUntil = in(kSettling);
    if (card.wantsJam) card.reader->enableJam();
    if (card.reader->settings().cardRole == CardRole::generator) card.reader->toggleGenerator();
  });
  cards_[index].changingUntil = in(kSettling + 1s);
}

/// What a user does to a card: Start and Stop, jam on and off, and on a plain reader nothing but apply its settings.
void SoakRig::touch(std::size_t index) {
  Card& card = cards_[index];
  card.changingUntil = in(kSettling);
  // A cable's reader is moved by the generator at its other end.
  for (Card& other : cards_) {
    if (other.cableFrom == card.ear && card.ear) other.changingUntil = in(kSettling);
  }
  changeOutput(card);
  if (card.reader->settings().cardRole == CardRole::generator) {
    card.reader->toggleGenerator();
    if (!card.reader->isGeneratorRunning() || draw(2) == 0) return;
    later(std::chrono::milliseconds(draw(300)), [this, index] { cards_[index].reader->toggleGenerator(); });
  } else if (card.wantsJam) {
    if (card.reader->isJammed()) {
      card.reader->disableJam();
      later(std::chrono::milliseconds(draw(9000)), [this, index] { touch(index); });
    } else {
      card.reader->enableJam();
    }
  } else {
    card.reader->startMonitoring();
  }
}

void SoakRig::later(std::chrono::milliseconds distance, std::function<void()> action) {
  plans_.push_back({in(distance), std::move(action)});
}

void SoakRig::breakAll(std::chrono::milliseconds duration) {
  for (Machine& machine : machines_) machine.brokenUntil = std::max(machine.brokenUntil, in(duration));
}

HostTime SoakRig::in(std::chrono::milliseconds distance) const {
  const auto nanos = std::chrono::nanoseconds(distance).count();
  const HostClock& clock = const_cast<Wall&>(wall_).world.clock();
  return clock.now() + clock.ticksFromNanos(static_cast<std::uint64_t>(nanos));
}

}  // namespace tallyrig
