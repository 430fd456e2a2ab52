#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/RigDevice.h"
#include "support/RigSound.h"

namespace tallyrig {

class RigClient;

/// A sound server of the test's own, in a folder of its own, with virtual devices. Nothing of the user's session is
/// touched, and everything is gone with this object.
///
/// Members that wait throw std::runtime_error if what they wait for does not come. One thread at a time.
class PipeWireRig {
 public:
  struct Options {
    int rate = 48000;
    /// Frames per cycle.
    int quantum = 1024;
    /// Rates that the server may change to while nothing runs, besides `rate`.
    std::vector<int> otherRates = {};
    /// With a session manager, which gives the devices their ports, and a message bus for it.
    bool sessionManager = false;
    /// False to begin with no server at all.
    bool started = true;
  };

  explicit PipeWireRig(Options options);
  PipeWireRig() : PipeWireRig(Options{}) {}
  ~PipeWireRig();
  PipeWireRig(const PipeWireRig&) = delete;
  PipeWireRig& operator=(const PipeWireRig&) = delete;

  /// What a program needs in its environment to find this server and no other.
  ChildProcess::Environment environment() const;
  /// The same for this process. Before the process connects.
  void enter() const;

  /// The server, with the devices that stood when it was killed.
  void start();
  /// At once, as in a crash.
  void kill();
  /// The server's process id; 0 while there is none.
  pid_t serverId() const { return server_ ? server_->id() : 0; }

  void add(const RigDevice& device);
  /// As if unplugged.
  void remove(const std::string& name);
  void add(const RigMidiDevice& device);
  void removeMidi(const std::string& name);
  /// How many cycles the MIDI device of that name has seen left out.
  std::uint64_t missedCycles(const std::string& name) const;
  /// A sound card without nodes; returns its id, for the property "device.id" of its nodes.
  std::uint32_t addCard(const std::string& description);
  /// Sets a value in the server's settings, as in "clock.force-rate".
  void set(const std::string& key, const std::string& value);
  /// Waits until the server has a node of that name with at least that many ports on either side.
  void waitForNode(const std::string& name, int inPorts, int outPorts);
  void waitForNoNode(const std::string& name);

  /// As `RigSound`'s. Must go before the server is killed.
  std::unique_ptr<RigSound> play(const std::string& node, const std::vector<int>& ports, RigSamples samples,
                                 int rate = 0);
  std::unique_ptr<RigSound> record(const std::string& node, const std::vector<int>& ports, std::size_t frames);

  /// What server, session manager and bus have printed.
  std::filesystem::path logFile() const { return directory_ / "log"; }

 private:
  void writeConfiguration() const;

  const Options options_;
  const std::filesystem::path directory_;
  std::unique_ptr<ChildProcess> bus_;
  std::unique_ptr<ChildProcess> server_;
  std::unique_ptr<ChildProcess> sessionManager_;
  std::unique_ptr<RigClient> client_;
  std::vector<RigDevice> devices_;
  std::vector<RigMidiDevice> midiDevices_;
};

}  // namespace tallyrig
