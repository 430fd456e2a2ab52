#include "platform/pipewire/PipeWireMidiSystem.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/pipewire/MidiGraph.h"
#include "platform/pipewire/MidiReader.h"
#include "platform/pipewire/MidiSendTable.h"
#include "platform/pipewire/PublishedState.h"

namespace tallyrig {

class PipeWireMidiSystem::Published : public PublishedState<MidiGraph::State> {
 public:
  using PublishedState::PublishedState;
};

PipeWireMidiSystem::PipeWireMidiSystem(PipeWireServer server, Scheduler& scheduler, const HostClock& clock, Log& log)
    : clock_(clock),
      published_(std::make_shared<Published>(scheduler.mainQueue())),
      sendTable_(std::make_shared<MidiSendTable>()),
      reader_(std::make_shared<MidiReader>(scheduler, clock)),
      graph_(std::make_shared<MidiGraph>(
          std::move(server),
          MidiGraph::Observer{
              .changed =
                  [published = published_, table = sendTable_](const MidiGraph::State& state) {
                    table->setDestinations(state.available, state.destinations);
                    published->set(state);
                  },
              .outputFailed = [table = sendTable_](MIDIEndpointRef destination) { table->setFailed(destination); },
              .mayCloseOutput = [table =
                                     sendTable_](MIDIEndpointRef destination) { return table->release(destination); },
              .log = [&log](const std::string& text) { log.line(text); }})),
      ownSubscription_(published_->observe([this] { dropVanishedSources(); })) {
  published_->beginAnnouncing();
}

PipeWireMidiSystem::~PipeWireMidiSystem() {
  reader_->stop();
  graph_->dismissObserver();
}

bool PipeWireMidiSystem::isAvailable() const {
  return published_->state().available;
}

std::vector<MidiEndpointDescription> PipeWireMidiSystem::sources() const {
  return published_->state().sources;
}

std::vector<MidiEndpointDescription> PipeWireMidiSystem::destinations() const {
  return published_->state().destinations;
}

PlatformStatus PipeWireMidiSystem::createClient(std::string_view, std::function<void()> setupChanged,
                                                MIDIClientRef& client) {
  client = ++lastClient_;
  clients_[client] = setupChanged ? published_->observe(std::move(setupChanged)) : Subscription{};
  return kPlatformOk;
}

void PipeWireMidiSystem::disposeClient(MIDIClientRef client) {
  std::vector<MIDIPortRef> ports;
  for (const auto& [port, input] : inputPorts_) {
    if (input.client == client) ports.push_back(port);
  }
  for (const auto& [port, owner] : outputPorts_) {
    if (owner == client) ports.push_back(port);
  }
  for (const MIDIPortRef port : ports) disposePort(port);
  clients_.erase(client);
}

PlatformStatus PipeWireMidiSystem::createInputPort(MIDIClientRef client, std::string_view, MidiReadCallback read,
                                                   MIDIPortRef& port) {
  port = 0;
  if (!clients_.contains(client)) return -EBADF;
  port = ++lastPort_;
  inputPorts_[port] = {
      .client = client, .read = std::make_shared<const MidiReadCallback>(std::move(read)), .sources = {}};
  return kPlatformOk;
}

PlatformStatus PipeWireMidiSystem::createOutputPort(MIDIClientRef client, std::string_view, MIDIPortRef& port) {
  port = 0;
  if (!clients_.contains(client)) return -EBADF;
  port = ++lastPort_;
  outputPorts_[port] = client;
  sendTable_->addPort(port);
  return kPlatformOk;
}

void PipeWireMidiSystem::disposePort(MIDIPortRef port) {
  if (outputPorts_.erase(port) > 0) sendTable_->removePort(port);
  const auto input = inputPorts_.find(port);
  if (input == inputPorts_.end()) return;
  for (const MIDIEndpointRef source : input->second.sources) disconnect(port, source);
  inputPorts_.erase(input);
}

PlatformStatus PipeWireMidiSystem::connectSource(MIDIPortRef inputPort, MIDIEndpointRef source) {
  const auto input = inputPorts_.find(inputPort);
  if (input == inputPorts_.end()) return -EBADF;
  if (input->second.sources.contains(source)) return kPlatformOk;
  std::shared_ptr<MidiInputRing> ring;
  if (const PlatformStatus status = graph_->openInput(source, ring); status != kPlatformOk) return status;
  input->second.sources.insert(source);
  reader_->connect(source, std::move(ring), inputPort, input->second.read);
  return kPlatformOk;
}

PlatformStatus PipeWireMidiSystem::disconnectSource(MIDIPortRef inputPort, MIDIEndpointRef source) {
  const auto input = inputPorts_.find(inputPort);
  if (input == inputPorts_.end()) return -EBADF;
  if (input->second.sources.erase(source) == 0) return -ENODEV;
  disconnect(inputPort, source);
  return kPlatformOk;
}

void PipeWireMidiSystem::disconnect(MIDIPortRef port, MIDIEndpointRef source) {
  reader_->disconnect(source, port);
  graph_->closeInput(source);
}

void PipeWireMidiSystem::dropVanishedSources() {
  const auto listed = sources();
  for (auto& entry : inputPorts_) {
    std::erase_if(entry.second.sources, [&](MIDIEndpointRef source) {
      if (std::ranges::find(listed, source, &MidiEndpointDescription::endpoint) != listed.end()) return false;
      disconnect(entry.first, source);
      return true;
    });
  }
}

PlatformStatus PipeWireMidiSystem::send(MIDIPortRef outputPort, MIDIEndpointRef destination,
                                        std::span<const std::uint8_t> bytes, HostTime when) {
  return sendTable_->send(outputPort, destination, bytes, when, clock_,
                          [this](MIDIEndpointRef unopened, std::shared_ptr<MidiSchedule>& schedule) {
                            return graph_->openOutput(unopened, schedule);
                          });
}

PlatformStatus PipeWireMidiSystem::flushOutput(MIDIEndpointRef destination) {
  return sendTable_->flush(destination);
}

}  // namespace tallyrig
