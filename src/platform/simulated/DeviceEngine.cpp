#include "platform/simulated/DeviceEngine.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/RealtimeScope.h"

namespace tallyrig {
namespace {

void check(std::size_t channel, const CycleBuffers& buffers) {
  if (channel < buffers.channelCount()) return;
  throw std::out_of_range("the device has no channel " + std::to_string(channel));
}

}  // namespace

DeviceEngine::DeviceEngine(CycleBuffers input, CycleBuffers output)
    : input_(std::move(input)), output_(std::move(output)) {}

void DeviceEngine::add(std::shared_ptr<DeviceClient> client) {
  clients_.push_back(std::move(client));
}

/// During a cycle the client's place stays, empty, so that the walk over the clients keeps its footing.
void DeviceEngine::remove(const DeviceClient& client) {
  for (auto& held : clients_) {
    if (held.get() == &client) held.reset();
  }
  if (!isInCycle_) std::erase(clients_, nullptr);
}

bool DeviceEngine::hasRunningClient() const {
  return std::any_of(clients_.begin(), clients_.end(), [](const auto& client) { return client && client->isRunning; });
}

void DeviceEngine::stopAll() {
  for (const auto& client : clients_) {
    if (client) client->isRunning = false;
  }
}

void DeviceEngine::feed(std::size_t inputChannel, SignalSource source) {
  check(inputChannel, input_);
  inputs_[inputChannel].feed = std::move(source);
}

void DeviceEngine::plugIn(std::size_t inputChannel, SimulatedCable& cable) {
  check(inputChannel, input_);
  inputs_[inputChannel].cables.push_back(&cable);
}

void DeviceEngine::onOutput(std::size_t outputChannel, SignalSink sink) {
  outputAt(outputChannel).sinks.push_back(std::move(sink));
}

OutputHistory& DeviceEngine::history(std::size_t outputChannel) {
  return outputAt(outputChannel).history;
}

void DeviceEngine::runCycle(std::int64_t position, std::uint32_t frames, AudioTimeStamp inputTime,
                            AudioTimeStamp outputTime) {
  isInCycle_ = true;
  input_.resize(frames);
  output_.resize(frames);
  hear(position - frames, frames);
  for (auto& [channel, output] : outputs_) output.mix.assign(frames, 0.0f);
  for (std::size_t i = 0; i < clients_.size(); ++i) {
    const auto client = clients_[i];
    if (!client || !client->isRunning) continue;
    call(*client, {input_.list(), inputTime, output_.list(), outputTime});
  }
  play(position);
  isInCycle_ = false;
  std::erase(clients_, nullptr);
}

void DeviceEngine::runAsCallback(const std::function<void()>& change) {
  const bool wasInCallback = std::exchange(isInCallback_, true);
  {
    const RealtimeScope scope;
    change();
  }
  isInCallback_ = wasInCallback;
}

void DeviceEngine::hear(std::int64_t position, std::uint32_t frames) {
  heard_.resize(frames);
  for (auto& [channel, input] : inputs_) {
    std::fill(heard_.begin(), heard_.end(), 0.0f);
    if (input.feed) input.feed(position, heard_);
    for (SimulatedCable* cable : input.cables) cable->addTo(heard_, position);
    input_.write(channel, heard_);
  }
}

void DeviceEngine::call(DeviceClient& client, const AudioCycle& cycle) {
  output_.fill(outputBefore_);
  isInCallback_ = true;
  {
    const RealtimeScope scope;
    client.callback(cycle);
  }
  isInCallback_ = false;
  for (auto& [channel, output] : outputs_) output_.addTo(output.mix, channel);
}

void DeviceEngine::play(std::int64_t position) {
  for (auto& [channel, output] : outputs_) output.history.write(position, output.mix);
  for (auto& [channel, output] : outputs_) {
    for (std::size_t i = 0; i < output.sinks.size(); ++i) output.sinks[i](position, output.mix);
  }
}

DeviceEngine::Output& DeviceEngine::outputAt(std::size_t channel) {
  check(channel, output_);
  return outputs_[channel];
}

}  // namespace tallyrig
