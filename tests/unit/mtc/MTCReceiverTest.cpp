#include "mtc/MTCReceiver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/simulated/SimulatedWorld.h"
#include "support/MTCSignal.h"
#include "support/ManualScheduler.h"
#include "support/RecordingMidiSystem.h"
#include "unit/mtc/Cues.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using enum MTCFrameRate;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

/// A receiver that listens to a source of the simulated world, and what it has told in order.
class MTCReceiverTest : public testing::Test {
 protected:
  void SetUp() override {
    QObject::connect(receiver.get(), &MTCReceiver::currentAnchorChanged, [this](const TimecodeAnchor& anchor) {
      EXPECT_EQ(receiver->currentAnchor(), anchor);
      told.push_back(anchor.timecode.text());
    });
    QObject::connect(receiver.get(), &MTCReceiver::isReceivingChanged, [this](bool isReceiving) {
      EXPECT_EQ(receiver->isReceiving(), isReceiving);
      told.emplace_back(isReceiving ? "receiving" : "stopped");
    });
    receiver->setSelectedSource(MIDISourceDevice{desk.endpoint(), desk.name()});
    receiver->reconnect();
    world.runPending();
    world.clearLog();
  }

  HostTime now() const { return world.clock().now(); }
  HostTime after(std::chrono::nanoseconds distance) const {
    return now() + world.clock().ticksFromNanos(static_cast<std::uint64_t>(distance.count()));
  }

  void send(const MidiBytes& bytes, HostTime stamp) {
    world.midi().inject(desk, {{stamp, bytes}});
    world.runPending();
  }
  void send(const MidiBytes& bytes) { send(bytes, now()); }

  /// Each piece at its time; the clock ends at the last.
  void playPieces(const Timecode& timecode, int first, int last) {
    for (int piece = first; piece <= last; ++piece) {
      if (piece != first) wait(timecode.frameRate);
      send(quarterFrame(timecode, piece));
    }
  }
  void play(const Timecode& timecode) { playPieces(timecode, 0, 7); }
  void wait(MTCFrameRate rate) { world.runFor(std::chrono::nanoseconds(quarterFrameNanos(rate))); }

  mutable SimulatedWorld world;
  SimulatedMidiSource& desk = world.midi().addSource("Desk");
  std::unique_ptr<MTCReceiver> receiver =
      std::make_unique<MTCReceiver>(world.clock(), world.scheduler(), world.log(), world.midi());
  std::vector<std::string> told;
};

TEST_F(MTCReceiverTest, ASequenceIsReceptionAndThenAnAnchor) {
  const HostTime begin = now();
  play(kStart);
  EXPECT_THAT(told, ElementsAre("receiving", "10:20:30:12"));
  EXPECT_EQ(receiver->currentAnchor(), (TimecodeAnchor{kStart, begin}));
}

TEST_F(MTCReceiverTest, ReceptionIsToldOnceAndEveryAnchorIs) {
  for (int sequence = 0; sequence < 3; ++sequence) {
    play(kStart.advanced(2 * sequence));
    wait(fps25);
  }
  EXPECT_THAT(told, ElementsAre("receiving", "10:20:30:12", "10:20:30:14", "10:20:30:16"));
}

TEST_F(MTCReceiverTest, TheTimingIsLoggedOnceInItsLife) {
  play(kStart);
  EXPECT_THAT(world.logLines(), ElementsAre("MTCReceiver: quarter-frame sequence 70.0ms, decoder processing delay "
                                            "0.0ms at 25 fps"));
  world.runFor(1s);
  receiver->reconnect();
  world.clearLog();
  play({1, 2, 3, 4, fps2997});
  EXPECT_TRUE(receiver->isReceiving());
  EXPECT_THAT(world.logLines(), IsEmpty());
}

TEST_F(MTCReceiverTest, TheTimingTellsRateSpanAndDelay) {
  const HostTime begin = now() - HostDuration{60'000'000};
  for (int piece = 0; piece < kQuarterFramePieces; ++piece) {
    send(quarterFrame({1, 2, 3, 4, fps2997}, piece),
         begin + HostDuration{static_cast<std::uint64_t>(piece) * 8'341'667});
  }
  EXPECT_THAT(world.logLines(), ElementsAre("MTCReceiver: quarter-frame sequence 58.4ms, decoder processing delay "
                                            "1.6ms at 29.97 DF fps"));
}

TEST_F(MTCReceiverTest, AStampOfZeroIsNow) {
  const HostTime begin = now();
  for (int piece = 0; piece < kQuarterFramePieces; ++piece) {
    send(quarterFrame(kStart, piece), HostTime{});
    wait(fps25);
  }
  EXPECT_EQ(receiver->currentAnchor(), (TimecodeAnchor{kStart, begin}));
}

TEST_F(MTCReceiverTest, ThePacketsOfOneCallAreTakenInOrder) {
  std::vector<SimulatedMidiPacket> packets;
  for (int piece = 0; piece < kQuarterFramePieces; ++piece) {
    packets.push_back({HostTime{static_cast<std::uint64_t>(piece) * 10'000'000 + 5}, quarterFrame(kStart, piece)});
  }
  world.midi().inject(desk, packets);
  world.runPending();
  EXPECT_EQ(receiver->currentAnchor(), (TimecodeAnchor{kStart, HostTime{5}}));
}

TEST_F(MTCReceiverTest, AStopLeavesTheFrameOfTheLastPacket) {
  const HostTime begin = now();
  play(kStart);
  wait(fps25);
  playPieces(kStart.advanced(2), 0, 3);  // The last of these comes 110 ms after the anchor: two frames.
  told.clear();
  world.clearLog();
  const HostTime last = now();
  EXPECT_EQ(last, begin + HostDuration{110'000'000});
  world.runFor(40ms - 1ns);
  EXPECT_THAT(told, IsEmpty());
  world.runFor(1ns);
  EXPECT_THAT(told, ElementsAre("10:20:30:14", "stopped"));
  EXPECT_EQ(receiver->currentAnchor(), (TimecodeAnchor{kStart.advanced(2), last}));
  EXPECT_THAT(world.logLines(),
              ElementsAre(EndsWith("ms] MTCReceiver: stop position resolved to 10:20:30:14 at last packet time"),
                          EndsWith("ms] MTCReceiver: confirmed quarter-frame input timeout, last packet age 40.0ms")));
}

TEST_F(MTCReceiverTest, AStopAcrossMidnightWraps) {
  play({23, 59, 59, 24, fps25});
  world.runFor(1s);
  EXPECT_EQ(receiver->currentAnchor()->timecode, (Timecode{0, 0, 0, 0, fps25}));
}

TEST_F(MTCReceiverTest, AStopInDropFrameSkipsItsLabels) {
  play({10, 0, 59, 29, fps2997});
  world.runFor(1s);
  EXPECT_EQ(receiver->currentAnchor()->timecode, (Timecode{10, 1, 0, 2, fps2997}));
}

TEST_F(MTCReceiverTest, AnAnchorOfTheFutureStopsWhereItStands) {
  for (int piece = 0; piece < kQuarterFramePieces; ++piece) {
    send(quarterFrame(kStart, piece), after(500ms));
    wait(fps25);
  }
  const HostTime last = now() - HostDuration{10'000'000};
  world.runFor(1s);
  EXPECT_EQ(receiver->currentAnchor(), (TimecodeAnchor{kStart, last}));
  EXPECT_FALSE(receiver->isReceiving());
}

TEST_F(MTCReceiverTest, ReceptionBeginsAnewAfterAStop) {
  play(kStart);
  world.runFor(1s);
  ASSERT_FALSE(receiver->isReceiving());
  told.clear();
  play(kStart.advanced(100));
  EXPECT_THAT(told, ElementsAre("receiving", "10:20:34:12"));
}

TEST_F(MTCReceiverTest, ATimeoutWhileIdleIsSilent) {
  play(kStart);
  world.runFor(1s);
  world.clearLog();
  told.clear();
  send(quarterFrame(kStart, 5));
  world.runFor(1s);
  EXPECT_THAT(told, IsEmpty());
  EXPECT_THAT(world.logLines(), IsEmpty());
}

TEST_F(MTCReceiverTest, AFullFrameWhileIdleMovesThePosition) {
  send(fullFrame(kCue));
  EXPECT_THAT(told, ElementsAre("01:02:03:04"));
  EXPECT_EQ(receiver->currentAnchor(), (TimecodeAnchor{kCue, now()}));
  EXPECT_FALSE(receiver->isReceiving());
  EXPECT_THAT(world.logLines(), ElementsAre(EndsWith("ms] MTCReceiver: full-frame location message 01:02:03:04")));
}

TEST_F(MTCReceiverTest, AFullFrameDuringReceptionIsAStop) {
  play(kStart);
  told.clear();
  world.clearLog();
  send(fullFrame(kCue));
  EXPECT_THAT(told, ElementsAre("stopped", "01:02:03:04"));
  EXPECT_THAT(world.logLines(), ElementsAre(EndsWith("ms] MTCReceiver: full-frame location message 01:02:03:04 "
                                                     "during receive; treating as stop")));
  world.runFor(1s);
  EXPECT_THAT(told, testing::SizeIs(2)) << "the time-out of the stream died with it";
}

TEST_F(MTCReceiverTest, AFullFrameWithAStampOfZeroIsNow) {
  send(fullFrame(kCue), HostTime{});
  EXPECT_EQ(receiver->currentAnchor()->hostTime, now());
}

TEST_F(MTCReceiverTest, AChangeOfTheDevicesResetsTheDecoderAndTheStreamResumes) {
  play(kStart);
  wait(fps25);
  playPieces(kStart.advanced(2), 0, 3);
  world.midi().addSource("Another");
  world.runPending();
  told.clear();
  wait(fps25);
  playPieces(kStart.advanced(2), 4, 7);
  EXPECT_THAT(told, IsEmpty());
  EXPECT_TRUE(receiver->isReceiving());
  wait(fps25);
  play(kStart.advanced(4));
  EXPECT_THAT(told, ElementsAre("10:20:30:16"));
}

TEST_F(MTCReceiverTest, AReconnectEndsTheWaitAndLeavesReceptionAsItIs) {
  play(kStart);
  told.clear();
  receiver->reconnect();
  world.runFor(10s);
  EXPECT_THAT(told, IsEmpty());
  EXPECT_TRUE(receiver->isReceiving());
  EXPECT_TRUE(receiver->currentAnchor());
}

TEST_F(MTCReceiverTest, UnpluggedAndPluggedInAgainTheSourceMustBeSelectedAnew) {
  const MIDIEndpointRef old = desk.endpoint();
  world.midi().unplug(desk);
  world.runPending();
  EXPECT_FALSE(receiver->selectedSource());
  world.midi().plugIn(desk);
  world.runPending();
  ASSERT_NE(desk.endpoint(), old);
  play(kStart);
  EXPECT_THAT(told, IsEmpty());
  receiver->setSelectedSource(MIDISourceDevice{desk.endpoint(), desk.name()});
  receiver->reconnect();
  world.runFor(1s);
  play(kStart);
  EXPECT_TRUE(receiver->isReceiving());
}

TEST_F(MTCReceiverTest, OnlyTheSelectedSourceIsHeard) {
  SimulatedMidiSource& other = world.midi().addSource("Other");
  world.runPending();
  world.midi().inject(other, {{now(), fullFrame(kCue)}});
  world.runPending();
  EXPECT_THAT(told, IsEmpty());
}

TEST_F(MTCReceiverTest, AReceiverThatIsGoneIsToldNothingHoweverFarItsNewsHadCome) {
  for (int events = 0; events < 4; ++events) {
    receiver = std::make_unique<MTCReceiver>(world.clock(), world.scheduler(), world.log(), world.midi());
    receiver->setSelectedSource(MIDISourceDevice{desk.endpoint(), desk.name()});
    receiver->reconnect();
    world.runPending();
    world.clearLog();
    world.midi().inject(desk, {{now(), fullFrame(kCue)}});
    for (int i = 0; i < events && !world.hasLogged("full-frame"); ++i) world.scheduler().runNext(world.clock().nanos());
    const bool hadCome = world.hasLogged("full-frame");
    EXPECT_EQ(hadCome, events == 3) << "reading thread, worker, main";
    receiver.reset();
    world.runFor(1s);
    EXPECT_EQ(world.hasLogged("full-frame"), hadCome);
  }
  EXPECT_EQ(world.midi().clientCount(), 0U);
  EXPECT_EQ(world.midi().portCount(), 0U);
}

/// A receiver whose worker has found a time-out that still waits on the main queue.
class LateTimeoutTest : public testing::Test {
 protected:
  void SetUp() override {
    for (int piece = 0; piece < kQuarterFramePieces; ++piece) {
      world.clock().advance(10ms);
      read(quarterFrame(kStart, piece));
      runNewest();
    }
    scheduler.main.runTasks();
    ASSERT_TRUE(receiver.isReceiving());
    world.clearLog();
    world.clock().advance(40ms);
    scheduler.queues.front()->runTasks();
    ASSERT_EQ(scheduler.main.tasks.size(), 1U);
  }

  void read(const MidiBytes& bytes) {
    const MidiPacket packet{world.clock().now(), bytes};
    midi.read({&packet, 1});
  }
  /// The walk of the packet just read, before the time-outs that wait in front of it.
  void runNewest() {
    auto& tasks = scheduler.queues.front()->tasks;
    const Task walk = std::move(tasks.back());
    tasks.pop_back();
    walk();
  }

  SimulatedWorld world;
  ManualScheduler scheduler;
  RecordingMidiSystem midi;
  MTCReceiver receiver{world.clock(), scheduler, world.log(), midi};
};

TEST_F(LateTimeoutTest, IsConfirmedIfNothingCame) {
  scheduler.main.runTasks();
  EXPECT_FALSE(receiver.isReceiving());
  EXPECT_EQ(world.logCount("confirmed quarter-frame input timeout, last packet age 40.0ms"), 1U);
}

TEST_F(LateTimeoutTest, IsIgnoredAfterNewerInput) {
  const auto anchor = receiver.currentAnchor();
  world.clock().advance(1ns);
  read({0xFE});
  scheduler.main.runTasks();
  EXPECT_TRUE(receiver.isReceiving());
  EXPECT_EQ(receiver.currentAnchor(), anchor);
  EXPECT_THAT(world.logLines(), ElementsAre(EndsWith("ms] MTCReceiver: ignored stale quarter-frame timeout after newer "
                                                     "MIDI input arrived")));
}

TEST_F(LateTimeoutTest, IsIgnoredAfterAReconnect) {
  receiver.reconnect();
  scheduler.main.runTasks();
  EXPECT_TRUE(receiver.isReceiving());
  EXPECT_EQ(world.logCount("ignored stale quarter-frame timeout"), 1U);
}

TEST_F(LateTimeoutTest, ResolvesOnce) {
  read(quarterFrame(kStart, 0));
  scheduler.queues.front()->runTasks();
  ASSERT_EQ(scheduler.main.tasks.size(), 2U);
  scheduler.main.runTasks();
  EXPECT_EQ(world.logCount("ignored stale quarter-frame timeout"), 1U);
  EXPECT_EQ(world.logCount("confirmed quarter-frame input timeout"), 1U);
}

TEST_F(LateTimeoutTest, TheSecondOfTwoFindsReceptionEnded) {
  scheduler.main.runTasks();
  read(quarterFrame(kStart, 0));
  scheduler.queues.front()->runTasks();
  ASSERT_EQ(scheduler.main.tasks.size(), 1U);
  world.clearLog();
  scheduler.main.runTasks();
  EXPECT_THAT(world.logLines(), IsEmpty());
}

}  // namespace
}  // namespace tallyrig
