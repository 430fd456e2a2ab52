// A private sound server with one virtual device, for shell scripts: says where it is, then plays what it is told to.

#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "support/PipeWireRig.h"

namespace {

using namespace tallyrig;

void obey(PipeWireRig& rig, std::vector<std::unique_ptr<RigSound>>& sounds) {
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream words(line);
    std::string verb;
    int channel = 0;
    std::string path;
    if (words >> verb >> channel && verb == "play" && std::getline(words >> std::ws, path)) {
      sounds.push_back(rig.play("device", {channel - 1}, readSoundFile(path)));
    } else {
      std::cerr << "rig: not understood: " << line << '\n';
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr
        << "Usage: rig NAME CHANNELS\n"
           "Prints the folder that XDG_RUNTIME_DIR must name, then reads lines \"play CHANNEL FILE\", the channel\n"
           "counted from 1, until its input ends.\n";
    return 2;
  }
  try {
    PipeWireRig rig;
    rig.add({.name = "device", .description = argv[1], .channels = std::atoi(argv[2]), .properties = {}});
    std::cout << rig.environment().at("XDG_RUNTIME_DIR") << std::endl;
    std::vector<std::unique_ptr<RigSound>> sounds;
    obey(rig, sounds);
  } catch (const std::exception& error) {
    std::cerr << "rig: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
