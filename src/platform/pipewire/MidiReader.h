#pragma once

#include <map>
#include <memory>
#include <vector>

#include "platform/HostClock.h"
#include "platform/MidiSystem.h"
#include "platform/SerialQueue.h"
#include "platform/pipewire/MidiInputRing.h"

namespace tallyrig {

/// Hands what has come from the sources to the ports that listen to them, when it is due. One queue for all, and on it
/// a timer that lives only while a source is listened to. Main thread.
class MidiReader : public std::enable_shared_from_this<MidiReader> {
 public:
  static constexpr std::chrono::milliseconds kPeriod{2};

  /// `clock` must outlive this object.
  MidiReader(Scheduler& scheduler, const HostClock& clock);

  void connect(MIDIEndpointRef source, std::shared_ptr<MidiInputRing> ring, MIDIPortRef port,
               std::shared_ptr<const MidiReadCallback> read);
  /// When it returns the port gets nothing more from that source, and no call of its callback runs.
  void disconnect(MIDIEndpointRef source, MIDIPortRef port);
  /// The same for everything.
  void stop();

 private:
  struct Source {
    std::shared_ptr<MidiInputRing> ring;
    std::map<MIDIPortRef, std::shared_ptr<const MidiReadCallback>> ports;
  };

  // On the queue.
  void read();
  void readFrom(Source& source, HostTime now);

  const HostClock& clock_;
  const std::shared_ptr<SerialQueue> queue_;
  std::map<MIDIEndpointRef, Source> sources_;
  std::unique_ptr<RepeatingTimer> timer_;
};

}  // namespace tallyrig
