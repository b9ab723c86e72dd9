// os_event_semaphore under real threads. (os_critical_section and os_mutex
// only forward to std::mutex: nothing of ours to test.)
// Every wait is bounded: a stuck waiter is released by a post at the limit.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include "child_process.h"
#include "os_sync.h"

namespace {

using namespace std::chrono_literals;

constexpr auto kLimit = 30s;  // far beyond any healthy wake-up

// Runs `threads` on their own; true when all ended within `limit`. Stragglers
// are then released by posts to `events`, or the run ends (JoinWithin).
bool AllEnd(std::vector<std::function<void()>> threads, std::vector<os_event_semaphore*> events,
            std::chrono::milliseconds limit = kLimit) {
  std::atomic<std::size_t> ended{0};
  std::vector<std::thread> running;
  for (auto& body : threads) {
    running.emplace_back([&ended, body] {
      body();
      ++ended;
    });
  }
  const auto all = [&] { return ended.load() == running.size(); };
  const bool inTime = WaitUntil(all, limit);
  JoinWithin(running, all, [&] {
    for (os_event_semaphore* event : events) event->post();
  }, "AllEnd");
  return inTime;
}

// The 100 ms windows only bound how long we look at a wait that must not return.
TEST(OsEventSemaphore, OnePostReleasesEveryWaiterAndStaysSetUntilReset) {
  os_event_semaphore event(false);
  const auto wait = [&] { event.wait(); };
  EXPECT_FALSE(AllEnd({wait}, {&event}, 100ms)) << "a new event let a wait through";
  event.reset();
  std::atomic<int> started{0};
  std::thread poster([&] {
    WaitUntil([&] { return started.load() == 8; });
    event.post();
  });
  EXPECT_TRUE(AllEnd(std::vector<std::function<void()>>(8, [&] { ++started, event.wait(); }), {&event}));
  poster.join();  // ends by itself: its wait is bounded
  EXPECT_TRUE(AllEnd({wait}, {&event})) << "a wait consumed the post";
  event.reset();
  EXPECT_FALSE(AllEnd({wait}, {&event}, 100ms)) << "a wait returned after reset";
}

// A lost post or a reset that eats a later post stalls the exchange, as it
// would stall the operator table.
TEST(OsEventSemaphore, PingPongLosesNoPost) {
  os_event_semaphore ping(false);
  os_event_semaphore pong(false);
  constexpr int kRounds = 3000;
  int turns = 0;  // handed over by the events
  const auto partner = [&] {
    for (int i = 0; i < kRounds; ++i) {
      ping.wait();
      ping.reset();
      ++turns;
      pong.post();
    }
  };
  const auto self = [&] {
    for (int i = 0; i < kRounds; ++i) {
      ping.post();
      pong.wait();
      pong.reset();
    }
  };
  EXPECT_TRUE(AllEnd({partner, self}, {&ping, &pong}, 2 * kLimit)) << "the exchange stalled";
  EXPECT_EQ(turns, kRounds);
}

}  // namespace
