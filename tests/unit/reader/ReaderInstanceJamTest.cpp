#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "reader/ReaderInstance.h"
#include "unit/reader/ReaderInstanceFixture.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::Pair;
using enum JamSyncState;

class ReaderInstanceJamTest : public ReaderInstanceFixture {
 protected:
  /// A card whose states are recorded, each with the count of input anchors that had come by then.
  std::shared_ptr<ReaderInstance> watchedCard(const ReaderSnapshot& settings) {
    auto card = makeCard(settings);
    QObject::connect(card.get(), &ReaderInstance::timecodeChanged, [this, card = card.get()] {
      if (card->liveAnchor() != lastLive) ++anchors;
      lastLive = card->liveAnchor();
    });
    QObject::connect(card.get(), &ReaderInstance::jamChanged,
                     [this, card = card.get()] { states.emplace_back(card->jamSyncState(), anchors); });
    return card;
  }

  std::shared_ptr<ReaderInstance> lockedCard() {
    auto card = watchedCard(throughDesk());
    card->startMonitoring();
    world.runFor(1s);
    card->enableJam();
    world.runFor(1s);
    EXPECT_EQ(card->jamSyncState(), locked);
    return card;
  }

  std::vector<std::pair<JamSyncState, int>> states;
  int anchors = 0;
  std::optional<TimecodeAnchor> lastLive;
};

TEST_F(ReaderInstanceJamTest, WithoutInputItWaitsAndLocksAtTheThirdAnchor) {
  gain = 0;
  auto settings = throughDesk();
  settings.outputProtocol = OutputProtocol::disabled;
  const auto card = watchedCard(settings);
  card->startMonitoring();
  world.runFor(500ms);
  card->enableJam();
  EXPECT_TRUE(card->isJammed());
  EXPECT_EQ(card->jamSyncStateText(), "WAITING");
  world.runFor(1s);
  gain = 1;
  world.runFor(1s);
  EXPECT_THAT(states, ElementsAre(Pair(waiting, 0), Pair(acquiring, 1), Pair(locked, 3)));
}

TEST_F(ReaderInstanceJamTest, WhileReceivingTheAnchorInHandCounts) {
  const auto card = watchedCard(onDesk());
  card->startMonitoring();
  world.runFor(1s);
  const int before = anchors;
  card->enableJam();
  world.runFor(1s);
  EXPECT_THAT(states, ElementsAre(Pair(acquiring, before), Pair(locked, before + 2)));
}

TEST_F(ReaderInstanceJamTest, TheAnchorInHandReceivesTheOffsetASecondTime) {
  auto settings = onDesk();
  settings.ltcFrameOffset = 5;
  const auto card = makeCard(settings);
  card->startMonitoring();
  world.runFor(1s);
  const auto before = card->liveAnchor();
  card->enableJam();
  EXPECT_EQ(card->liveAnchor()->timecode, before->timecode.advanced(5));
  EXPECT_EQ(card->liveAnchor()->hostTime, before->hostTime);
}

TEST_F(ReaderInstanceJamTest, AChangedOffsetActsOnTheNextCandidateOnly) {
  const auto card = lockedCard();
  const auto before = card->liveAnchor();
  card->setLtcFrameOffset(50);
  EXPECT_EQ(card->liveAnchor(), before);
  EXPECT_EQ(card->settings().ltcFrameOffset, 50);
}

TEST_F(ReaderInstanceJamTest, SwitchingOnTwiceChangesNothing) {
  gain = 0;
  const auto card = watchedCard(throughDesk());
  card->startMonitoring();
  card->enableJam();
  card->enableJam();
  EXPECT_THAT(states, ElementsAre(Pair(waiting, 0)));
}

TEST_F(ReaderInstanceJamTest, TheLockRestartsTheOutputFromTheInput) {
  const auto card = watchedCard(throughDesk());
  card->startMonitoring();
  world.runFor(1s);
  ASSERT_EQ(world.logCount("started LTC output"), 1U);
  card->enableJam();
  world.runFor(1s);
  EXPECT_EQ(world.logCount("started LTC output"), 2U);
  EXPECT_EQ(wall.reservations->owners().size(), 1U);
}

TEST_F(ReaderInstanceJamTest, TheOutputRunsOnWithoutInputAndTheDisplayFollowsIt) {
  const auto card = lockedCard();
  gain = 0;
  world.runFor(1s);
  EXPECT_EQ(card->jamSyncStateText(), "FREEWHEELING");
  EXPECT_TRUE(card->isJammed());
  EXPECT_FALSE(card->isReceiving());
  const auto before = card->currentTimecode();
  world.runFor(10s);
  const auto moved = before->signedFrameDistance(*card->currentTimecode());
  ASSERT_TRUE(moved);
  EXPECT_NEAR(static_cast<double>(*moved), 250, 1);
  EXPECT_EQ(card->displayedTimecode(world.clock().now()), card->currentTimecode()) << "no extrapolation under jam";
  EXPECT_FALSE(world.hasLogged("input loss"));
}

TEST_F(ReaderInstanceJamTest, TheReturnOfTheInputLocksAfterThreeAnchors) {
  const auto card = lockedCard();
  gain = 0;
  world.runFor(1s);
  ASSERT_EQ(card->jamSyncState(), freewheeling);
  states.clear();
  // The output's own anchors are published too; they do not count.
  gain = 1;
  ASSERT_TRUE(world.runUntil([&] { return card->jamSyncState() == reacquiring; }, 1s));
  EXPECT_EQ(world.logCount("started LTC output"), 2U) << "untouched so far";
  ASSERT_TRUE(world.runUntil([&] { return card->jamSyncState() == locked; }, 1s));
  EXPECT_EQ(world.logCount("started LTC output"), 3U);
}

TEST_F(ReaderInstanceJamTest, LossWhileReacquiringFreewheelsAgainWithTheSameOutput) {
  const auto card = lockedCard();
  gain = 0;
  world.runFor(1s);
  gain = 1;
  ASSERT_TRUE(world.runUntil([&] { return card->jamSyncState() == reacquiring; }, 1s));
  gain = 0;
  // What the device has buffered may still bring an anchor or two, but not the three that a lock takes.
  world.runFor(1s);
  EXPECT_EQ(card->jamSyncState(), freewheeling);
  EXPECT_EQ(world.logCount("started LTC output"), 2U);
}

TEST_F(ReaderInstanceJamTest, LossWhileAcquiringStaysThereAndKeepsTheCount) {
  const auto card = watchedCard(onDesk());
  card->startMonitoring();
  card->enableJam();
  ASSERT_TRUE(world.runUntil([&] { return anchors == 2; }, 1s));
  gain = 0;
  world.runFor(2s);
  EXPECT_FALSE(card->isReceiving());
  EXPECT_EQ(card->jamSyncState(), acquiring);
  ASSERT_EQ(anchors, 2);
  gain = 1;
  world.runFor(1s);
  EXPECT_THAT(states, ElementsAre(Pair(waiting, 0), Pair(acquiring, 1), Pair(locked, 3)));
}

TEST_F(ReaderInstanceJamTest, SwitchingOffStopsTheOutputAtOnceAndHoldsWhatItShowed) {
  const auto card = lockedCard();
  gain = 0;
  world.runFor(3s);
  const auto shown = card->currentTimecode();
  card->disableJam();
  EXPECT_EQ(card->jamSyncStateText(), "OFF");
  EXPECT_FALSE(card->isJammed());
  EXPECT_EQ(card->currentTimecode(), shown);
  EXPECT_TRUE(wall.reservations->owners().empty());
  world.runFor(1s);
  EXPECT_EQ(card->displayedTimecode(world.clock().now()), shown);
  EXPECT_FALSE(world.hasLogged("requested LTC frame-boundary stop"));
}

TEST_F(ReaderInstanceJamTest, SwitchingOffWithInputGoesBackToItAndStartsTheOutputAnew) {
  const auto card = lockedCard();
  card->disableJam();
  ASSERT_TRUE(card->liveAnchor());
  EXPECT_EQ(card->currentTimecode(), card->liveAnchor()->extrapolated(world.clock().now(), world.clock()));
  EXPECT_TRUE(wall.reservations->owners().empty());
  world.runFor(100ms);
  EXPECT_EQ(world.logCount("started LTC output"), 3U);
  card->disableJam();
  world.runFor(100ms);
  EXPECT_EQ(world.logCount("started LTC output"), 3U) << "a second time changes nothing";
}

TEST_F(ReaderInstanceJamTest, ALockWithoutADeviceWarnsAndStillCounts) {
  auto settings = throughDesk();
  settings.selectedOutputDeviceID.reset();
  settings.selectedOutputDeviceName.reset();
  const auto card = makeCard(settings);
  card->startMonitoring();
  card->enableJam();
  world.runFor(1s);
  EXPECT_EQ(card->jamSyncState(), locked);
  EXPECT_EQ(card->sourceAvailabilityWarning(), "No LTC output device selected");
}

TEST_F(ReaderInstanceJamTest, WithoutAProtocolTheDisplayFreezesAtTheLock) {
  const auto card = watchedCard(onDesk());
  card->startMonitoring();
  world.runFor(1s);
  card->enableJam();
  ASSERT_TRUE(world.runUntil([&] { return card->jamSyncState() == locked; }, 1s));
  const auto frozen = card->currentTimecode();
  world.runFor(5s);
  EXPECT_EQ(card->displayedTimecode(world.clock().now()), frozen);
  EXPECT_EQ(card->jamSyncState(), locked);
}

TEST_F(ReaderInstanceJamTest, AJumpOfTheInputLeavesALockedOutputRunningFree) {
  const auto card = lockedCard();
  auto other = std::make_unique<LTCSignal>(MTCFrameRate::fps25, at25(20, 0, 0, 0), kRate);
  signal = std::move(other);
  world.runFor(2s);
  EXPECT_EQ(card->jamSyncState(), locked);
  EXPECT_EQ(card->currentTimecode()->hours, 10) << "the display follows the output";
  EXPECT_EQ(world.logCount("started LTC output"), 2U);
}

TEST_F(ReaderInstanceJamTest, StopOfMonitoringSwitchesItOff) {
  const auto card = lockedCard();
  card->stopMonitoring();
  EXPECT_FALSE(card->isJammed());
  EXPECT_EQ(card->jamSyncState(), off);
  EXPECT_TRUE(wall.reservations->owners().empty());
}

}  // namespace
}  // namespace tallyrig
