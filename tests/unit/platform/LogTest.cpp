#include "platform/Log.h"

#include <algorithm>
#include <thread>

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

class SetHostClock final : public HostClock {
 public:
  HostTime now() const noexcept override { return time; }
  std::uint64_t nanosFromTicks(HostDuration distance) const noexcept override { return distance.ticks * 125 / 3; }
  HostDuration ticksFromNanos(std::uint64_t nanos) const noexcept override { return {nanos * 3 / 125}; }

  HostTime time{1'000'000};
};

class SetWallClock final : public WallClock {
 public:
  std::chrono::system_clock::time_point now() const override { return time; }
  std::chrono::seconds utcOffset(std::chrono::system_clock::time_point) const override { return offset; }

  std::chrono::system_clock::time_point time = std::chrono::sys_days(2026y / 11 / 21) + 9h + 5min + 7s + 42ms;
  std::chrono::seconds offset{0};
};

class LogTest : public testing::Test {
 protected:
  SetHostClock clock_;
  SetWallClock wallClock_;
  std::vector<std::string> lines_;
  Log log_{clock_, wallClock_, [this](std::string_view line) { lines_.emplace_back(line); }};
};

TEST_F(LogTest, APlainLineIsTheTextAsItStands) {
  log_.line("LTCReceiver: audio callbacks resumed");
  log_.line("%s 100%");
  log_.line("");
  EXPECT_EQ(lines_, (std::vector<std::string>{"LTCReceiver: audio callbacks resumed", "%s 100%", ""}));
}

TEST_F(LogTest, ATimedLineBeginsWithTheTimeOfDayAndTheTimeSinceTheFirst) {
  log_.timed("LTCReceiver: first");
  clock_.time = clock_.time + HostDuration{29'629};
  wallClock_.time += 1ms;
  log_.timed("LTCReceiver: second");
  EXPECT_EQ(lines_, (std::vector<std::string>{"[09:05:07.042 +0.000ms] LTCReceiver: first",
                                              "[09:05:07.043 +1.235ms] LTCReceiver: second"}));
}

TEST_F(LogTest, MillisecondsKeepThreeDecimalsHoweverManyTheyAre) {
  log_.timed("a");
  clock_.time = clock_.time + HostDuration{24'000'000ULL * 86'400 + 24};
  log_.timed("b");
  EXPECT_EQ(lines_.back(), "[09:05:07.042 +86400000.001ms] b");
}

TEST_F(LogTest, PlainLinesDoNotStartTheTime) {
  log_.line("LTCReceiver: plain");
  clock_.time = clock_.time + HostDuration{24'000};
  log_.timed("x");
  EXPECT_EQ(lines_.back(), "[09:05:07.042 +0.000ms] x");
}

TEST_F(LogTest, AClockBeforeTheFirstLineCountsAsZero) {
  log_.timed("a");
  clock_.time = HostTime{5};
  log_.timed("b");
  EXPECT_EQ(lines_.back(), "[09:05:07.042 +0.000ms] b");
}

TEST_F(LogTest, TheTimeOfDayIsTheUsersAcrossMidnight) {
  wallClock_.time = std::chrono::sys_days(2026y / 11 / 21) + 23h + 59min + 59s + 999'999us;
  log_.timed("a");
  wallClock_.offset = 5h + 30min;
  log_.timed("b");
  wallClock_.offset = -12h;
  log_.timed("c");
  EXPECT_EQ(lines_, (std::vector<std::string>{"[23:59:59.999 +0.000ms] a", "[05:29:59.999 +0.000ms] b",
                                              "[11:59:59.999 +0.000ms] c"}));
}

TEST_F(LogTest, AnInstantBefore1970HasATimeOfDay) {
  wallClock_.time = std::chrono::sys_days(1969y / 12 / 31) + 22h + 1ms;
  log_.timed("a");
  wallClock_.time = std::chrono::sys_days(1970y / 1 / 1) + 1h;
  wallClock_.offset = -5h;
  log_.timed("b");
  EXPECT_EQ(lines_, (std::vector<std::string>{"[22:00:00.001 +0.000ms] a", "[20:00:00.000 +0.000ms] b"}));
}

/// The sink and the log's origin are touched without a lock of their own here: the thread checker sees any race.
TEST_F(LogTest, LinesOfManyThreadsStayWholeAndNoneIsLost) {
  constexpr int kThreads = 4;
  constexpr int kLines = 500;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([this] {
      for (int n = 0; n < kLines; ++n) {
        log_.timed("LTCReceiver: timed");
        log_.line("LTCReceiver: plain");
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(std::count(lines_.begin(), lines_.end(), "[09:05:07.042 +0.000ms] LTCReceiver: timed"), kThreads * kLines);
  EXPECT_EQ(std::count(lines_.begin(), lines_.end(), "LTCReceiver: plain"), kThreads * kLines);
}

TEST_F(LogTest, WithoutASinkTheLineGoesToStandardOutput) {
  testing::internal::CaptureStdout();
  Log(clock_, wallClock_).line("ReaderStore: to standard output");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "ReaderStore: to standard output\n");
}

TEST(Formatted, FollowsThePrintfFormat) {
  EXPECT_EQ(formatted("%02d:%02d:%02d:%02d", 1, 2, 3, 4), "01:02:03:04");
  EXPECT_EQ(formatted("%s, id %u", "Interface", 40U), "Interface, id 40");
  EXPECT_EQ(formatted("%.1f", 80.04), "80.0");
  EXPECT_EQ(formatted("%s", ""), "");
  EXPECT_EQ(formatted("%s", std::string(5000, 'x').c_str()), std::string(5000, 'x'));
}

}  // namespace
}  // namespace tallyrig
