#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/PlatformStatus.h"
#include "platform/pipewire/MidiEndpoints.h"
#include "platform/pipewire/MidiInputRing.h"
#include "platform/pipewire/MidiSchedule.h"
#include "platform/pipewire/MidiSession.h"
#include "platform/pipewire/ServerGraph.h"

namespace tallyrig {

/// The MIDI side of the sound server: the endpoints in its graph, and one session for each that the program uses,
/// however many ports of the program share it.
///
/// Public members: any thread but the data thread and the loop thread; they take the lock themselves.
class MidiGraph final : private ServerGraph::Part {
 public:
  struct State {
    bool available = false;
    std::vector<MidiEndpointDescription> sources;
    std::vector<MidiEndpointDescription> destinations;

    bool operator==(const State&) const = default;
  };

  /// All are called under the lock, on any thread.
  struct Observer {
    std::function<void(const State&)> changed;
    /// The destination can no longer be sent to, although it is listed.
    std::function<void(MIDIEndpointRef)> outputFailed;
    /// Nothing was sent for a while: whether nothing waits, and nobody will use the schedule any more.
    std::function<bool(MIDIEndpointRef)> mayCloseOutput;
    std::function<void(const std::string&)> log;
  };

  MidiGraph(std::shared_ptr<ServerGraph> server, Observer observer);
  ~MidiGraph() override;
  MidiGraph(const MidiGraph&) = delete;
  MidiGraph& operator=(const MidiGraph&) = delete;

  /// No call of the observer runs when it returns, and none follows.
  void dismissObserver();

  /// Where the source's bytes arrive, from some milliseconds later on. One `closeInput` for each. -ENOTCONN without a
  /// server, -ENODEV for an unknown source.
  PlatformStatus openInput(MIDIEndpointRef source, std::shared_ptr<MidiInputRing>& ring);
  void closeInput(MIDIEndpointRef source);

  /// Where what is added goes to the destination. Returns when the link runs, which takes some 5 to 30 ms the first
  /// time: what is added then goes out at its instant. Should the server take longer than `kLinkLimit` the messages
  /// wait for it. -ENOTCONN without a server, -ENODEV for an unknown or vanished destination, -EPIPE if the server
  /// refuses.
  PlatformStatus openOutput(MIDIEndpointRef destination, std::shared_ptr<MidiSchedule>& schedule);

  static constexpr std::chrono::milliseconds kLinkLimit{500};
  /// How long an output stays open when nothing is sent.
  static constexpr std::chrono::milliseconds kIdleLimit{10'000};

 private:
  struct Input {
    std::shared_ptr<MidiInputRing> ring;
    std::unique_ptr<MidiSession> session;
    int users = 0;
    bool failureTold = false;
  };
  struct Output {
    std::shared_ptr<MidiSchedule> schedule;
    std::unique_ptr<MidiSession> session;
    int waiters = 0;
    int idleTicks = 0;
  };

  void onUpdate() override;
  void onSettled() override;
  void onLost() override;
  void onTick() override;

  void makeOutput(const MidiEndpoint& destination);
  void publish(State now);
  void dropVanished();
  void dropFailed();
  void dropIdle();
  void tellTroubles();
  void tellTroubles(const Input& input) const;
  void tellTroubles(const Output& output) const;
  void log(const std::string& text) const;

  const std::shared_ptr<ServerGraph> server_;
  PipeWireConnection& connection_;
  Observer observer_;
  MidiEndpoints endpoints_;
  State state_;
  std::map<MIDIEndpointRef, Input> inputs_;
  std::map<MIDIEndpointRef, Output> outputs_;
  int ticks_ = 0;
};

}  // namespace tallyrig
