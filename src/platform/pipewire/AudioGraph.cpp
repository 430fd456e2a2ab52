#include "platform/pipewire/AudioGraph.h"

#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "platform/Log.h"

namespace tallyrig {
namespace {

constexpr std::chrono::milliseconds kOpenLimit{2000};
/// How long a device is given to run its first cycle, and how often that is looked for.
constexpr std::chrono::milliseconds kProbeLimit{500};
constexpr std::chrono::milliseconds kProbeStep{2};
/// How many ticks the data thread is given to get its priority, which another service may have to grant.
constexpr int kPriorityTicks = 4;

const std::string& keyOf(const GraphDevice& device) {
  return device.inputs.empty() ? device.outputs.front().nodeName : device.inputs.front().nodeName;
}

std::vector<int> groupsOf(const std::vector<DeviceStream>& streams) {
  std::vector<int> groups;
  groups.reserve(streams.size());
  for (const auto& stream : streams) groups.push_back(stream.channels);
  return groups;
}

}  // namespace

AudioGraph::AudioGraph(std::shared_ptr<ServerGraph> server, Observer observer)
    : server_(std::move(server)), connection_(server_->connection()), observer_(std::move(observer)) {
  server_->attach(*this);
}

AudioGraph::~AudioGraph() {
  server_->detach(*this);
}

void AudioGraph::dismissObserver() {
  const PipeWireConnection::Lock lock(connection_);
  observer_ = {};
}

PlatformStatus AudioGraph::nominalSampleRate(AudioDeviceID id, double& rate) {
  const PipeWireConnection::Lock lock(connection_);
  if (!state_.available) return -ENOTCONN;
  const auto device = deviceOf(id);
  if (!device) return -ENODEV;
  if (server_->settings().rateMayVary() && observedOn(*device).rate == 0) probeRate(*device);
  const std::uint32_t found = rateOf(*device);
  if (found == 0) return -ENODATA;
  rate = found;
  return kPlatformOk;
}

AudioSystem::Timing AudioGraph::timing(AudioDeviceID id) {
  const PipeWireConnection::Lock lock(connection_);
  const auto device = deviceOf(id);
  if (!device) return {};
  std::uint32_t frames = observedOn(*device).frames;
  if (frames == 0) frames = server_->settings().quantum();
  AudioSystem::Timing timing;
  if (frames != 0) timing.bufferFrames = frames;
  return timing;
}

PlatformStatus AudioGraph::openSession(AudioDeviceID id, AudioCycleCallback callback,
                                       std::unique_ptr<DeviceSession>& session) {
  const PipeWireConnection::Lock lock(connection_);
  if (!state_.available) return -ENOTCONN;
  const auto device = deviceOf(id);
  if (!device) return -ENODEV;

  auto made = std::make_unique<DeviceSession>(connection_, *device, std::move(callback));
  sessions_.push_back({made.get(), rateOf(*device)});
  const PlatformStatus status = waitForLinks(*made);
  if (!made->refusal().empty()) {
    log(formatted("%s: a link was refused: %s", device->title.c_str(), made->refusal().c_str()));
  }
  if (status == kPlatformOk) {
    session = std::move(made);
  } else {
    closeSession(std::move(made));
  }
  return status;
}

PlatformStatus AudioGraph::waitForLinks(DeviceSession& session) {
  connection_.requestUpdate();
  connection_.waitUntil(kOpenLimit, [&] {
    return session.isLinked() || session.hasFailed() || !state_.available || !session.isPresent(server_->model());
  });
  if (session.isLinked()) return kPlatformOk;
  if (!state_.available) return -ENOTCONN;
  if (session.hasFailed()) return -EIO;
  return session.isPresent(server_->model()) ? -ETIMEDOUT : -ENODEV;
}

void AudioGraph::probeRate(const GraphDevice& device) {
  GraphDevice narrow = device;
  auto& streams = narrow.inputs.empty() ? narrow.outputs : narrow.inputs;
  streams.resize(1);
  streams.front().channels = 1;
  if (!narrow.inputs.empty()) narrow.outputs.clear();
  auto probe = std::make_unique<DeviceSession>(connection_, narrow, [](const AudioCycle&) {});
  sessions_.push_back({probe.get(), 0});
  if (waitForLinks(*probe) == kPlatformOk) {
    // A cycle brings no event: look again until one has come.
    const auto deadline = std::chrono::steady_clock::now() + kProbeLimit;
    const auto seen = [&] { return probe->filter().observed().rate != 0; };
    while (!connection_.waitUntil(kProbeStep, seen) && std::chrono::steady_clock::now() < deadline) {
    }
  }
  if (const auto rate = probe->filter().observed().rate; rate != 0) observedRates_[keyOf(device)] = rate;
  closeSession(std::move(probe));
}

void AudioGraph::closeSession(std::unique_ptr<DeviceSession> session) {
  const PipeWireConnection::Lock lock(connection_);
  std::erase_if(sessions_, [&](const OpenSession& open) { return open.session == session.get(); });
  session.reset();
}

PlatformStatus AudioGraph::startSession(DeviceSession& session) {
  const PipeWireConnection::Lock lock(connection_);
  if (!state_.available) return -ENOTCONN;
  if (!session.isPresent(server_->model())) return -ENODEV;
  session.setRunning(true);
  return kPlatformOk;
}

void AudioGraph::onUpdate() {
  for (const auto& open : sessions_) open.session->update(server_->model());
}

void AudioGraph::onSettled() {
  if (!state_.available) log("connected to the sound server");
  publish();
}

void AudioGraph::onLost() {
  for (const auto& open : sessions_) open.session->detach();
  observedRates_.clear();
  numbers_.restart();
  if (!state_.available) return;
  state_ = {};
  log("connection to the sound server lost");
  if (observer_.changed) observer_.changed(state_);
}

void AudioGraph::onTick() {
  for (const auto& open : sessions_) checkRate(open);
  checkPriority();
}

void AudioGraph::onRateSet() {
  observedRates_.clear();
}

void AudioGraph::onDefaultSet() {
  if (state_.available) publish();
}

void AudioGraph::publish() {
  State now{.available = true, .devices = {}, .defaultOutput = {}};
  for (const auto& device : audioDevices(server_->model())) {
    now.devices.push_back({.id = numbers_.numberOf(device.serial),
                           .name = device.title,
                           .inputGroups = groupsOf(device.inputs),
                           .outputGroups = groupsOf(device.outputs)});
    const auto isDefault = [&](const DeviceStream& stream) { return stream.nodeName == server_->defaults().sink(); };
    if (std::ranges::any_of(device.outputs, isDefault)) now.defaultOutput = now.devices.back().id;
  }
  if (now == state_) return;
  state_ = std::move(now);
  if (observer_.changed) observer_.changed(state_);
}

void AudioGraph::log(const std::string& text) const {
  if (observer_.log) observer_.log("PipeWireAudioSystem: " + text);
}

std::optional<GraphDevice> AudioGraph::deviceOf(AudioDeviceID id) {
  for (auto& device : audioDevices(server_->model())) {
    if (numbers_.numberOf(device.serial) == id) return std::move(device);
  }
  return std::nullopt;
}

std::uint32_t AudioGraph::rateOf(const GraphDevice& device) const {
  if (const auto running = observedOn(device).rate; running != 0) return running;
  const auto seen = observedRates_.find(keyOf(device));
  return seen != observedRates_.end() ? seen->second : server_->settings().rate();
}

DeviceFilter::Observed AudioGraph::observedOn(const GraphDevice& device) const {
  for (const auto& open : sessions_) {
    if (!open.session->isLinked() || keyOf(open.session->device()) != keyOf(device)) continue;
    if (const auto observed = open.session->filter().observed(); observed.rate != 0) return observed;
  }
  return {};
}

void AudioGraph::checkRate(const OpenSession& open) {
  const std::uint32_t told = open.toldRate;
  const std::uint32_t rate = open.session->filter().observed().rate;
  if (!open.session->isLinked() || told == 0 || rate == 0 || rate == told) return;

  // Whoever opened the device computes with the rate it was told. Listed under a new number the device looks unplugged
  // and returned, which makes every user of it open it again and ask for the rate anew.
  const GraphDevice& device = open.session->device();
  log(formatted("%s runs at %u Hz, not at %u Hz; it is listed anew", device.title.c_str(), rate, told));
  observedRates_[keyOf(device)] = rate;
  for (auto& other : sessions_) {
    if (keyOf(other.session->device()) == keyOf(device)) other.toldRate = rate;
  }
  for (const auto& listed : audioDevices(server_->model())) {
    if (keyOf(listed) == keyOf(device)) numbers_.renew(listed.serial);
  }
  if (state_.available) publish();
}

void AudioGraph::checkPriority() {
  const auto cycling = std::ranges::find_if(
      sessions_, [](const OpenSession& open) { return open.session->filter().observed().rate != 0; });
  if (cycling == sessions_.end() || cyclingTicks_ > kPriorityTicks || ++cyclingTicks_ <= kPriorityTicks) return;
  int policy = SCHED_OTHER;
  sched_param parameters{};
  const auto thread = cycling->session->filter().observed().dataThread;
  if (pthread_getschedparam(thread, &policy, &parameters) == 0 && policy == SCHED_OTHER) {
    log("real-time priority refused; sound may break up when the machine is busy");
  }
}

}  // namespace tallyrig
