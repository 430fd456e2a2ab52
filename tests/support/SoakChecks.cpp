// What a soak rig holds its cards to.

#include <algorithm>
#include <cmath>

#include "support/SoakRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

bool isAllowed(JamSyncState from, JamSyncState to) {
  using enum JamSyncState;
  switch (to) {
    case off:
      return true;
    case waiting:
      return from == off;
    case acquiring:
      return from == off || from == waiting;
    case locked:
      return from == acquiring || from == reacquiring;
    case freewheeling:
      return from == locked || from == reacquiring;
    case reacquiring:
      return from == freewheeling;
  }
  return false;
}

bool isKnownWarning(const std::string& warning) {
  return warning == "No LTC output device selected" || warning.ends_with(" is already in use") ||
         warning.starts_with("Audio device unavailable: ") || warning.starts_with("CoreAudio output error ");
}

}  // namespace

void SoakRig::checkChange(Card& card) {
  if (failure_) return;
  ++counts_.changes;
  const ReaderInstance& reader = *card.reader;
  const bool isGenerator = reader.settings().cardRole == CardRole::generator;
  if (isGenerator && reader.isJammed()) fail(nameOf(card) + "a generator is jammed");
  if (!isGenerator && reader.isGeneratorRunning()) fail(nameOf(card) + "a reader runs as a generator");
  if (reader.sourceAvailabilityWarning() && !isKnownWarning(*reader.sourceAvailabilityWarning())) {
    fail(nameOf(card) + "warns: " + *reader.sourceAvailabilityWarning());
  }
  const auto& shown = reader.currentTimecode();
  if (shown && *shown != shown->advanced(0)) fail(nameOf(card) + "shows " + shown->text());
  checkReservations();
}

void SoakRig::checkJam(Card& card) {
  const JamSyncState next = card.reader->jamSyncState();
  ++counts_.jamTransitions;
  if (!isAllowed(card.jam, next)) {
    fail(nameOf(card) + "went from " + std::string(rawValue(card.jam)) + " to " + std::string(rawValue(next)));
  }
  if (card.reader->isJammed() != (next != JamSyncState::off)) fail(nameOf(card) + "is jammed in the wrong state");
  card.jam = next;
}

/// At any time: each reservation is that of a card that wants just this output.
void SoakRig::checkReservations() {
  for (const auto& [reservation, owner] : wall_.reservations->owners()) {
    const auto card = std::find_if(cards_.begin(), cards_.end(),
                                   [&](const Card& each) { return each.reader->settings().id == owner; });
    const auto* audio = std::get_if<AudioOutputReservation>(&reservation);
    if (card == cards_.end() || audio == nullptr) {
      fail("a reservation belongs to no card");
      continue;
    }
    const ReaderSnapshot& settings = card->reader->settings();
    if (settings.selectedOutputChannel != audio->channel || settings.selectedOutputDeviceID != audio->deviceID) {
      fail(nameOf(*card) + "holds an output that it does not want");
    }
  }
}

/// Whoever sounds holds the channel; when its card lets go, the very next cycle is silent.
void SoakRig::checkSilence(const Ear& ear, std::span<const float> samples) {
  if (std::all_of(samples.begin(), samples.end(), [](float sample) { return sample == 0.0F; })) return;
  for (const Card& card : cards_) {
    if (card.ear && ears_[*card.ear].get() == &ear && holdsReservation(*card.reader)) return;
  }
  fail(ear.device->name() + " channel " + std::to_string(ear.channel + 1) + " sounds though no card holds it");
}

/// Between events: every output that runs has its reservation and every reservation its output.
void SoakRig::checkAtRest() {
  if (failure_) return;
  const std::size_t outputs = wall_.hub->outputSubscriptions().size() + machines_.back().device->liveIOs();
  if (outputs != wall_.reservations->owners().size()) {
    fail(std::to_string(outputs) + " outputs and " + std::to_string(wall_.reservations->owners().size()) +
         " reservations");
  }
  for (const Card& card : cards_) {
    const ReaderInstance& reader = *card.reader;
    const bool isGenerator = reader.settings().cardRole == CardRole::generator;
    if (isGenerator && reader.isGeneratorRunning() != holdsReservation(reader)) {
      fail(nameOf(card) + "runs without its output, or its output without it");
    }
    if (isGenerator && reader.isReceiving() != reader.isGeneratorRunning()) fail(nameOf(card) + "is half running");
    if (!isWhole(card)) continue;
    if (card.source || card.cableFrom) checkInput(card);
    if (card.ear) checkOutput(card);
  }
}

/// A reader whose input has been whole for a while shows it, or stands still without it.
void SoakRig::checkInput(const Card& card) {
  const ReaderInstance& reader = *card.reader;
  const HostTime now = wall_.world.clock().now();
  if (card.source) {
    const Source& source = sources_[*card.source];
    if (now < source.changingUntil) return;
    if (reader.isReceiving() != (source.code->gain != 0)) {
      fail(nameOf(card) + (reader.isReceiving() ? "receives without code" : "does not receive"));
    }
    if (reader.isJammed() || !reader.isReceiving()) return;
    const auto truth = source.code->truthAt(now, wall_.world.clock(), machines_[source.machine].rate, 5);
    if (!truth) return;
    ++counts_.timesCompared;
    if (reader.displayedTimecode(now) != truth) {
      fail(nameOf(card) + "shows " + textOrNone(reader.displayedTimecode(now)) + " at " + truth->text());
    }
    return;
  }
  const Ear& ear = *ears_[*card.cableFrom];
  const bool sends = cards_[*card.cableFrom].reader->isGeneratorRunning();
  if (reader.isReceiving() != sends) {
    fail(nameOf(card) + (sends ? "does not read the generator" : "reads a generator that does not run"));
  }
  if (!sends || ear.frames.empty()) return;
  // The frame on the air has not been heard out; its label is that of the last one heard and one or two more.
  const auto behind = ear.frames.back().timecode.signedFrameDistance(*reader.displayedTimecode(now));
  ++counts_.timesCompared;
  if (!behind || *behind < 0 || *behind > 2) {
    fail(nameOf(card) + "shows " + textOrNone(reader.displayedTimecode(now)) + " when the cable carries " +
         ear.frames.back().timecode.text());
  }
}

/// An output that has run for a while is one row of frames, and a card that follows it shows it.
void SoakRig::checkOutput(const Card& card) {
  const ReaderInstance& reader = *card.reader;
  const HostTime now = wall_.world.clock().now();
  const bool isGenerator = reader.settings().cardRole == CardRole::generator;
  if (card.source && now < sources_[*card.source].changingUntil) return;
  if (!holdsReservation(reader)) {
    const bool shouldSend = isGenerator ? reader.isGeneratorRunning() : reader.isReceiving();
    if (shouldSend && !reader.sourceAvailabilityWarning()) fail(nameOf(card) + "sends nothing and does not say why");
    return;
  }
  const Ear& ear = *ears_[*card.ear];
  if (ear.frames.size() < 3) return fail(nameOf(card) + "holds an output and is silent");
  const auto& newest = ear.frames.back();
  const auto& previous = ear.frames[ear.frames.size() - 2];
  const double sinceEnd = wall_.world.clock().seconds(now - ear.device->timeOf(newest.end));
  if (sinceEnd > 0.2) return fail(nameOf(card) + "holds an output and has fallen silent");
  if (newest.timecode != previous.timecode.advanced(1) || newest.start != previous.end) {
    fail(nameOf(card) + "sends " + newest.timecode.text() + " after " + previous.timecode.text());
  }
  if (!isGenerator && !reader.isJammed()) return;
  ++counts_.timesCompared;
  const auto ahead = newest.timecode.signedFrameDistance(*reader.displayedTimecode(now));
  if (!ahead || *ahead < -1 || *ahead > 2) {
    fail(nameOf(card) + "shows " + textOrNone(reader.displayedTimecode(now)) + " when it sends " +
         newest.timecode.text());
  }
}

bool SoakRig::holdsReservation(const ReaderInstance& reader) const {
  const auto& owners = wall_.reservations->owners();
  return std::any_of(owners.begin(), owners.end(),
                     [&](const auto& entry) { return entry.second == reader.settings().id; });
}

/// Whether nothing that the card depends on has been disturbed of late.
bool SoakRig::isWhole(const Card& card) const {
  const HostTime now = const_cast<Wall&>(wall_).world.clock().now();
  const auto isBroken = [&](const std::optional<std::size_t>& machine) {
    return machine && (machines_[*machine].isAway || now < machines_[*machine].brokenUntil);
  };
  const bool anyAway = std::any_of(machines_.begin(), machines_.end(), [](const Machine& each) { return each.isAway; });
  return !anyAway && now > card.changingUntil && !isBroken(card.inputMachine) && !isBroken(card.outputMachine);
}

std::string SoakRig::nameOf(const Card& card) const {
  return "card " + std::to_string(&card - cards_.data()) + " (" + std::string(rawValue(card.jam)) + ") ";
}

void SoakRig::fail(const std::string& what) {
  if (failure_) return;
  const HostClock& clock = wall_.world.clock();
  failure_ = what + " (seed " + std::to_string(seed_) + ", at host time " +
             std::to_string(clock.nanosFromTicks({clock.now().ticks}) / 1'000'000) + " ms)";
}

}  // namespace tallyrig
