#include "mtc/MTCReceiver.h"

#include <algorithm>
#include <string>
#include <utility>

namespace tallyrig {

MTCReceiver::MTCReceiver(const HostClock& clock, Scheduler& scheduler, Log& log, MidiSystem& midi)
    : clock_(clock),
      log_(log),
      midi_(midi),
      inputWorker_(std::make_shared<MTCInputWorker>(clock, scheduler, log, makeWorkerEvents(scheduler.mainQueue()))) {
  if (setUpMIDI()) refreshSources();
}

MTCReceiver::~MTCReceiver() {
  if (inputPort_ != 0) midi_.disposePort(inputPort_);
  if (midiClient_ != 0) midi_.disposeClient(midiClient_);
}

/// The worker's events, each brought to the main queue.
MTCInputWorker::Events MTCReceiver::makeWorkerEvents(SerialQueue& main) {
  const auto onMain = [&main](auto handler) {
    return [&main, handler = std::move(handler)](const auto&... arguments) {
      main.post([handler, arguments...] { handler(arguments...); });
    };
  };
  return {
      .onAnchor = onMain(lifetime_.guard(
          [this](const TimecodeAnchor& anchor, double span, double delay) { handleAnchor(anchor, span, delay); })),
      .onFullFrame = onMain(lifetime_.guard([this](const TimecodeAnchor& anchor) { handleFullFrame(anchor); })),
      .onTimeout = onMain(lifetime_.guard([this](HostTime receipt, double age) { handleTimeout(receipt, age); })),
  };
}

bool MTCReceiver::setUpMIDI() {
  auto setupChanged = lifetime_.guard([this] { refreshSources(); });
  if (const auto status = midi_.createClient("Tallyrig.MTCReceiver", std::move(setupChanged), midiClient_)) {
    log_.line(formatted("MTCReceiver: MIDIClientCreateWithBlock failed with status %d", status));
    return false;
  }
  auto read = [worker = inputWorker_, &clock = clock_](std::span<const MidiPacket> packets) {
    for (const MidiPacket& packet : packets) {
      worker->receive(packet.bytes, packet.hostTime == HostTime{} ? clock.now() : packet.hostTime);
    }
  };
  if (const auto status = midi_.createInputPort(midiClient_, "Tallyrig.MTCInput", std::move(read), inputPort_)) {
    log_.line(formatted("MTCReceiver: MIDIInputPortCreateWithProtocol failed with status %d", status));
    midi_.disposeClient(std::exchange(midiClient_, 0));
    return false;
  }
  return true;
}

void MTCReceiver::refreshSources() {
  availableSources_ = listMIDISources(midi_);
  emit availableSourcesChanged();
  std::string names;
  for (const auto& source : availableSources_) {
    if (&source != &availableSources_.front()) names += ", ";
    names += source.name;
  }
  log_.line(formatted("MTCReceiver: CoreMIDI reports %zu source(s): %s", availableSources_.size(), names.c_str()));
  if (!selectedSource_) return;

  const auto found = [this](auto&& matches) -> std::optional<MIDISourceDevice> {
    const auto source = std::find_if(availableSources_.begin(), availableSources_.end(), matches);
    return source == availableSources_.end() ? std::nullopt : std::optional(*source);
  };
  auto resolved = found([this](const auto& source) { return source.endpoint == selectedSource_->endpoint; });
  if (!resolved) resolved = found([this](const auto& source) { return source.name == selectedSource_->name; });
  setSelectedSource(std::move(resolved));
  reconnect();
}

void MTCReceiver::setSelectedSource(std::optional<MIDISourceDevice> source) {
  if (selectedSource_ == source) return;
  selectedSource_ = std::move(source);
  emit selectedSourceChanged();
}

void MTCReceiver::reconnect() {
  inputWorker_->reset();
  disconnectSources();
  connectSelectedSource();
}

/// Leaves connections as they are while nothing is selected. A source that cannot be connected is one that sends
/// nothing.
void MTCReceiver::connectSelectedSource() {
  if (!selectedSource_) return;
  disconnectSources();
  midi_.connectSource(inputPort_, selectedSource_->endpoint);
  connectedSources_.insert(selectedSource_->endpoint);
}

void MTCReceiver::disconnectSources() {
  for (const MIDIEndpointRef source : connectedSources_) midi_.disconnectSource(inputPort_, source);
  connectedSources_.clear();
}

void MTCReceiver::handleAnchor(const TimecodeAnchor& anchor, double spanMilliseconds, double delayMilliseconds) {
  setReceiving(true);
  setCurrentAnchor(anchor);
  if (hasLoggedQuarterFrameTiming_) return;
  hasLoggedQuarterFrameTiming_ = true;
  log_.line(formatted("MTCReceiver: quarter-frame sequence %.1fms, decoder processing delay %.1fms at %s fps",
                      spanMilliseconds, delayMilliseconds, rateText(anchor.timecode.frameRate)));
}

void MTCReceiver::handleFullFrame(const TimecodeAnchor& anchor) {
  const bool wasReceiving = isReceiving_;
  setReceiving(false);
  setCurrentAnchor(anchor);
  log_.timed("MTCReceiver: full-frame location message " + anchor.timecode.text() +
             (wasReceiving ? " during receive; treating as stop" : ""));
}

void MTCReceiver::handleTimeout(HostTime receipt, double ageMilliseconds) {
  if (inputWorker_->latestPacketReceiptHostTime() != receipt) {
    log_.timed("MTCReceiver: ignored stale quarter-frame timeout after newer MIDI input arrived");
    return;
  }
  if (!isReceiving_) return;
  if (currentAnchor_) {
    const Timecode stopped = currentAnchor_->extrapolated(receipt, clock_);
    setCurrentAnchor({stopped, receipt});
    log_.timed("MTCReceiver: stop position resolved to " + stopped.text() + " at last packet time");
  }
  setReceiving(false);
  log_.timed(formatted("MTCReceiver: confirmed quarter-frame input timeout, last packet age %.1fms", ageMilliseconds));
}

void MTCReceiver::setReceiving(bool receiving) {
  if (isReceiving_ == receiving) return;
  isReceiving_ = receiving;
  emit isReceivingChanged(receiving);
}

void MTCReceiver::setCurrentAnchor(const TimecodeAnchor& anchor) {
  currentAnchor_ = anchor;
  emit currentAnchorChanged(anchor);
}

}  // namespace tallyrig
