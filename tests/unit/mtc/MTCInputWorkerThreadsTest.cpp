// The worker between real threads: one that reads MIDI, the worker's queue, and the main thread.

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "mtc/MTCInputWorker.h"
#include "platform/desktop/AsioScheduler.h"
#include "platform/desktop/SystemClocks.h"
#include "support/MTCSignal.h"

namespace tallyrig {
namespace {

constexpr int kSequences = 2000;
constexpr Timecode kEnd{23, 0, 0, 0, MTCFrameRate::fps25};

class MTCInputWorkerThreads : public testing::Test {
 protected:
  /// A stream of `kSequences` and a full frame behind it.
  static void play(MTCInputWorker& reader) {
    HostTime stamp{1};
    Timecode timecode{0, 0, 0, 0, MTCFrameRate::fps25};
    for (int sequence = 0; sequence < kSequences; ++sequence) {
      for (int piece = 0; piece < kQuarterFramePieces; ++piece) {
        reader.receive(quarterFrame(timecode, piece), stamp);
        stamp = stamp + HostDuration{10'000'000};
      }
      timecode = timecode.advanced(2);
    }
    reader.receive(fullFrame(kEnd), stamp);
  }

  void waitForFullFrames(int count) {
    for (int seen = fullFrames; seen < count; seen = fullFrames) fullFrames.wait(seen);
  }

  SystemHostClock clock;
  SystemWallClock wallClock;
  Log log{clock, wallClock, [](std::string_view) {}};
  /// Of the worker's queue until the full frame behind the last stream has come.
  std::vector<TimecodeAnchor> anchors;
  int timeouts = 0;
  std::atomic<int> fullFrames{0};
  AsioScheduler scheduler;
  std::shared_ptr<MTCInputWorker> worker = std::make_shared<MTCInputWorker>(
      clock, scheduler, log,
      MTCInputWorker::Events{
          .onAnchor = [this](const TimecodeAnchor& anchor, double, double) { anchors.push_back(anchor); },
          .onFullFrame =
              [this](const TimecodeAnchor&) {
                ++fullFrames;
                fullFrames.notify_all();
              },
          .onTimeout = [this](HostTime, double) { ++timeouts; },
      });
};

TEST_F(MTCInputWorkerThreads, EverySequenceArrivesInOrder) {
  std::thread reader([this] { play(*worker); });
  reader.join();
  waitForFullFrames(1);
  for (std::size_t i = 1; i < anchors.size(); ++i) ASSERT_LT(anchors[i - 1].hostTime, anchors[i].hostTime);
  // A machine that stands still for a frame's time in the midst of a sequence loses that one.
  EXPECT_GE(anchors.size(), static_cast<std::size_t>(kSequences - timeouts));
}

TEST_F(MTCInputWorkerThreads, ResetsMayFallAnywhere) {
  std::atomic<bool> isPlaying{true};
  std::thread reader([&] {
    play(*worker);
    isPlaying = false;
  });
  HostTime newest;
  while (isPlaying) {
    const HostTime receipt = worker->latestPacketReceiptHostTime();
    EXPECT_TRUE(receipt == HostTime{} || receipt >= newest);
    if (receipt != HostTime{}) newest = receipt;
    worker->reset();
    std::this_thread::yield();
  }
  reader.join();
  worker->receive(fullFrame(kEnd), clock.now());
  waitForFullFrames(2);
  for (std::size_t i = 1; i < anchors.size(); ++i) ASSERT_LT(anchors[i - 1].hostTime, anchors[i].hostTime);
}

TEST_F(MTCInputWorkerThreads, ItMayEndWhileItsQueueIsFull) {
  std::thread reader([held = worker] { play(*held); });
  worker.reset();
  reader.join();
}

}  // namespace
}  // namespace tallyrig
