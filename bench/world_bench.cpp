// How many times faster than real time the simulated world runs. Prints a Markdown table.

#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <vector>

#include "ProcessUsage.h"
#include "support/LTCInput.h"
#include "support/Wall.h"
#include "timecode/TimecodeRenderClock.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

/// Runs eight cards, all of them on LTC or all of them without a device; 0 if they do not do what they should.
double timesRealTime(bool withAudio, std::chrono::seconds length) {
  Wall wall({.seed = 1});
  std::vector<std::unique_ptr<LTCInput>> codes;
  std::vector<ReaderSnapshot> cards(8);
  if (withAudio) {
    SimulatedDevice& device = wall.world.audio().addDevice({.name = "Desk", .inputGroups = {8}});
    constexpr std::array kRates{MTCFrameRate::fps24, MTCFrameRate::fps25, MTCFrameRate::fps2997, MTCFrameRate::fps30};
    for (std::size_t index = 0; index < cards.size(); ++index) {
      const MTCFrameRate rate = kRates[index % kRates.size()];
      codes.push_back(std::make_unique<LTCInput>(device, index, rate, Timecode{10, 0, 0, 0, rate}));
      cards[index].selectedDeviceID = device.id();
      cards[index].selectedDeviceName = device.name();
      cards[index].selectedChannel = static_cast<std::int64_t>(index);
    }
  }
  wall.world.files().put("/home/user/.local/share/Tallyrig/readers.json", *encodeSnapshots(cards));
  wall.open();
  TimecodeRenderClock renderClock(wall.world.clock(), wall.world.scheduler(), wall.world.log());
  wall.store->startSavedReaders();
  wall.world.runFor(1s);
  const double began = clockSeconds(CLOCK_THREAD_CPUTIME_ID);
  wall.world.runFor(length);
  const double used = clockSeconds(CLOCK_THREAD_CPUTIME_ID) - began;
  for (const auto& card : wall.store->readers()) {
    if (card->isReceiving() != withAudio) return 0;
  }
  return static_cast<double>(length.count()) / used;
}

}  // namespace
}  // namespace tallyrig

int main() {
  using namespace std::chrono_literals;
  const double audio = tallyrig::timesRealTime(true, 60s);
  const double idle = tallyrig::timesRealTime(false, 1h);
  if (audio == 0 || idle == 0) {
    std::fprintf(stderr, "world_bench: the cards do not read what they should\n");
    return 1;
  }
  std::printf("| rig | times real time, by CPU time |\n|---|---|\n");
  std::printf("| eight LTC cards on one device, quantum 512 | %.0f |\n", audio);
  std::printf("| eight cards without a device | %.0f |\n", idle);
  return 0;
}
