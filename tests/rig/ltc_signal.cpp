// Writes a WAV file of LTC.

#include <cstdio>
#include <cstdlib>
#include <string>

#include "rig/ReferenceSignal.h"
#include "rig/WavFile.h"

namespace {

int usage() {
  std::fputs(
      "Usage: ltc_signal [NAME=VALUE]... FILE.wav\n"
      "  rate=24|25|29.97df|30   default 25\n"
      "  start=HH:MM:SS:FF       default 01:00:00:00\n"
      "  frames=COUNT            default 250\n"
      "  samplerate=HERTZ        default 48000\n"
      "  level=DBFS              peak, default -6\n",
      stderr);
  return 2;
}

bool set(tallyrig::ReferenceSpec& signal, const std::string& name, const std::string& value) {
  if (name == "rate") {
    signal.rate = value;
  } else if (name == "start") {
    signal.start = value;
  } else if (name == "frames") {
    signal.frames = std::atoi(value.c_str());
  } else if (name == "samplerate") {
    signal.sampleRate = std::atof(value.c_str());
  } else if (name == "level") {
    signal.levelDBFS = std::atof(value.c_str());
  } else {
    return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return usage();
  tallyrig::ReferenceSpec signal;
  for (int index = 1; index + 1 < argc; ++index) {
    const std::string argument = argv[index];
    const std::size_t equals = argument.find('=');
    if (equals == std::string::npos || !set(signal, argument.substr(0, equals), argument.substr(equals + 1))) {
      return usage();
    }
  }
  const auto encoded = tallyrig::encodeReference(signal);
  if (!encoded) return usage();
  const std::string error = tallyrig::writeWav(argv[argc - 1], {encoded->samples, signal.sampleRate});
  if (!error.empty()) std::fprintf(stderr, "ltc_signal: %s\n", error.c_str());
  return error.empty() ? 0 : 1;
}
