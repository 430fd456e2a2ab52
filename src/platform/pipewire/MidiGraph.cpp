#include "platform/pipewire/MidiGraph.h"

#include <cerrno>
#include <chrono>
#include <utility>

#include "platform/Log.h"
#include "platform/pipewire/MidiControls.h"

namespace tallyrig {
namespace {

/// A running handler makes no event: it is looked for again and again.
constexpr std::chrono::milliseconds kLookStep{2};
constexpr std::chrono::milliseconds kTellEvery{1000};

unsigned long long printable(std::uint64_t count) {
  return count;
}

}  // namespace

MidiGraph::MidiGraph(std::shared_ptr<ServerGraph> server, Observer observer)
    : server_(std::move(server)), connection_(server_->connection()), observer_(std::move(observer)) {
  server_->attach(*this);
}

MidiGraph::~MidiGraph() {
  server_->detach(*this);
  const PipeWireConnection::Lock lock(connection_);
  inputs_.clear();
  outputs_.clear();
}

void MidiGraph::dismissObserver() {
  const PipeWireConnection::Lock lock(connection_);
  observer_ = {};
}

PlatformStatus MidiGraph::openInput(MIDIEndpointRef source, std::shared_ptr<MidiInputRing>& ring) {
  const PipeWireConnection::Lock lock(connection_);
  if (!state_.available) return -ENOTCONN;
  const auto* endpoint = endpoints_.find(source, PortDirection::kOut);
  if (endpoint == nullptr) return -ENODEV;
  Input& input = inputs_[source];
  ++input.users;
  if (!input.session) {
    input.ring = std::make_shared<MidiInputRing>();
    input.session = std::make_unique<MidiSession>(connection_, *endpoint,
                                                  [filled = input.ring.get()](const MidiCycle& cycle, spa_data& data) {
                                                    readMidiControls(data, cycle, *filled);
                                                  });
    connection_.requestUpdate();
  }
  ring = input.ring;
  return kPlatformOk;
}

void MidiGraph::closeInput(MIDIEndpointRef source) {
  const PipeWireConnection::Lock lock(connection_);
  const auto input = inputs_.find(source);
  if (input == inputs_.end() || --input->second.users > 0) return;
  tellTroubles(input->second);
  inputs_.erase(input);
}

PlatformStatus MidiGraph::openOutput(MIDIEndpointRef destination, std::shared_ptr<MidiSchedule>& schedule) {
  const PipeWireConnection::Lock lock(connection_);
  if (!state_.available) return -ENOTCONN;
  const auto* endpoint = endpoints_.find(destination, PortDirection::kIn);
  if (endpoint == nullptr) return -ENODEV;
  if (!outputs_.contains(destination)) makeOutput(*endpoint);

  ++outputs_[destination].waiters;
  const auto answered = [&] {
    const auto output = outputs_.find(destination);
    return output == outputs_.end() || output->second.session->isRunning() || output->second.session->hasFailed();
  };
  const auto deadline = std::chrono::steady_clock::now() + kLinkLimit;
  while (!connection_.waitUntil(kLookStep, answered) && std::chrono::steady_clock::now() < deadline) {
  }

  const auto output = outputs_.find(destination);
  if (output == outputs_.end()) return state_.available ? -ENODEV : -ENOTCONN;
  --output->second.waiters;
  if (!output->second.session->hasFailed()) {
    schedule = output->second.schedule;
    return kPlatformOk;
  }
  log(formatted("%s: a link was refused: %s", output->second.session->endpoint().name.c_str(),
                output->second.session->refusal().c_str()));
  if (output->second.waiters == 0) outputs_.erase(output);
  return -EPIPE;
}

void MidiGraph::makeOutput(const MidiEndpoint& destination) {
  Output& output = outputs_[destination.number];
  output.schedule = std::make_shared<MidiSchedule>();
  output.session = std::make_unique<MidiSession>(
      connection_, destination, [schedule = output.schedule.get()](const MidiCycle& cycle, spa_data& data) {
        MidiControlWriter writer(data);
        schedule->writeDue(cycle, writer);
        writer.finish();
      });
  connection_.requestUpdate();
}

void MidiGraph::onUpdate() {
  for (auto& [number, input] : inputs_) input.session->update(server_->model());
  bool failed = false;
  for (auto& [number, output] : outputs_) {
    output.session->update(server_->model());
    failed = failed || output.session->hasFailed();
  }
  // When the graph has settled it is clear whether the link has gone or its port too.
  if (failed) connection_.requestSettling();
}

void MidiGraph::onSettled() {
  endpoints_.update(server_->model(), std::to_string(connection_.clientId()));
  dropVanished();
  dropFailed();
  publish({.available = true,
           .sources = endpoints_.list(PortDirection::kOut),
           .destinations = endpoints_.list(PortDirection::kIn)});
}

void MidiGraph::onLost() {
  endpoints_.clear();
  dropVanished();
  publish({});
}

void MidiGraph::onTick() {
  dropIdle();
  if (++ticks_ % (kTellEvery / PipeWireConnection::kTick) == 0) tellTroubles();
}

void MidiGraph::publish(State now) {
  if (now == state_) return;
  state_ = std::move(now);
  if (observer_.changed) observer_.changed(state_);
}

void MidiGraph::dropVanished() {
  std::erase_if(inputs_, [this](const auto& entry) {
    if (endpoints_.find(entry.first, PortDirection::kOut) != nullptr) return false;
    tellTroubles(entry.second);
    return true;
  });
  std::erase_if(outputs_, [this](const auto& entry) {
    if (endpoints_.find(entry.first, PortDirection::kIn) != nullptr) return false;
    tellTroubles(entry.second);
    return true;
  });
}

void MidiGraph::dropFailed() {
  for (auto& [number, input] : inputs_) {
    if (input.session->hasFailed() && !std::exchange(input.failureTold, true)) {
      log(formatted("%s: the link is refused or cut, nothing is read", input.session->endpoint().name.c_str()));
    }
  }
  std::erase_if(outputs_, [this](const auto& entry) {
    // Who waits for it sees the failure himself.
    if (!entry.second.session->hasFailed() || entry.second.waiters > 0) return false;
    tellTroubles(entry.second);
    log(formatted("%s: the link is cut", entry.second.session->endpoint().name.c_str()));
    if (observer_.outputFailed) observer_.outputFailed(entry.first);
    return true;
  });
}

void MidiGraph::dropIdle() {
  for (auto& [number, output] : outputs_) {
    output.idleTicks = output.schedule->wasUsed() || output.waiters > 0 ? 0 : output.idleTicks + 1;
  }
  std::erase_if(outputs_, [this](const auto& entry) {
    if (entry.second.idleTicks <= kIdleLimit / PipeWireConnection::kTick) return false;
    return !observer_.mayCloseOutput || observer_.mayCloseOutput(entry.first);
  });
}

void MidiGraph::tellTroubles() {
  for (const auto& [number, input] : inputs_) tellTroubles(input);
  for (const auto& [number, output] : outputs_) tellTroubles(output);
}

void MidiGraph::tellTroubles(const Input& input) const {
  const char* name = input.session->endpoint().name.c_str();
  if (const auto missed = input.session->filter().takeMissedCycles(); missed != 0) {
    log(formatted("%s: the sound server left out %llu cycles, and any MIDI in them is lost", name, printable(missed)));
  }
  if (const auto lost = input.ring->takeLosses(); lost != 0) {
    log(formatted("%s: %llu MIDI events lost, they came faster than they were read", name, printable(lost)));
  }
}

void MidiGraph::tellTroubles(const Output& output) const {
  const char* name = output.session->endpoint().name.c_str();
  const auto troubles = output.schedule->takeTroubles();
  if (troubles.late != 0) {
    log(formatted("%s: %llu MIDI messages went out late, by up to %.1f ms", name, printable(troubles.late),
                  static_cast<double>(troubles.worstNanos) / 1e6));
  }
  if (troubles.dropped != 0) {
    log(formatted("%s: %llu MIDI messages dropped, they were more than a second late", name,
                  printable(troubles.dropped)));
  }
}

void MidiGraph::log(const std::string& text) const {
  if (observer_.log) observer_.log("PipeWireMidiSystem: " + text);
}

}  // namespace tallyrig
