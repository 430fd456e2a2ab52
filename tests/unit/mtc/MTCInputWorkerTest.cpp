#include "mtc/MTCInputWorker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "unit/mtc/Cues.h"
#include "unit/mtc/InputWorkerFixture.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using enum MTCFrameRate;
using testing::ElementsAre;
using testing::IsEmpty;

using MTCInputWorkerTest = InputWorkerFixture;

TEST_F(MTCInputWorkerTest, QuarterFramesInPacketsOfTheirOwnGiveAnAnchor) {
  const HostTime begin = now();
  play(kStart);
  EXPECT_THAT(anchors, ElementsAre(TimecodeAnchor{kStart, begin}));
}

TEST_F(MTCInputWorkerTest, TheAnchorTakesThePacketsStampsAndNotTheTimeOfReceipt) {
  for (int piece = 0; piece < kQuarterFramePieces; ++piece) {
    worker->receive(quarterFrame(kStart, piece), HostTime{7'000 + static_cast<std::uint64_t>(piece) * 10'000'000});
  }
  world.runPending();
  EXPECT_THAT(anchors, ElementsAre(TimecodeAnchor{kStart, HostTime{7'000}}));
}

TEST_F(MTCInputWorkerTest, NothingIsDecodedOnTheReadingThread) {
  for (int piece = 0; piece < kQuarterFramePieces; ++piece) {
    worker->receive(quarterFrame(kStart, piece), HostTime{static_cast<std::uint64_t>(piece) * 10'000'000});
  }
  EXPECT_THAT(anchors, IsEmpty());
  world.runPending();
  EXPECT_EQ(anchors.size(), 1U);
}

TEST_F(MTCInputWorkerTest, TheReceiptIsTheClocksTimeWhateverTheStampSays) {
  world.runFor(3ms);
  worker->receive(MidiBytes{0xFE}, HostTime{42});
  EXPECT_EQ(worker->latestPacketReceiptHostTime(), now());
}

TEST_F(MTCInputWorkerTest, AnEmptyPacketLeavesEverythingAsItIs) {
  worker->receive({}, now());
  EXPECT_EQ(worker->latestPacketReceiptHostTime(), HostTime{});
  send(quarterFrame(kStart, 0));
  const HostTime receipt = now();
  world.runFor(10ms);
  worker->receive({}, now());
  EXPECT_EQ(worker->latestPacketReceiptHostTime(), receipt);
  world.runFor(1s);
  EXPECT_EQ(timeouts.size(), 1U);
}

TEST_F(MTCInputWorkerTest, TwoQuarterFramesInOnePacketAreUnsteady) {
  for (int piece = 0; piece < kQuarterFramePieces; piece += 2) {
    MidiBytes both = quarterFrame(kStart, piece);
    for (const auto byte : quarterFrame(kStart, piece + 1)) both.push_back(byte);
    send(both);
    world.runFor(20ms);
  }
  EXPECT_THAT(anchors, IsEmpty());
  EXPECT_THAT(world.logLines(),
              ElementsAre("MTCReceiver: rejecting invalid quarter-frame cadence [20.0, 20.0, 20.0]ms at 25 fps"));
}

TEST_F(MTCInputWorkerTest, AQuarterFrameCutByThePacketsEndIsDropped) {
  playPieces(kStart, 0, 3);
  send({kQuarterFrameStatus});
  send({quarterFrameData(kStart, 4)});
  world.runFor(10ms);
  playPieces(kStart, 5, 7);
  EXPECT_THAT(anchors, IsEmpty());
  EXPECT_THAT(world.logLines(), IsEmpty());
}

TEST_F(MTCInputWorkerTest, InAnOpenMessageACutQuarterFrameIsPartOfTheMessage) {
  send({0xF0, 0x7F, 0x7F, 0x01, 0x01});
  send({kQuarterFrameStatus});  // Hours 17 and rate code 3, taken for a field.
  send({2, 3, 4, 0xF7});
  EXPECT_THAT(fullFrames, ElementsAre(TimecodeAnchor{{17, 2, 3, 4, fps30}, now()}));
}

TEST_F(MTCInputWorkerTest, OtherMidiAroundTheTimecodeDisturbsNothing) {
  const std::vector<MidiBytes> others{
      {0x90, 60, 100},              // A note, then more of its running status.
      {64, 100, 67, 100},           //
      {0xF8},                       // Clock.
      {0xFE},                       // Active sensing.
      {0xB0, 7, 127, 0xE0, 0, 64},  //
      {0xF2, 0x10, 0x20},           // Song position, song select, tune request.
      {0xF3, 0x01, 0xF6, 0xFF},     //
      {0xF7},                       // The end of no message.
      {0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7},
  };
  const HostTime begin = now();
  std::size_t next = 0;
  for (int sequence = 0; sequence < 4; ++sequence) {
    for (int piece = 0; piece < kQuarterFramePieces; ++piece) {
      send(quarterFrame(kStart.advanced(2 * sequence), piece));
      world.runFor(4ms);
      send(others.at(next++ % others.size()));
      world.runFor(6ms);
    }
  }
  ASSERT_EQ(anchors.size(), 4U);
  EXPECT_EQ(anchors[0], (TimecodeAnchor{kStart, begin}));
  EXPECT_EQ(anchors[3], (TimecodeAnchor{kStart.advanced(6), begin + HostDuration{240'000'000}}));
  EXPECT_THAT(fullFrames, IsEmpty());
  EXPECT_THAT(timeouts, IsEmpty());
}

TEST_F(MTCInputWorkerTest, OtherMidiInTheSamePacketDisturbsNothing) {
  for (int piece = 0; piece < kQuarterFramePieces; ++piece) {
    MidiBytes packet{0xF8, 0x90, 60, 100};
    for (const auto byte : quarterFrame(kStart, piece)) packet.push_back(byte);
    packet.insert(packet.end(), {62, 100, 0xFE});
    send(packet);
    world.runFor(10ms);
  }
  EXPECT_EQ(anchors.size(), 1U);
}

TEST_F(MTCInputWorkerTest, QuarterFramesWithinALongDumpAreDecoded) {
  MidiBytes dump(1000, 0x55);
  dump[0] = 0xF0;
  send(dump);
  for (int piece = 0; piece < kQuarterFramePieces; ++piece) {
    send(quarterFrame(kStart, piece));
    send(MidiBytes(100, 0x2A));
    world.runFor(10ms);
  }
  send({0xF7});
  EXPECT_EQ(anchors.size(), 1U);
  EXPECT_THAT(fullFrames, IsEmpty());
  send(fullFrame(kCue));
  EXPECT_EQ(fullFrames.size(), 1U);
}

TEST_F(MTCInputWorkerTest, QuarterFramesAreNoPartOfTheMessageAroundThem) {
  const MidiBytes message = fullFrame(kCue);
  for (std::size_t i = 0; i + 1 < message.size(); ++i) {
    send({message[i]});
    send(quarterFrame(kStart, static_cast<int>(i % 8)));
  }
  send({message.back()});
  EXPECT_THAT(fullFrames, ElementsAre(TimecodeAnchor{kCue, now()}));
}

TEST_F(MTCInputWorkerTest, AFullFrameIsStampedWithItsPacket) {
  worker->receive(fullFrame(kCue), HostTime{42});
  world.runPending();
  EXPECT_THAT(fullFrames, ElementsAre(TimecodeAnchor{kCue, HostTime{42}}));
  EXPECT_EQ(worker->latestPacketReceiptHostTime(), now());
}

TEST_F(MTCInputWorkerTest, AFullFramesReceiptCountsWhenItHasBeenRead) {
  const HostTime receipt = now();
  worker->receive(fullFrame(kCue), receipt);
  world.clock().advance(3ms);
  worker->receive(MidiBytes{0xFE}, now());
  EXPECT_EQ(worker->latestPacketReceiptHostTime(), now());
  world.runPending();
  EXPECT_EQ(worker->latestPacketReceiptHostTime(), receipt);
}

TEST_F(MTCInputWorkerTest, AFullFrameMaySpanPackets) {
  const MidiBytes message = fullFrame(kCue);
  for (std::size_t cut = 0; cut <= message.size(); ++cut) {
    fullFrames.clear();
    const auto middle = message.begin() + static_cast<std::ptrdiff_t>(cut);
    worker->receive(MidiBytes(message.begin(), middle), HostTime{1});
    worker->receive(MidiBytes(middle, message.end()), HostTime{2});
    world.runPending();
    const HostTime stamp{cut == message.size() ? 1U : 2U};
    EXPECT_THAT(fullFrames, ElementsAre(TimecodeAnchor{kCue, stamp})) << cut;
  }
}

TEST_F(MTCInputWorkerTest, AFullFrameMayComeByteByByteAndLate) {
  for (const auto byte : fullFrame(kCue)) {
    send({byte});
    world.runFor(1s);
  }
  EXPECT_EQ(fullFrames.size(), 1U);
}

TEST_F(MTCInputWorkerTest, ANewMessageEndsTheOneThatWasOpen) {
  send({0xF0, 0x7F, 0x7F, 0x01, 0x01, 23, 59});
  send(fullFrame(kCue));
  EXPECT_THAT(fullFrames, ElementsAre(TimecodeAnchor{kCue, now()}));
}

TEST_F(MTCInputWorkerTest, SeveralFullFramesInOnePacketAreAllTold) {
  MidiBytes packet = fullFrame(kCue);
  for (const auto byte : fullFrame(kStart)) packet.push_back(byte);
  send(packet);
  EXPECT_THAT(fullFrames, ElementsAre(TimecodeAnchor{kCue, now()}, TimecodeAnchor{kStart, now()}));
}

TEST_F(MTCInputWorkerTest, AMessageMayBeOfAnyLength) {
  MidiBytes message = fullFrame(kCue);
  message.pop_back();
  send(message);
  for (int i = 0; i < 64; ++i) send(MidiBytes(65536, 0x11));
  EXPECT_THAT(fullFrames, IsEmpty());
  send({0xF7});
  EXPECT_THAT(fullFrames, ElementsAre(TimecodeAnchor{kCue, now()})) << "what stands behind the frames is passed over";
}

TEST_F(MTCInputWorkerTest, AFullFrameDropsAHalfBuiltSequence) {
  playPieces(kStart, 0, 3);
  send(fullFrame(kCue));
  playPieces(kStart, 4, 7);
  EXPECT_THAT(anchors, IsEmpty());
  EXPECT_THAT(world.logLines(), IsEmpty());
}

TEST_F(MTCInputWorkerTest, AFullFrameOutOfRangeLeavesTheStreamAsItIs) {
  const std::vector<Timecode> impossible{
      {24, 0, 0, 0, fps25}, {0, 60, 0, 0, fps25}, {0, 0, 60, 0, fps25}, {0, 0, 0, 25, fps25}};
  for (const Timecode& timecode : impossible) {
    anchors.clear();
    playPieces(kStart, 0, 3);
    send(fullFrame(timecode));
    send({1, 2, 3, 0xF7});  // The message is over; this is the end of none.
    playPieces(kStart, 4, 7);
    EXPECT_EQ(anchors.size(), 1U);
  }
  EXPECT_THAT(fullFrames, IsEmpty());
}

TEST_F(MTCInputWorkerTest, AResetIsSeenAtOnceAndDropsWhatIsHalfBuilt) {
  playPieces(kStart, 0, 3);
  send({0xF0, 0x7F, 0x7F, 0x01, 0x01, 1});
  worker->reset();
  EXPECT_EQ(worker->latestPacketReceiptHostTime(), HostTime{});
  world.runPending();
  send({2, 3, 4, 0xF7});
  playPieces(kStart, 4, 7);
  EXPECT_THAT(anchors, IsEmpty());
  EXPECT_THAT(fullFrames, IsEmpty());
  play(kStart);
  EXPECT_EQ(anchors.size(), 1U);
}

TEST_F(MTCInputWorkerTest, ItsQueueIsItsOwn) {
  ManualScheduler scheduler;
  const auto one = std::make_shared<MTCInputWorker>(world.clock(), scheduler, world.log(), MTCInputWorker::Events{});
  const auto other = std::make_shared<MTCInputWorker>(world.clock(), scheduler, world.log(), MTCInputWorker::Events{});
  ASSERT_EQ(scheduler.queues.size(), 2U);
  EXPECT_EQ(scheduler.queues[0]->label(), "Tallyrig.MTCDecoder");
  EXPECT_THAT(scheduler.priorities, testing::Each(QueuePriority::kUserInteractive));
}

TEST_F(MTCInputWorkerTest, PacketsAndTimeoutsOfAWorkerThatIsGoneDoNothing) {
  play(kStart);
  anchors.clear();
  for (int piece = 0; piece < kQuarterFramePieces; ++piece) {
    worker->receive(quarterFrame(kStart, piece), HostTime{static_cast<std::uint64_t>(piece) * 10'000'000});
  }
  worker->reset();
  worker.reset();
  world.runFor(1s);
  EXPECT_THAT(anchors, IsEmpty());
  EXPECT_THAT(timeouts, IsEmpty());
}

TEST_F(MTCInputWorkerTest, WithoutListenersItOnlyListens) {
  worker = std::make_shared<MTCInputWorker>(world.clock(), world.scheduler(), world.log(), MTCInputWorker::Events{});
  play(kStart);
  send(fullFrame(kCue));
  play(kStart);
  world.runFor(1s);
  EXPECT_THAT(world.logLines(), IsEmpty());
}

}  // namespace
}  // namespace tallyrig
