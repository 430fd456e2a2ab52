// MIDI packets into the MTC receiver. The input is a list of packets, each three bytes and then its own:
//
//     what    bits 0 to 3 choose how long to wait before it, see `kWaits`; bit 4: the program stands still meanwhile;
//             bit 5: a reconnection before it; bit 6: a change of the endpoints before it
//     stamp   0 for none, 1 for this instant, see `stampOf` for the others
//     length  of the packet's bytes, which follow as far as the input goes

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <span>
#include <string_view>
#include <unordered_set>

#include "mtc/MTCReceiver.h"
#include "platform/simulated/SimulatedClock.h"
#include "platform/simulated/SimulatedScheduler.h"
#include "platform/simulated/SimulatedWallClock.h"
#include "support/RecordingMidiSystem.h"

namespace tallyrig {
namespace {

using std::chrono::nanoseconds;

/// Around the periods and limits of the four rates, and far beyond.
constexpr std::array<std::int64_t, 16> kWaits{
    0,          1,          8'333'333,  8'341'667,  10'000'000, 10'416'667, 20'854'166,  20'854'167,
    25'000'000, 26'041'667, 33'333'333, 40'000'000, 66'666'667, 80'000'001, 120'000'000, 3'600'000'000'000};
constexpr std::size_t kHead = 3;

void require(bool holds) {
  if (!holds) std::abort();
}

HostTime stampOf(std::uint8_t code, HostTime now) {
  if (code == 0) return {};
  if (code == 1) return now;
  if (code == 2) return {std::numeric_limits<std::uint64_t>::max()};
  const HostDuration distance{static_cast<std::uint64_t>(code) * code * 1000};
  return code % 2 == 0 ? now + distance : now - distance;
}

class Run {
 public:
  Run() {
    midi_.listedSources = {{7, "Desk"}};
    QObject::connect(&receiver_, &MTCReceiver::currentAnchorChanged,
                     [this](const TimecodeAnchor& anchor) { check(anchor); });
    receiver_.setSelectedSource(MIDISourceDevice{7, "Desk"});
    receiver_.reconnect();
  }

  void read(std::uint8_t what, std::uint8_t stamp, std::span<const std::uint8_t> bytes) {
    wait(nanoseconds(kWaits.at(what & 15)), (what & 16) != 0);
    if ((what & 32) != 0) receiver_.reconnect();
    if ((what & 64) != 0) midi_.setupChanged();
    const HostTime now = clock_.now();
    const MidiPacket packet{stampOf(stamp, now), bytes};
    instants_.insert(now);
    instants_.insert(packet.hostTime);
    bytes_ += bytes.size();
    midi_.read({&packet, 1});
  }

  /// Lets everything come to rest; what is left to do must be bounded by what has been read.
  void finish() {
    wait(std::chrono::hours(1), false);
    require(!scheduler_.runNext(nanoseconds::max()));
    require(scheduler_.eventsRun() <= 16 + 8 * reads_ + 4 * bytes_);
  }

 private:
  void wait(nanoseconds duration, bool standsStill) {
    ++reads_;
    const nanoseconds end = clock_.nanos() + duration;
    if (standsStill) clock_.set(end);
    while (scheduler_.runNext(end)) {
    }
    clock_.set(end);
  }

  void check(const TimecodeAnchor& anchor) const {
    const Timecode& timecode = anchor.timecode;
    require(timecode.hours >= 0 && timecode.hours < 32);
    for (const auto field : {timecode.minutes, timecode.seconds, timecode.frames}) require(field >= 0 && field < 256);
    require(frameRateFromRawValue(static_cast<int>(timecode.frameRate)) == timecode.frameRate);
    require(instants_.contains(anchor.hostTime));
  }

  SimulatedClock clock_{{125, 3}, std::chrono::seconds(1000)};
  SimulatedWallClock wallClock_{clock_, {}};
  Log log_{clock_, wallClock_, [](std::string_view) {}};
  SimulatedScheduler scheduler_{clock_, 1};
  RecordingMidiSystem midi_;
  MTCReceiver receiver_{clock_, scheduler_, log_, midi_};
  /// Every stamp and every time of receipt.
  std::unordered_set<HostTime> instants_;
  std::uint64_t reads_ = 0;
  std::uint64_t bytes_ = 0;
};

void receive(std::span<const std::uint8_t> input) {
  Run run;
  while (input.size() >= kHead) {
    const auto head = input.first(kHead);
    input = input.subspan(kHead);
    const std::size_t length = std::min<std::size_t>(head[2], input.size());
    run.read(head[0], head[1], input.first(length));
    input = input.subspan(length);
  }
  run.finish();
}

}  // namespace
}  // namespace tallyrig

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tallyrig::receive({data, size});
  return 0;
}
