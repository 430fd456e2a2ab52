#include "platform/desktop/RunTask.h"

namespace tallyrig {
namespace {

TEST(RunTask, RunsTheTaskOnce) {
  int runs = 0;
  runTask("Tallyrig.Test", [&] { ++runs; });
  EXPECT_EQ(runs, 1);
}

TEST(RunTaskDeathTest, SomethingThrownThatIsNoExceptionIsNamedToo) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(runTask("Tallyrig.Test", [] { throw 7; }), "SerialQueue: a task on Tallyrig.Test threw");
}

}  // namespace
}  // namespace tallyrig
