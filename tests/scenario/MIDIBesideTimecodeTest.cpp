// What else may go over a MIDI cable, and what may happen on it, while a card reads timecode from it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "mtc/MTCQuarterFrame.h"
#include "scenario/DisplayTick.h"
#include "scenario/Start.h"
#include "support/Cards.h"
#include "support/MTCTransport.h"
#include "support/Wall.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using enum MTCFrameRate;
using std::chrono::nanoseconds;

/// What a card showed at each tick of the display.
struct Shown {
  std::vector<std::string> timecodes;
  std::vector<TimecodeAnchor> anchors;

  bool operator==(const Shown&) const = default;
};

/// A machine, a cable, a card; and a keyboard that plays into the same cable.
struct Cable {
  explicit Cable(const SimulatedMidiCableOptions& options = {}) : wire(world.midi().connect(player, in, options)) {
    wall.openWith({readerOf(in)});
    world.midi().createClient(
        "Keyboard", [] {}, client);
    world.midi().createOutputPort(client, "out", port);
    QObject::connect(&card(), &ReaderInstance::timecodeChanged, [this] {
      if (card().liveAnchor() && card().isReceiving()) shown.anchors.push_back(*card().liveAnchor());
    });
  }
  ~Cable() { world.midi().disposeClient(client); }
  Cable(const Cable&) = delete;
  Cable& operator=(const Cable&) = delete;

  ReaderInstance& card() { return wall.card(0); }
  void send(const MidiBytes& bytes) {
    ASSERT_EQ(world.midi().send(port, player.endpoint(), bytes, world.clock().now()), kPlatformOk);
  }
  /// For 20 s of play, with `beside` at each tick of the display and some time on the way to the next one.
  Shown play(const std::function<void(Cable&)>& beside) {
    machine.play(kStart);
    for (auto passed = 0ns; passed < 20s; passed += kTick) {
      if (beside) beside(*this);
      world.runFor(kTick / 3);
      if (beside) beside(*this);
      world.runFor(kTick - kTick / 3);
      shown.timecodes.push_back(textOrNone(card().displayedTimecode(world.clock().now())));
    }
    return shown;
  }

  Wall wall{{.seed = 91}};
  SimulatedWorld& world = wall.world;
  SimulatedMidiDestination& player = world.midi().addDestination("Player", false);
  SimulatedMidiSource& in = world.midi().addSource("Machine");
  SimulatedMidiCable& wire;
  MTCTransport machine{world, player};
  MIDIClientRef client = 0;
  MIDIPortRef port = 0;
  Shown shown;
};

Shown alone() {
  Cable cable;
  return cable.play(nullptr);
}

struct Traffic {
  const char* name;
  std::function<void(Cable&)> play;
};

class EachTraffic : public testing::TestWithParam<Traffic> {};

TEST_P(EachTraffic, ChangesNothingThatTheCardShows) {
  Cable cable;
  const Shown shown = cable.play(GetParam().play);
  EXPECT_GT(shown.anchors.size(), 240U);
  EXPECT_TRUE(shown == alone());
  EXPECT_EQ(cable.world.logCount("rejecting"), 0U);
}

void notes(Cable& cable) {
  cable.send({0x90, 0x3C, 0x40});
  cable.send({0x80, 0x3C, 0x00});
  cable.send({0xB3, 0x07, 0x71});
  cable.send({0xE0, 0x71, 0x31});
}

void runningStatus(Cable& cable) {
  cable.send({0x90, 0x3C, 0x40, 0x3E, 0x40, 0x71, 0x23, 0x3C, 0x00});
  cable.send({0x3E, 0x00, 0x71, 0x00});
}

void clock(Cable& cable) {
  cable.send({0xF8});
  cable.send({0xFE});
  cable.send({0xF8, 0xFA, 0xFC, 0xFB});
  cable.send({0xF6});
  cable.send({0xF2, 0x71, 0x01});
  cable.send({0xF3, 0x71});
}

void dumps(Cable& cable) {
  MidiBytes dump(5000, 0x71);
  dump.front() = kSystemExclusiveStart;
  dump.back() = kSystemExclusiveEnd;
  cable.send(dump);
}

void otherUniversalMessages(Cable& cable) {
  // MIDI Machine Control stop and goto, a quarter of a full frame's kind, and one from nobody.
  cable.send({0xF0, 0x7F, 0x7F, 0x06, 0x01, 0xF7});
  cable.send({0xF0, 0x7F, 0x7F, 0x06, 0x44, 0x06, 0x01, 0x21, 0x00, 0x00, 0x00, 0x00, 0xF7});
  cable.send({0xF0, 0x7F, 0x7F, 0x01, 0x02, 0x21, 0x00, 0x00, 0x00, 0xF7});
  cable.send({0xF0, 0x7E, 0x7F, 0x01, 0x01, 0x21, 0x00, 0x00, 0x00, 0xF7});
  // Hours, minutes and frames out of range.
  cable.send({0xF0, 0x7F, 0x7F, 0x01, 0x01, 0x38, 0x00, 0x00, 0x00, 0xF7});
  cable.send({0xF0, 0x7F, 0x7F, 0x01, 0x01, 0x21, 0x3C, 0x00, 0x00, 0xF7});
  cable.send({0xF0, 0x7F, 0x7F, 0x01, 0x01, 0x21, 0x00, 0x00, 0x19, 0xF7});
}

void openDump(Cable& cable) {
  // A dump in parts, whose end never comes, with notes within.
  cable.send({0xF0, 0x43, 0x10, 0x01});
  cable.send({0x11, 0x22, 0x33});
  cable.send({0x90, 0x3C, 0x40});
}

INSTANTIATE_TEST_SUITE_P(MIDIBesideTimecode, EachTraffic,
                         testing::Values(Traffic{"Notes", notes}, Traffic{"RunningStatus", runningStatus},
                                         Traffic{"ClockAndActiveSensing", clock}, Traffic{"LongDumps", dumps},
                                         Traffic{"OtherUniversalMessages", otherUniversalMessages},
                                         Traffic{"OpenDumps", openDump},
                                         Traffic{"All",
                                                 [](Cable& cable) {
                                                   notes(cable);
                                                   clock(cable);
                                                   dumps(cable);
                                                   runningStatus(cable);
                                                   openDump(cable);
                                                   otherUniversalMessages(cable);
                                                 }}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(MIDIBesideTimecode, LongDumpsInPartsChangeNothingEither) {
  Cable cable({.longestSysExPacket = 7});
  EXPECT_TRUE(cable.play(dumps) == alone());
}

TEST(MIDIBesideTimecode, AFullFrameAmongItAllIsStillAStop) {
  Cable cable;
  cable.play(notes);
  cable.send({0xF0, 0x43, 0x10});
  cable.machine.stop();
  cable.machine.locate({1, 2, 3, 4, fps30});
  cable.world.runFor(1s);
  EXPECT_FALSE(cable.card().isReceiving());
  EXPECT_EQ(cable.card().displayedTimecode(cable.world.clock().now()), (Timecode{1, 2, 3, 4, fps30}));
}

TEST(MIDIBesideTimecode, SensingAfterTheStopKeepsTheCardFromNoticingIt) {
  // A time-out is void when any newer packet has come, and only a quarter frame arms another.
  Cable cable;
  cable.play(nullptr);
  cable.machine.stop();
  cable.world.runFor(10ms);
  cable.send({0xFE});
  cable.world.runFor(1s);
  EXPECT_TRUE(cable.card().isReceiving());
  cable.machine.play(kStart);
  cable.world.runFor(200ms);
  cable.machine.stop();
  cable.world.runFor(100ms);
  EXPECT_FALSE(cable.card().isReceiving());
}

class EachQuantum : public testing::TestWithParam<std::uint32_t> {};

TEST_P(EachQuantum, ReadInOneBatchPerCycleShowsTheTruthBetweenLateAnchors) {
  const nanoseconds cycle(GetParam() * 1'000'000'000LL / 48000);
  Cable cable({.readInterval = cycle});
  cable.machine.play(kStart);
  cable.world.runFor(80ms + 2 * cycle);
  std::int64_t wrong = 0;
  std::int64_t absent = 0;
  std::int64_t compared = 0;
  for (auto passed = 0ns; passed < 20s; passed += kTick) {
    cable.world.runFor(kTick);
    const auto truth = cable.machine.truthAt(cable.world.clock().nanos());
    if (!truth) continue;
    ++compared;
    if (!cable.card().isReceiving()) {
      ++absent;
    } else if (cable.card().displayedTimecode(cable.world.clock().now()) != truth) {
      ++wrong;
    }
  }
  EXPECT_EQ(wrong, 0) << "of " << compared;
  // With longer pauses between two batches than a frame every pause is a stop.
  const bool isTooSlow = cycle > 40ms;
  EXPECT_EQ(absent > 0, isTooSlow) << absent << " of " << compared;
  EXPECT_EQ(cable.world.logCount("rejecting"), 0U);
}

INSTANTIATE_TEST_SUITE_P(MIDIBesideTimecode, EachQuantum,
                         testing::Values(64U, 128U, 256U, 512U, 1024U, 2048U, 4096U, 8192U),
                         [](const auto& each) { return "Of" + std::to_string(each.param); });

TEST(MIDICables, LatencyAndUnevennessMoveTheDisplayByNoMore) {
  constexpr auto kLatency = 9ms;
  constexpr auto kJitter = 6ms;
  Cable cable({.latency = kLatency, .jitter = kJitter});
  cable.machine.play(kStart);
  cable.world.runFor(100ms);
  for (auto passed = 0ns; passed < 20s; passed += kTick) {
    cable.world.runFor(kTick);
    const auto now = cable.world.clock().nanos();
    const auto newest = cable.machine.truthAt(now - kLatency);
    const auto oldest = cable.machine.truthAt(now - kLatency - kJitter);
    if (newest && oldest) {
      ASSERT_THAT(cable.card().displayedTimecode(cable.world.clock().now()), testing::AnyOf(newest, oldest));
    }
  }
  EXPECT_EQ(cable.world.logCount("rejecting"), 0U);
}

TEST(MIDICables, LossCostsSequencesAndStopsAndNeverTheFrame) {
  for (const double loss : {0.001, 0.01, 0.1}) {
    Cable cable({.loss = loss});
    cable.machine.play(kStart);
    cable.world.runFor(100ms);
    int compared = 0;
    for (auto passed = 0ns; passed < 30s; passed += kTick) {
      cable.world.runFor(kTick);
      const auto truth = cable.machine.truthAt(cable.world.clock().nanos());
      if (!truth || !cable.card().isReceiving()) continue;
      ++compared;
      ASSERT_EQ(cable.card().displayedTimecode(cable.world.clock().now()), truth);
    }
    EXPECT_GT(compared, 1500);
  }
}

TEST(MIDICables, MergedPacketsGiveNoAnchorRatherThanAWrongOne) {
  Cable cable({.mergeWindow = 12ms});
  cable.machine.play(kStart);
  cable.world.runFor(5s);
  EXPECT_FALSE(cable.card().isReceiving());
  EXPECT_FALSE(cable.card().liveAnchor());
  EXPECT_GT(cable.world.logCount("rejecting invalid quarter-frame cadence"), 50U);
  cable.wire.setOptions({});
  cable.world.runFor(213ms);
  EXPECT_EQ(cable.card().displayedTimecode(cable.world.clock().now()),
            cable.machine.truthAt(cable.world.clock().nanos()));
}

}  // namespace
}  // namespace tallyrig
