#include "platform/simulated/SimulatedDevice.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/simulated/SimulatedAudioSystem.h"

namespace tallyrig {

class SimulatedDevice::IO : public AudioIO {
 public:
  IO(SimulatedDevice& device, AudioCycleCallback callback)
      : device_(device), incarnation_(device.incarnation_), client_(std::make_shared<DeviceClient>()) {
    client_->callback = std::move(callback);
    device_.engine_.add(client_);
    ++device_.liveIOs_;
  }
  ~IO() override {
    IO::stop();
    device_.engine_.remove(*client_);
    --device_.liveIOs_;
  }

  PlatformStatus start() override { return device_.start(*client_, incarnation_); }
  void stop() override { device_.stop(*client_); }
  void betweenCycles(const std::function<void()>& change) override { device_.engine_.runAsCallback(change); }
  bool isCallbackContext() const noexcept override { return device_.engine_.isInCallback(); }

 private:
  SimulatedDevice& device_;
  const int incarnation_;
  std::shared_ptr<DeviceClient> client_;
};

SimulatedDevice::SimulatedDevice(SimulatedAudioSystem& system, SimulatedDeviceOptions options,
                                 std::shared_ptr<SerialQueue> lane)
    : system_(system),
      options_(std::move(options)),
      lane_(std::move(lane)),
      timeline_(system.origin() + options_.phase, actualRate()),
      engine_(CycleBuffers(options_.inputGroups, options_.arrangement, options_.hasEmptyFirstInput),
              CycleBuffers(options_.outputGroups, options_.arrangement, options_.hasEmptyFirstOutput)) {}

HostTime SimulatedDevice::timeOf(std::int64_t position) const {
  const std::int64_t nanos = std::max<std::int64_t>(timeline_.timeAt(position).rounded().count(), 0);
  return {system_.clock().ticksFromNanos(static_cast<std::uint64_t>(nanos)).ticks};
}

std::int64_t SimulatedDevice::nextPosition() const {
  return isRunning() ? nextPosition_ : cycleAfter(system_.clock().nanos());
}

void SimulatedDevice::setRate(double rate) {
  options_.rate = rate;
  changeRate();
}

void SimulatedDevice::setDrift(double ppm) {
  options_.driftPpm = ppm;
  changeRate();
}

void SimulatedDevice::setQuantum(std::uint32_t frames) {
  gridOrigin_ = nextPosition();
  options_.quantum = frames;
}

void SimulatedDevice::setJitter(std::chrono::nanoseconds most) {
  jitter_ = most;
  system_.updateWaits();
}

void SimulatedDevice::stall(std::chrono::nanoseconds duration) {
  stalledUntil_ = system_.clock().nanos() + duration;
  if (isRunning()) scheduleCycle(nextPosition_);
}

AudioDeviceDescription SimulatedDevice::description() const {
  return {id_, options_.name, options_.inputGroups, options_.outputGroups};
}

AudioSystem::Timing SimulatedDevice::timing() const {
  AudioSystem::Timing timing = timing_;
  timing.bufferFrames = options_.quantum;
  return timing;
}

PlatformStatus SimulatedDevice::createIO(AudioCycleCallback callback, std::unique_ptr<AudioIO>& io) {
  if (failures_.createIO != kPlatformOk) return failures_.createIO;
  if (failures_.createsNoIO) return kPlatformOk;
  io = std::make_unique<IO>(*this, std::move(callback));
  ++counters_.opens;
  return kPlatformOk;
}

PlatformStatus SimulatedDevice::start(DeviceClient& client, int incarnation) {
  if (!isPluggedIn_ || incarnation != incarnation_) return -ENODEV;
  if (failures_.start != kPlatformOk) return failures_.start;
  if (client.isRunning) return kPlatformOk;
  const bool wasRunning = isRunning();
  client.isRunning = true;
  ++counters_.starts;
  if (!wasRunning) scheduleCycle(cycleAfter(system_.clock().nanos()));
  return kPlatformOk;
}

void SimulatedDevice::stop(DeviceClient& client) {
  if (!client.isRunning) return;
  client.isRunning = false;
  ++counters_.stops;
  if (!isRunning()) ++generation_;
}

void SimulatedDevice::unplug() {
  isPluggedIn_ = false;
  ++incarnation_;
  ++generation_;
  engine_.stopAll();
}

void SimulatedDevice::plugIn(AudioDeviceID id) {
  id_ = id;
  isPluggedIn_ = true;
}

/// The first position on the grid of cycles that passes after `instant`.
std::int64_t SimulatedDevice::cycleAfter(std::chrono::nanoseconds instant) const {
  const std::int64_t quantum = options_.quantum;
  const std::int64_t passed = timeline_.placeAt(FineTime::fromNanos(instant)).position - gridOrigin_;
  const std::int64_t cycles = passed >= 0 ? passed / quantum : -((quantum - 1 - passed) / quantum);
  return gridOrigin_ + (cycles + 1) * quantum;
}

void SimulatedDevice::changeRate() {
  timeline_.changeRate(nextPosition(), actualRate());
  system_.updateWaits();
}

void SimulatedDevice::scheduleCycle(std::int64_t position) {
  const auto now = system_.clock().nanos();
  if (timeline_.timeAt(position) < FineTime::fromNanos(stalledUntil_)) {
    position = std::max(position, cycleAfter(stalledUntil_));
  }
  nextPosition_ = position;
  const auto due = timeline_.timeAt(position).roundedUp() + wait_ + system_.draw(jitter_);
  lane_->postAfter(std::max(due, now) - now, [this, generation = ++generation_] {
    if (generation == generation_) runCycle();
  });
}

void SimulatedDevice::runCycle() {
  const std::int64_t position = nextPosition_;
  const std::uint32_t frames = options_.quantum;
  nextPosition_ = position + frames;
  ++counters_.cycles;
  const std::uint64_t generation = generation_;
  engine_.runCycle(position, frames, stamp(position - frames), stamp(position));
  if (generation == generation_ && isRunning()) scheduleCycle(nextPosition_);
}

/// Without a valid host time the field holds a number that nobody could take for one.
AudioTimeStamp SimulatedDevice::stamp(std::int64_t position) const {
  if (!isHostTimeValid_) return {HostTime{0xBADBADBADBADBADu}, false};
  return {timeOf(position), true};
}

}  // namespace tallyrig
