#include "platform/pipewire/MidiReader.h"

#include <utility>

namespace tallyrig {

MidiReader::MidiReader(Scheduler& scheduler, const HostClock& clock)
    : clock_(clock), queue_(scheduler.makeQueue("Tallyrig.MIDIInput", QueuePriority::kUserInteractive)) {}

void MidiReader::connect(MIDIEndpointRef source, std::shared_ptr<MidiInputRing> ring, MIDIPortRef port,
                         std::shared_ptr<const MidiReadCallback> read) {
  queue_->runSync([&] {
    Source& found = sources_[source];
    found.ring = std::move(ring);
    found.ports[port] = std::move(read);
    if (timer_) return;
    timer_ = queue_->repeat({.interval = kPeriod}, [weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->read();
    });
  });
}

void MidiReader::disconnect(MIDIEndpointRef source, MIDIPortRef port) {
  queue_->runSync([&] {
    const auto found = sources_.find(source);
    if (found == sources_.end()) return;
    found->second.ports.erase(port);
    if (found->second.ports.empty()) sources_.erase(found);
    if (sources_.empty()) timer_.reset();
  });
}

void MidiReader::stop() {
  queue_->runSync([&] {
    sources_.clear();
    timer_.reset();
  });
}

void MidiReader::read() {
  const HostTime now = clock_.now();
  for (auto& [number, source] : sources_) readFrom(source, now);
}

void MidiReader::readFrom(Source& source, HostTime now) {
  std::vector<MidiInputRing::Packet> read;
  while (auto packet = source.ring->read(now)) read.push_back(std::move(*packet));
  if (read.empty()) return;
  std::vector<MidiPacket> packets;
  packets.reserve(read.size());
  for (const auto& packet : read) packets.push_back({.hostTime = packet.instant, .bytes = packet.bytes});
  for (const auto& [port, callback] : source.ports) (*callback)(packets);
}

}  // namespace tallyrig
