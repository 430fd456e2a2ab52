#include "support/RealtimeGuard.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <shared_mutex>
#include <thread>

#include "platform/RealtimeScope.h"

namespace tallyrig {
namespace {

/// Keeps the compiler from leaving out what the test is about.
void* use(void* memory) {
  asm volatile("" : "+r"(memory) : : "memory");
  return memory;
}

class RealtimeGuardDeathTest : public testing::Test {
 protected:
  RealtimeGuardDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

#define EXPECT_GUARDED(statement, line) \
  EXPECT_DEATH(                         \
      {                                 \
        const RealtimeScope scope;      \
        statement;                      \
      },                                \
      "RealtimeGuard: a real-time callback " line)

TEST_F(RealtimeGuardDeathTest, AllocatingEndsTheProgram) {
  EXPECT_GUARDED(use(std::malloc(64)), "allocated 64 bytes");
  EXPECT_GUARDED(use(std::calloc(4, 8)), "allocated 32 bytes");
  EXPECT_GUARDED(use(std::aligned_alloc(64, 128)), "allocated 128 bytes");
  EXPECT_GUARDED(use(new int), "allocated 4 bytes");
  EXPECT_GUARDED(use(new double[100]), "allocated 800 bytes");
  struct alignas(64) Line {
    char bytes[64];
  };
  EXPECT_GUARDED(use(new Line), "allocated 64 bytes");
  EXPECT_GUARDED(use(new Line[2]), "allocated 128 bytes");
  void* memory = nullptr;
  EXPECT_GUARDED(use(posix_memalign(&memory, 64, 256) == 0 ? memory : nullptr), "allocated 256 bytes");
  void* small = std::malloc(8);
  EXPECT_GUARDED(use(std::realloc(small, 4096)), "(allocated|freed)");
  std::free(small);
}

TEST_F(RealtimeGuardDeathTest, FreeingMemoryEndsTheProgram) {
  void* memory = std::malloc(64);
  EXPECT_GUARDED(std::free(use(memory)), "freed memory");
  std::free(memory);
  const auto owned = std::make_unique<int>(1);
  EXPECT_GUARDED(delete static_cast<int*>(use(owned.get())), "freed memory");
}

TEST_F(RealtimeGuardDeathTest, ALibraryThatAllocatesIsSeenToo) {
  std::vector<float> samples;
  EXPECT_GUARDED(samples.push_back(1), "allocated");
  std::string text(100, 'x');
  EXPECT_GUARDED(use(text.append(1000, 'y').data()), "allocated");
}

TEST_F(RealtimeGuardDeathTest, AMutexEndsTheProgramEvenIfItIsFree) {
  std::mutex mutex;
  EXPECT_GUARDED(mutex.lock(), "reached pthread_mutex_lock");
  EXPECT_GUARDED(if (mutex.try_lock()) mutex.unlock(), "reached pthread_mutex_trylock");
  std::timed_mutex timed;
  EXPECT_GUARDED(if (timed.try_lock_for(std::chrono::milliseconds(1))) timed.unlock(),
                 "reached pthread_mutex_clocklock");
  EXPECT_DEATH(
      {
        mutex.lock();
        const RealtimeScope scope;
        mutex.unlock();
      },
      "reached pthread_mutex_unlock");
}

TEST_F(RealtimeGuardDeathTest, AReadWriteLockEndsTheProgram) {
  std::shared_mutex lock;
  EXPECT_GUARDED(lock.lock(), "reached pthread_rwlock_wrlock");
  EXPECT_GUARDED(lock.lock_shared(), "reached pthread_rwlock_rdlock");
  EXPECT_GUARDED(if (lock.try_lock_shared()) lock.unlock_shared(), "reached pthread_rwlock_tryrdlock");
}

TEST_F(RealtimeGuardDeathTest, AConditionEndsTheProgram) {
  std::condition_variable condition;
  pthread_cond_t plain = PTHREAD_COND_INITIALIZER;
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  EXPECT_GUARDED(pthread_cond_signal(&plain), "reached pthread_cond_signal");
  EXPECT_GUARDED(pthread_cond_wait(&plain, &mutex), "reached pthread_cond_wait");
  EXPECT_GUARDED(condition.notify_all(), "reached pthread_cond_broadcast");
}

TEST_F(RealtimeGuardDeathTest, ASystemCallEndsTheProgram) {
  { const RealtimeScope first; }
  if (!guard::seesSystemCalls()) GTEST_SKIP() << "this kernel does not dispatch system calls to user space";
  EXPECT_GUARDED((void)!::write(STDERR_FILENO, "x", 1), "made system call 1 \\(write\\)");
  EXPECT_GUARDED(syscall(SYS_gettid), "made system call [0-9]+ \\(gettid\\)");
  EXPECT_GUARDED(::usleep(1), "made system call [0-9]+ \\(clock_nanosleep\\)");
  EXPECT_GUARDED(std::this_thread::yield(), "made system call [0-9]+ \\(sched_yield\\)");
  int word = 0;
  EXPECT_GUARDED(syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, 1, nullptr, nullptr, 0),
                 "made system call [0-9]+ \\(futex\\)");
}

TEST_F(RealtimeGuardDeathTest, WaitingForAnAtomicEndsTheProgram) {
  { const RealtimeScope first; }
  if (!guard::seesSystemCalls()) GTEST_SKIP() << "this kernel does not dispatch system calls to user space";
  const std::atomic<int> value{0};
  EXPECT_GUARDED(value.wait(0), "made system call");
}

TEST_F(RealtimeGuardDeathTest, AnInnerScopeDoesNotLiftTheOuter) {
  EXPECT_DEATH(
      {
        const RealtimeScope outer;
        { const RealtimeScope inner; }
        use(std::malloc(1));
      },
      "RealtimeGuard");
}

TEST_F(RealtimeGuardDeathTest, EveryThreadIsWatched) {
  EXPECT_DEATH(std::thread([] {
                 const RealtimeScope scope;
                 use(std::malloc(1));
               }).join(),
               "allocated 1 bytes");
  { const RealtimeScope first; }
  if (!guard::seesSystemCalls()) GTEST_SKIP() << "this kernel does not dispatch system calls to user space";
  EXPECT_DEATH(std::thread([] {
                 const RealtimeScope scope;
                 ::write(STDERR_FILENO, "x", 1);
               }).join(),
               "made system call 1 ");
}

TEST_F(RealtimeGuardDeathTest, TheChildOfAForkIsWatchedToo) {
  { const RealtimeScope first; }
  if (!guard::seesSystemCalls()) GTEST_SKIP() << "this kernel does not dispatch system calls to user space";
  GTEST_FLAG_SET(death_test_style, "fast");
  EXPECT_GUARDED((void)!::write(STDERR_FILENO, "x", 1), "made system call 1 ");
}

TEST(RealtimeGuard, IsInsideExactlyAsLongAsAScopeIsOpen) {
  EXPECT_FALSE(guard::isInside());
  bool inside = false;
  {
    const RealtimeScope outer;
    inside = guard::isInside();
    {
      const RealtimeScope inner;
      inside = inside && guard::isInside();
    }
    inside = inside && guard::isInside();
  }
  EXPECT_TRUE(inside);
  EXPECT_FALSE(guard::isInside());
  std::free(use(std::malloc(64)));
  EXPECT_EQ(::getppid(), ::getppid());
}

/// What a callback may do: arithmetic, memory that is there, atomics shared with another thread, the clock.
TEST(RealtimeGuard, ACleanCallbackPasses) {
  constexpr std::uint32_t kCycles = 2000;
  std::vector<float> samples(4096);
  std::atomic<std::uint32_t> written{0};
  std::atomic<std::uint32_t> read{0};
  std::thread reader([&] {
    while (read < kCycles) {
      if (written > read) ++read;
      const std::vector<float> copy(samples.size());  // another thread allocates at will
      std::this_thread::yield();
    }
  });
  std::uint64_t last = 0;
  bool monotonic = true;
  std::thread callback([&] {
    for (std::uint32_t cycle = 0; cycle < kCycles; ++cycle) {
      const RealtimeScope scope;
      timespec time{};
      clock_gettime(CLOCK_MONOTONIC, &time);
      const std::uint64_t now = std::uint64_t(time.tv_sec) * 1'000'000'000U + std::uint64_t(time.tv_nsec);
      monotonic = monotonic && now >= last;
      last = now;
      for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<float>(i) * 0.5F;
      std::memset(samples.data(), 0, 1024);
      written.fetch_add(1, std::memory_order_release);
      std::free(use(nullptr));
    }
  });
  callback.join();
  reader.join();
  EXPECT_EQ(read, kCycles);
  EXPECT_TRUE(monotonic);
}

}  // namespace
}  // namespace tallyrig
