#pragma once

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>

#include "rig/ReferenceSignal.h"
#include "support/PipeWireRig.h"

namespace tallyrig {

/// A private sound server, its virtual device "Wide" of 64 channels and a player of LTC into all of them, and on demand
/// a virtual MIDI device "Wires", in a process of their own, so that what they cost is not counted here. What is sent
/// into either device comes back out of it. Made before this process has threads; this process then finds that server.
/// Throws std::runtime_error if the rig does not come up.
class RigProcess {
 public:
  static constexpr int kChannels = 64;

  /// `seconds` is how long the player plays.
  RigProcess(int quantum, int seconds, int midiPorts = 0) {
    int orders[2];
    int answers[2];
    if (pipe(orders) != 0 || pipe(answers) != 0) throw std::runtime_error("no pipe for the rig");
    const pid_t parent = getpid();
    child_ = fork();
    if (child_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      if (getppid() != parent) _exit(1);
      close(orders[1]);
      close(answers[0]);
      _exit(serve(quantum, seconds, midiPorts, orders[0], answers[1]));
    }
    close(orders[0]);
    close(answers[1]);
    orders_ = orders[1];
    answers_ = answers[0];
    server_ = static_cast<pid_t>(std::stol(line()));
    setenv("XDG_RUNTIME_DIR", line().c_str(), 1);
    for (const char* name : {"PIPEWIRE_REMOTE", "PIPEWIRE_RUNTIME_DIR", "DBUS_SESSION_BUS_ADDRESS"}) unsetenv(name);
  }
  ~RigProcess() {
    close(orders_);
    waitpid(child_, nullptr, 0);
    close(answers_);
  }
  RigProcess(const RigProcess&) = delete;
  RigProcess& operator=(const RigProcess&) = delete;

  /// From the first sample again; returns when the player is linked to all channels.
  void play() { order("p"); }
  /// The same with the channels' frames beginning one after the other instead of all at once.
  void playStaggered() { order("s"); }
  /// How many cycles the MIDI device has seen left out by the server so far.
  std::uint64_t missedMidiCycles() {
    if (write(orders_, "m", 1) != 1) throw std::runtime_error("the rig has gone");
    return std::stoull(line());
  }
  pid_t serverId() const { return server_; }
  pid_t playerId() const { return child_; }

 private:
  static int serve(int quantum, int seconds, int midiPorts, int orders, int answers) try {
    constexpr int kSamplesPerFrame = 1920;
    PipeWireRig rig({.quantum = quantum});
    rig.add({.name = "wide", .description = "Wide", .channels = kChannels});
    if (midiPorts > 0) rig.add(RigMidiDevice{.name = "wires", .description = "Wires", .ports = midiPorts});
    dprintf(answers, "%d\n%s\n", static_cast<int>(rig.serverId()), rig.environment().at("XDG_RUNTIME_DIR").c_str());
    std::vector<int> ports;
    for (int channel = 0; channel < kChannels; ++channel) ports.push_back(channel);
    std::unique_ptr<RigSound> sound;
    for (char order = 0; read(orders, &order, 1) == 1;) {
      if (order == 'm') {
        dprintf(answers, "%llu\n", static_cast<unsigned long long>(rig.missedCycles("wires")));
        continue;
      }
      sound.reset();
      RigSamples samples;
      for (int channel = 0; channel < kChannels; ++channel) {
        const auto code =
            encodeReference({.start = "10:00:" + std::to_string(10 + channel % 50) + ":00", .frames = seconds * 25});
        if (!code) return 1;
        samples.push_back(code->samples);
        const int delay = order == 's' ? channel * kSamplesPerFrame / kChannels : 0;
        samples.back().insert(samples.back().begin(), static_cast<std::size_t>(delay), 0.0F);
      }
      sound = rig.play("wide", ports, std::move(samples));
      dprintf(answers, "playing\n");
    }
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "rig: %s\n", error.what());
    return 1;
  }

  void order(const char* letter) {
    if (write(orders_, letter, 1) != 1 || line() != "playing") throw std::runtime_error("the rig does not play");
  }

  std::string line() {
    std::string text;
    char next = 0;
    while (read(answers_, &next, 1) == 1 && next != '\n') text += next;
    if (next != '\n') throw std::runtime_error("the rig has gone");
    return text;
  }

  pid_t child_ = 0;
  pid_t server_ = 0;
  int orders_ = -1;
  int answers_ = -1;
};

}  // namespace tallyrig
