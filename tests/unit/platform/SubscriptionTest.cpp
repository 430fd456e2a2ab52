#include "platform/Subscription.h"

namespace tallyrig {
namespace {

class SubscriptionTest : public testing::Test {
 protected:
  Subscription make() {
    return Subscription([this] { ++cancelled_; });
  }
  int cancelled_ = 0;
};

TEST_F(SubscriptionTest, CancelsOnceAtTheEndOfItsLife) {
  {
    const Subscription subscription = make();
    EXPECT_EQ(cancelled_, 0);
  }
  EXPECT_EQ(cancelled_, 1);
}

TEST_F(SubscriptionTest, ResetCancelsAtOnceAndOnlyOnce) {
  Subscription subscription = make();
  subscription.reset();
  EXPECT_EQ(cancelled_, 1);
  subscription.reset();
  EXPECT_EQ(cancelled_, 1);
}

TEST_F(SubscriptionTest, MovesWithoutCancelling) {
  Subscription first = make();
  Subscription second = std::move(first);
  EXPECT_EQ(cancelled_, 0);
  first.reset();  // NOLINT(bugprone-use-after-move): a moved-from subscription is empty
  EXPECT_EQ(cancelled_, 0);
  second.reset();
  EXPECT_EQ(cancelled_, 1);
}

TEST_F(SubscriptionTest, AssignmentCancelsWhatItReplaces) {
  int other = 0;
  Subscription subscription([&] { ++other; });
  subscription = make();
  EXPECT_EQ(other, 1);
  EXPECT_EQ(cancelled_, 0);
}

TEST_F(SubscriptionTest, AssignmentToItselfKeepsIt) {
  Subscription subscription = make();
  Subscription& same = subscription;
  subscription = std::move(same);
  EXPECT_EQ(cancelled_, 0);
  subscription.reset();
  EXPECT_EQ(cancelled_, 1);
}

TEST_F(SubscriptionTest, AnEmptyOneDoesNothing) {
  Subscription subscription;
  subscription.reset();
  EXPECT_EQ(cancelled_, 0);
}

TEST_F(SubscriptionTest, MayBeResetByItsOwnCancellation) {
  Subscription subscription;
  int runs = 0;
  subscription = Subscription([&] {
    ++runs;
    subscription.reset();
  });
  subscription.reset();
  EXPECT_EQ(runs, 1);
}

}  // namespace
}  // namespace tallyrig
