#include "platform/desktop/QuitDeadline.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <future>
#include <optional>

#include "Await.h"
#include "platform/desktop/AsioScheduler.h"
#include "platform/desktop/LocalUserFiles.h"
#include "platform/desktop/SystemClocks.h"
#include "support/FileFaults.h"
#include "support/TemporaryFolder.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using test::EventCount;
using testing::ExitedWithCode;

/// The log goes where the death tests look.
class QuitDeadlineTest : public testing::Test {
 protected:
  QuitDeadlineTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  SystemHostClock clock_;
  SystemWallClock wallClock_;
  Log log_{clock_, wallClock_,
           [](std::string_view line) { std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data()); }};
};

using QuitDeadlineDeathTest = QuitDeadlineTest;

TEST_F(QuitDeadlineDeathTest, AReadThatIsNeverAnsweredHoldsTheEndUpNoLonger) {
  EXPECT_EXIT(
      {
        LocalUserFiles files;
        std::unique_ptr<ByteSource> clip;
        {
          const TemporaryFolder folder;
          std::ofstream(folder / "clip.mov") << "a movie";
          if (files.openForReading(folder / "clip.mov", clip)) std::_Exit(2);
        }
        QuitDeadline deadline(10ms, log_);
        EventCount hanging;
        std::optional<AsioScheduler> scheduler(std::in_place);
        scheduler->makeQueue("decoder", QueuePriority::kUserInitiated)->post([&] {
          test::FileFaults faults;
          faults.onAny = [&](std::string_view, int) {
            hanging.add();
            std::promise<void>().get_future().wait_for(std::chrono::hours(1));
            return 0;
          };
          std::array<std::uint8_t, 3> bytes{};
          clip->read(0, bytes);
        });
        if (!hanging.reaches(1)) std::_Exit(3);
        deadline.begin();
        scheduler.reset();
        std::_Exit(4);
      },
      ExitedWithCode(0), "^QuitDeadline: ending without waiting for a file that does not answer\n$");
}

TEST_F(QuitDeadlineDeathTest, WhatIsHeldIsNeverCutShort) {
  EXPECT_EXIT(
      {
        QuitDeadline deadline(1ms, log_);
        std::promise<void> never;
        const auto neverComing = never.get_future();
        {
          const QuitDeadline::Hold one(deadline);
          deadline.begin();
          const std::optional<QuitDeadline::Hold> other(std::in_place, deadline);
          neverComing.wait_for(100ms);
          std::fprintf(stderr, "whole, then ");
        }
        neverComing.wait();
      },
      ExitedWithCode(0), "^whole, then QuitDeadline: ");
}

TEST_F(QuitDeadlineDeathTest, AnEndInTimeIsAnOrdinaryOne) {
  EXPECT_EXIT(
      {
        {
          QuitDeadline deadline(1h, log_);
          const QuitDeadline::Hold held(deadline);
          deadline.begin();
        }
        std::_Exit(5);
      },
      ExitedWithCode(5), "^$");
}

TEST_F(QuitDeadlineDeathTest, NothingEndsBeforeTheProgramIsToEnd) {
  EXPECT_EXIT(
      {
        QuitDeadline deadline(1ms, log_);
        { const QuitDeadline::Hold held(deadline); }
        std::promise<void>().get_future().wait_for(50ms);
        std::_Exit(6);
      },
      ExitedWithCode(6), "^$");
}

}  // namespace
}  // namespace tallyrig
