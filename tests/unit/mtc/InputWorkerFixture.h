#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <vector>

#include "mtc/MTCInputWorker.h"
#include "platform/simulated/SimulatedWorld.h"
#include "support/MTCSignal.h"
#include "support/ManualScheduler.h"

namespace tallyrig {

/// A worker in a simulated world, and what it has told.
class InputWorkerFixture : public testing::Test {
 protected:
  struct ToldTimeout {
    HostTime receipt;
    double ageMilliseconds;

    bool operator==(const ToldTimeout&) const = default;
  };

  explicit InputWorkerFixture(TickRatio tick = {}) : world({.tick = tick}) {}

  HostTime now() const { return world.clock().now(); }

  /// A packet stamped with this instant, received and worked through now.
  void send(const MidiBytes& bytes) {
    worker->receive(bytes, now());
    world.runPending();
  }

  /// Each piece in a packet of its own at its time. The clock ends one period after the last, or, where `stops`, at it.
  void playPieces(const Timecode& timecode, int first, int last, bool stops = false) {
    for (int piece = first; piece <= last; ++piece) {
      send(quarterFrame(timecode, piece));
      if (piece < last || !stops) world.runFor(std::chrono::nanoseconds(quarterFrameNanos(timecode.frameRate)));
    }
  }
  void play(const Timecode& timecode, bool stops = false) { playPieces(timecode, 0, 7, stops); }

  mutable SimulatedWorld world;
  std::vector<TimecodeAnchor> anchors;
  std::vector<TimecodeAnchor> fullFrames;
  std::vector<ToldTimeout> timeouts;
  std::shared_ptr<MTCInputWorker> worker = std::make_shared<MTCInputWorker>(
      world.clock(), world.scheduler(), world.log(),
      MTCInputWorker::Events{
          .onAnchor = [this](const TimecodeAnchor& anchor, double, double) { anchors.push_back(anchor); },
          .onFullFrame = [this](const TimecodeAnchor& anchor) { fullFrames.push_back(anchor); },
          .onTimeout =
              [this](HostTime receipt, double age) {
                timeouts.push_back({receipt, age});
              },
      });
};

}  // namespace tallyrig
