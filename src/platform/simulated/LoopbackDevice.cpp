#include "platform/simulated/LoopbackDevice.h"

#include <pthread.h>
#include <sched.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace tallyrig {
namespace {

constexpr int kThreadPriority = 20;

CycleBuffers allChannels() {
  return {{LoopbackDevice::kChannels}, BufferArrangement::kOneBufferPerGroup, false};
}

/// Without the right to it the thread keeps its ordinary priority.
void askForRealTimePriority() {
  sched_param parameters{};
  parameters.sched_priority = kThreadPriority;
  pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters);
}

void sleepUntil(std::chrono::nanoseconds instant) {
  const auto whole = std::chrono::floor<std::chrono::seconds>(instant);
  const timespec deadline{whole.count(), (instant - whole).count()};
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR) {
  }
}

}  // namespace

class LoopbackDevice::IO : public AudioIO {
 public:
  IO(LoopbackDevice& device, AudioCycleCallback callback) : device_(device), client_(std::make_shared<DeviceClient>()) {
    client_->callback = std::move(callback);
    device_.betweenCycles([&] { device_.engine_.add(client_); });
  }
  ~IO() override {
    IO::stop();
    device_.betweenCycles([&] { device_.engine_.remove(*client_); });
  }

  PlatformStatus start() override { return device_.start(*client_); }
  void stop() override { device_.stop(*client_); }
  void betweenCycles(const std::function<void()>& change) override {
    device_.betweenCycles([&] { device_.engine_.runAsCallback(change); });
  }
  bool isCallbackContext() const noexcept override { return device_.isCallbackContext(); }

 private:
  LoopbackDevice& device_;
  std::shared_ptr<DeviceClient> client_;
};

LoopbackDevice::LoopbackDevice(const HostClock& clock)
    : clock_(clock), timeline_(now(), kRate), engine_(allChannels(), allChannels()) {
  for (std::size_t channel = 0; channel < kChannels; ++channel) {
    cables_.push_back(std::make_unique<SimulatedCable>(engine_.history(channel), timeline_, timeline_,
                                                       SimulatedCableOptions{}, channel + 1));
    engine_.plugIn(channel, *cables_.back());
  }
}

LoopbackDevice::~LoopbackDevice() {
  if (thread_.joinable()) endThread();
}

std::unique_ptr<AudioIO> LoopbackDevice::createIO(AudioCycleCallback callback) {
  return std::make_unique<IO>(*this, std::move(callback));
}

PlatformStatus LoopbackDevice::start(DeviceClient& client) {
  betweenCycles([&] { client.isRunning = true; });
  if (thread_.joinable()) return kPlatformOk;
  isEnding_ = false;
  try {
    thread_ = std::thread([this] { drive(); });
  } catch (const std::system_error& error) {
    client.isRunning = false;
    return -error.code().value();
  }
  return kPlatformOk;
}

void LoopbackDevice::stop(DeviceClient& client) {
  bool isLast = false;
  betweenCycles([&] {
    client.isRunning = false;
    isLast = !engine_.hasRunningClient();
  });
  if (isLast && thread_.joinable()) endThread();
}

void LoopbackDevice::betweenCycles(const std::function<void()>& change) {
  if (thread_.joinable()) {
    pendingChange_.store(&change, std::memory_order_release);
    pendingChange_.wait(&change, std::memory_order_acquire);
    return;
  }
  context_.store(std::this_thread::get_id());
  change();
  context_.store({});
}

void LoopbackDevice::endThread() {
  betweenCycles([&] { isEnding_ = true; });
  thread_.join();
}

void LoopbackDevice::drive() {
  context_.store(std::this_thread::get_id());
  askForRealTimePriority();
  constexpr std::int64_t kStep = kQuantum;
  const auto cycleAfter = [&](std::int64_t position) { return (position / kStep + 1) * kStep; };
  std::int64_t position = cycleAfter(timeline_.placeAt(FineTime::fromNanos(now())).position);
  for (;;) {
    sleepUntil(timeline_.timeAt(position).roundedUp());
    makePendingChange();
    if (isEnding_) break;
    // Cycles whose whole time has passed are lost, as on any device.
    const std::int64_t current = cycleAfter(timeline_.placeAt(FineTime::fromNanos(now())).position) - kStep;
    position = std::max(position, current);
    engine_.runCycle(position, kQuantum, stamp(position - kStep), stamp(position));
    position += kStep;
  }
  context_.store({});
}

void LoopbackDevice::makePendingChange() {
  const std::function<void()>* change = pendingChange_.load(std::memory_order_acquire);
  if (change == nullptr) return;
  (*change)();
  pendingChange_.store(nullptr, std::memory_order_release);
  pendingChange_.notify_one();
}

std::chrono::nanoseconds LoopbackDevice::now() const {
  return std::chrono::nanoseconds{static_cast<std::int64_t>(clock_.nanosFromTicks({clock_.now().ticks}))};
}

AudioTimeStamp LoopbackDevice::stamp(std::int64_t position) const {
  const auto nanos = static_cast<std::uint64_t>(timeline_.timeAt(position).rounded().count());
  return {HostTime{clock_.ticksFromNanos(nanos).ticks}, true};
}

}  // namespace tallyrig
