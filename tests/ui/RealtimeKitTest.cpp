#include "app/RealtimeKit.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <QtTest/QTest>
#include <atomic>
#include <string>
#include <thread>

#include "platform/desktop/AsioScheduler.h"
#include "support/FakeRealtimeKit.h"
#include "support/KeptLog.h"
#include "support/NoRightToRaise.h"
#include "support/PrivateBus.h"

namespace tallyrig {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr pid_t kOne = 4711;
constexpr pid_t kOther = 4712;

std::string refusal(const char* error) {
  return std::string("RealtimeKit: higher priority refused; MTC may be unsteady when the machine is busy (") +
         "org.freedesktop.DBus.Error." + error + ")";
}

class RealtimeKitTest : public testing::Test {
 protected:
  std::function<QDBusConnection()> programsBus() {
    return [connection = bus_.connect("program")] { return connection; };
  }
  QDBusConnection brokersBus() { return bus_.connect("broker"); }

  /// Raises both threads by -10, on a thread of its own, while the broker can answer.
  void raiseBoth() {
    RealtimeKit kit(programsBus(), log_.log());
    std::atomic<bool> done = false;
    std::thread asker([&] {
      kit.raise(kOne, -10);
      kit.raise(kOther, -10);
      done = true;
    });
    EXPECT_TRUE(QTest::qWaitFor([&] { return done.load(); }, 60'000));
    asker.join();
  }

  PrivateBus bus_;
  KeptLog log_;
};

TEST_F(RealtimeKitTest, GetsEachThreadItsNiceValue) {
  const FakeRealtimeKit broker(brokersBus(), {.lowest = -15});
  raiseBoth();
  EXPECT_THAT(broker.asked(), ElementsAre(Pair(kOne, -10), Pair(kOther, -10)));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(RealtimeKitTest, AsksForNoMoreThanTheBrokerAllows) {
  const FakeRealtimeKit broker(brokersBus(), {.lowest = -4});
  raiseBoth();
  EXPECT_THAT(broker.asked(), ElementsAre(Pair(kOne, -4), Pair(kOther, -4)));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(RealtimeKitTest, ARefusalIsLoggedAndAsksForNoOtherThread) {
  const FakeRealtimeKit broker(brokersBus(), {.answer = FakeRealtimeKit::Answer::kRefusal});
  raiseBoth();
  EXPECT_THAT(broker.asked(), ElementsAre(Pair(kOne, -10)));
  EXPECT_THAT(log_.lines(), ElementsAre(refusal("AccessDenied")));
}

TEST_F(RealtimeKitTest, AnAbsentBrokerIsLoggedOnce) {
  raiseBoth();
  EXPECT_THAT(log_.lines(), ElementsAre(refusal("ServiceUnknown")));
}

TEST_F(RealtimeKitTest, ABrokerThatHangsIsLeftAlone) {
  const FakeRealtimeKit broker(brokersBus(), {.answer = FakeRealtimeKit::Answer::kNone});
  raiseBoth();
  EXPECT_THAT(broker.asked(), ElementsAre(Pair(kOne, -10)));
  EXPECT_THAT(log_.lines(), ElementsAre(refusal("NoReply")));
}

TEST_F(RealtimeKitTest, WithoutABusThereIsNoBroker) {
  bus_.end();
  raiseBoth();
  EXPECT_THAT(log_.lines(), ElementsAre(refusal("Disconnected")));
}

TEST_F(RealtimeKitTest, RaisesTheInteractiveThreadsOfAnOrdinaryUser) {
  const FakeRealtimeKit broker(brokersBus(), {});
  RealtimeKit kit(programsBus(), log_.log());
  const NoRightToRaise ordinaryUser;
  AsioScheduler scheduler([&](pid_t thread, int niceValue) { kit.raise(thread, niceValue); });
  ASSERT_TRUE(QTest::qWaitFor([&] { return broker.asked().size() == 2; }, 60'000));
  pid_t interactive = 0;
  scheduler.makeQueue("Tallyrig.Test", QueuePriority::kUserInteractive)->runSync([&] { interactive = gettid(); });
  EXPECT_THAT(broker.asked(), testing::Contains(Pair(interactive, -10)));
  EXPECT_NE(broker.asked().front().first, broker.asked().back().first);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

}  // namespace
}  // namespace tallyrig
