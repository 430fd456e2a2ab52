// A private sound server with one virtual device and one of MIDI, for shell scripts: says where it is, then plays and
// cuts what it is told to. What the program sends into either device comes back out of it.

#include <cstdlib>
#include <exception>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "support/PipeWireRig.h"

namespace {

using namespace tallyrig;

/// The devices that come and go.
constexpr auto kVisitor = "visitor";
constexpr auto kVisitorName = "Visitor";
constexpr auto kMidiVisitor = "midi-visitor";
constexpr auto kMidiVisitorName = "Visitor MIDI";

void obey(PipeWireRig& rig, std::map<int, std::unique_ptr<RigSound>>& sounds) {
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream words(line);
    std::string verb;
    int channel = 0;
    std::string path;
    words >> verb >> channel;
    if (words && verb == "play" && std::getline(words >> std::ws, path)) {
      sounds[channel] = rig.play("device", {channel - 1}, readSoundFile(path));
    } else if (words && verb == "stop") {
      sounds.erase(channel);
    } else if (verb == "plug") {
      rig.add({.name = kVisitor, .description = kVisitorName, .properties = {}});
      rig.add(RigMidiDevice{.name = kMidiVisitor, .description = kMidiVisitorName});
    } else if (verb == "unplug") {
      rig.remove(kVisitor);
      rig.removeMidi(kMidiVisitor);
    } else {
      std::cerr << "rig: not understood: " << line << '\n';
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4 && argc != 5) {
    std::cerr << "Usage: rig NAME CHANNELS MIDI-NAME [MIDI-PORTS]\n"
                 "Prints the folder that XDG_RUNTIME_DIR must name, then reads lines until its input ends:\n"
                 "  play CHANNEL FILE, stop CHANNEL  the channel counted from 1\n"
                 "  plug, unplug                     two more devices, \"Visitor\" and \"Visitor MIDI\"\n";
    return 2;
  }
  try {
    PipeWireRig rig;
    rig.add({.name = "device", .description = argv[1], .channels = std::atoi(argv[2]), .properties = {}});
    rig.add(RigMidiDevice{.name = "midi", .description = argv[3], .ports = argc > 4 ? std::atoi(argv[4]) : 1});
    std::cout << rig.environment().at("XDG_RUNTIME_DIR") << std::endl;
    std::map<int, std::unique_ptr<RigSound>> sounds;
    obey(rig, sounds);
  } catch (const std::exception& error) {
    std::cerr << "rig: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
