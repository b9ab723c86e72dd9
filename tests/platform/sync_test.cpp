// os_event_semaphore, os_critical_section and os_mutex under real threads.
// Every wait is bounded: a wait that does not return is released by a post
// at its limit, so a fault fails the test instead of hanging it.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "child_process.h"
#include "os_sync.h"

namespace {

using namespace std::chrono_literals;

constexpr auto kLimit = 30s;  // far beyond any healthy wake-up

// Runs event.wait() on its own thread; true when it returned within limit.
bool WaitReturns(os_event_semaphore& event, std::chrono::milliseconds limit = kLimit) {
  std::atomic<bool> done{false};
  std::thread waiter([&] {
    event.wait();
    done = true;
  });
  const bool returned = WaitUntil([&] { return done.load(); }, limit);
  if (!returned) event.post();
  waiter.join();
  return returned;
}

TEST(OsEventSemaphore, PostWithoutAWaiterStaysSetUntilReset) {
  os_event_semaphore event(false);
  event.post();
  EXPECT_TRUE(WaitReturns(event)) << "a post before the wait was lost";
  EXPECT_TRUE(WaitReturns(event)) << "a wait consumed the post";
  event.reset();
  // Not a timing check: a reset event must not let a wait through at all; the
  // window only bounds how long we look.
  EXPECT_FALSE(WaitReturns(event, 100ms)) << "a wait returned after reset without a post";
}

TEST(OsEventSemaphore, NewEventIsNotPosted) {
  os_event_semaphore event(false);
  EXPECT_FALSE(WaitReturns(event, 100ms));
}

TEST(OsEventSemaphore, OnePostReleasesEveryWaiter) {
  os_event_semaphore event(false);
  constexpr int kWaiters = 8;
  std::atomic<int> started{0};
  std::atomic<int> released{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < kWaiters; ++i) {
    waiters.emplace_back([&] {
      ++started;
      event.wait();
      ++released;
    });
  }
  ASSERT_TRUE(WaitUntil([&] { return started.load() == kWaiters; }, kLimit));
  EXPECT_EQ(released.load(), 0) << "a waiter passed an event never posted";
  event.post();
  EXPECT_TRUE(WaitUntil([&] { return released.load() == kWaiters; }, kLimit))
      << released.load() << " of " << kWaiters << " released";
  // Frees any waiter that a fault left behind, one post each if need be, so
  // that join returns.
  WaitUntil([&] {
    event.post();
    return released.load() == kWaiters;
  });
  for (std::thread& waiter : waiters) waiter.join();
}

// Two threads hand a turn back and forth many times with wait, reset and post,
// as the operator table does: a lost post or a reset that eats a later post
// stalls the exchange.
TEST(OsEventSemaphore, PingPongLosesNoPost) {
  os_event_semaphore ping(false);
  os_event_semaphore pong(false);
  constexpr int kRounds = 3000;
  std::atomic<bool> stop{false};
  int turn = 0;  // written by one side at a time, handed over by the events

  std::thread partner([&] {
    for (int i = 0; i < kRounds; ++i) {
      ping.wait();
      if (stop) break;
      ping.reset();
      ++turn;
      pong.post();
    }
  });
  // Releases both sides if the exchange stalls.
  std::atomic<bool> finished{false};
  std::thread watchdog([&] {
    if (!WaitUntil([&] { return finished.load(); }, 2 * kLimit)) {
      stop = true;
      ping.post();
      pong.post();
    }
  });

  int round = 0;
  for (; round < kRounds && !stop; ++round) {
    ping.post();
    pong.wait();
    pong.reset();
    if (turn != round + 1) break;
  }
  const bool stalled = stop.load();
  finished = true;
  watchdog.join();
  stop = true;  // the partner may still wait when the exchange broke off early
  ping.post();
  partner.join();
  EXPECT_FALSE(stalled) << "the exchange stalled at round " << round;
  EXPECT_EQ(round, kRounds);
  EXPECT_EQ(turn, kRounds);
}

template <typename Lock>
class MutualExclusion : public ::testing::Test {};

using LockTypes = ::testing::Types<os_critical_section, os_mutex>;
TYPED_TEST_SUITE(MutualExclusion, LockTypes);

TYPED_TEST(MutualExclusion, OneThreadInsideAtATime) {
  TypeParam lock(false);
  constexpr int kThreads = 4;
  constexpr int kRounds = 20000;
  long counter = 0;  // guarded by lock, deliberately not atomic
  std::atomic<int> inside{0};
  std::atomic<int> overlaps{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kRounds; ++i) {
        std::lock_guard<TypeParam> guard(lock);
        if (inside.fetch_add(1) != 0) ++overlaps;
        ++counter;
        inside.fetch_sub(1);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(overlaps.load(), 0);
  EXPECT_EQ(counter, long{kThreads} * kRounds);
}

}  // namespace
