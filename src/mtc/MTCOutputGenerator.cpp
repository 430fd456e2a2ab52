#include "mtc/MTCOutputGenerator.h"

#include <QString>
#include <algorithm>
#include <utility>

namespace tallyrig {
namespace {

QString looseName(const std::string& name) {
  return QString::fromStdString(name).trimmed().toLower();
}

}  // namespace

MTCOutputGenerator::MTCOutputGenerator(const HostClock& clock, Scheduler& scheduler, Log& log, MidiSystem& midi,
                                       MIDIOutputPortManager& ports)
    : main_(scheduler.mainQueue()),
      log_(log),
      midi_(midi),
      ports_(ports),
      worker_(std::make_shared<MTCOutputWorker>(clock, scheduler, log, midi)) {}

MTCOutputGenerator::~MTCOutputGenerator() {
  worker_->stop();
}

void MTCOutputGenerator::start(const std::string& destinationName, const TimecodeAnchor& anchor) {
  stop();
  ++run_;
  errorMessage_.reset();
  if (const MIDIPortRef port = openPort()) {
    availableDestinations = listMIDIDestinations(midi_);
    if (const MIDIDestinationDevice* destination = findDestination(destinationName)) {
      run(port, *destination, anchor);
      return;
    }
    errorMessage_ = "MIDI destination unavailable: " + destinationName;
  }
  emit stateChanged();
}

MIDIPortRef MTCOutputGenerator::openPort() {
  if (ports_.outputPort() == 0) ports_.rebuild();
  if (ports_.outputPort() == 0) {
    errorMessage_ = ports_.lastErrorMessage().value_or("CoreMIDI output unavailable");
  }
  return ports_.outputPort();
}

const MIDIDestinationDevice* MTCOutputGenerator::findDestination(const std::string& name) const {
  const auto matching = [this](auto&& matches) {
    const auto found = std::find_if(availableDestinations.begin(), availableDestinations.end(), matches);
    return found == availableDestinations.end() ? nullptr : &*found;
  };
  if (const auto* exact = matching([&](const auto& destination) { return destination.name == name; })) return exact;
  return matching([loose = looseName(name)](const auto& destination) { return looseName(destination.name) == loose; });
}

void MTCOutputGenerator::run(MIDIPortRef port, const MIDIDestinationDevice& destination, const TimecodeAnchor& anchor) {
  currentAnchor_ = anchor;
  isGenerating_ = true;
  auto failOnMain = lifetime_.guard([this, run = run_](PlatformStatus status) {
    if (run == run_) handleSendFailure(status);
  });
  worker_->start(port, destination.endpoint, anchor, [&main = main_, failOnMain](PlatformStatus status) {
    main.post([failOnMain, status] { failOnMain(status); });
  });
  log_.line(
      formatted("MTCOutput: started %s fps to %s", rateText(anchor.timecode.frameRate), destination.name.c_str()));
  emit currentAnchorChanged(anchor);
  emit stateChanged();
}

void MTCOutputGenerator::update(const TimecodeAnchor& anchor) {
  currentAnchor_ = anchor;
  worker_->relocate(anchor);
  emit currentAnchorChanged(anchor);
}

void MTCOutputGenerator::stop() {
  if (const auto latest = worker_->stop()) {
    log_.timed("MTCOutput: stopped; latest scheduled quarter-frame belonged to " + latest->text());
  }
  currentAnchor_.reset();
  isGenerating_ = false;
  emit stateChanged();
}

void MTCOutputGenerator::handleSendFailure(PlatformStatus status) {
  isGenerating_ = false;
  currentAnchor_.reset();
  errorMessage_ = formatted("MIDI send error %d", status);
  ports_.invalidate(*errorMessage_);
  log_.line(formatted("MTCOutput: MIDI connection failed with status %d; will rebuild on next Start", status));
  emit stateChanged();
}

}  // namespace tallyrig
