// What the platform promises under real threads and processes: events that
// lose no post, one version list for every loading thread, and RandomNumber
// texts, which name new documents, never drawn twice: not in one process,
// its threads, processes started at once, or workers forked after use.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "bounded_wait.h"
#include "child_process.h"
#include "fnx_versions.h"
#include "os_sync.h"
#include "os_text.h"
#include "temp_dir.h"

#ifndef _WIN32
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

using namespace std::chrono_literals;

// Runs `bodies` on threads; true when all ended within `limit`. Stragglers are
// then released by posts to `events`, or the run ends (JoinWithin).
bool AllEnd(const std::vector<std::function<void()>>& bodies, std::vector<os_event_semaphore*> events,
            std::chrono::milliseconds limit = 30s) {
  std::atomic<std::size_t> ended{0};
  std::vector<std::thread> threads;
  for (const auto& body : bodies) {
    threads.emplace_back([&ended, body] {
      body();
      ++ended;
    });
  }
  const auto all = [&] { return ended.load() == bodies.size(); };
  const bool inTime = WaitUntil(all, limit);
  JoinWithin(threads, all, [&] {
    for (os_event_semaphore* event : events) event->post();
  }, "AllEnd");
  return inTime;
}

// The 100 ms windows only bound how long we look at a wait that must not
// return. A post lost between threads stalls the operator table's askers,
// which the operator suite runs eight at once.
TEST(OsEventSemaphore, OnePostReleasesEveryWaiterAndStaysUntilReset) {
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

// Libraries load on whatever thread the host uses: every registration
// reaches the one process list, duplicates too, each thread's in its order.
TEST(FnxVrVersions, RegistrationsFromManyThreadsAllArriveInOrder) {
  std::vector<std::function<void()>> loaders;
  for (int t = 0; t < 4; ++t) {
    loaders.emplace_back([t] {
      for (int i = 0; i < 250; ++i) FnxVr_AutoRegister("test_lib" + std::to_string(t), std::to_string(i % 2));
    });
  }
  EXPECT_TRUE(AllEnd(loaders, {}));
  std::vector<int> next(4, 0);
  for (const auto& [name, version] : FnxVr_Versions::Process().Entries()) {
    if (name.rfind("test_lib", 0) != 0) continue;
    const int t = name.back() - '0';
    EXPECT_EQ(version, std::to_string(next[t]++ % 2)) << name;
  }
  EXPECT_EQ(next, std::vector<int>(4, 250));
}

std::vector<std::string> Lines(const std::string& path) {
  std::istringstream lines(ReadFile(path));
  std::vector<std::string> all;
  for (std::string line; std::getline(lines, line);) all.push_back(line);
  return all;
}

TEST(RandomNumber, UniqueAcrossThreadsAndProcesses) {
  TempDir dir;
  constexpr int kCalls = 40000;
  constexpr int kThreads = 3;
  const std::vector<std::string> outputs{dir.Join("first"), dir.Join("second")};
  std::vector<ChildProcess> children;
  for (const std::string& out : outputs) {
    children.emplace_back(std::vector<std::string>{"random", std::to_string(kCalls), out});
  }
  std::vector<std::vector<std::string>> drawn(kThreads);
  std::vector<std::function<void()>> drawers;
  for (auto& numbers : drawn) {
    drawers.emplace_back([&numbers] {
      for (int i = 0; i < kCalls; ++i) numbers.push_back(RandomNumber());
    });
  }
  EXPECT_TRUE(AllEnd(drawers, {}));
  for (std::size_t c = 0; c < children.size(); ++c) {
    ASSERT_EQ(children[c].Wait(), 0);
    drawn.push_back(Lines(outputs[c]));
  }
  std::set<std::string> seen;
  for (const auto& numbers : drawn) {
    ASSERT_EQ(numbers.size(), std::size_t{kCalls});
    // Fit for a file name on every platform: letters and digits, short.
    const std::string& sample = numbers.front();
    EXPECT_TRUE(!sample.empty() && sample.size() <= 32 &&
                sample.find_first_not_of("0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ") ==
                    std::string::npos)
        << "'" << sample << "'";
    seen.insert(numbers.begin(), numbers.end());
  }
  EXPECT_EQ(seen.size(), std::size_t{kThreads + 2} * kCalls) << "a number was drawn twice";

#ifndef _WIN32
  // Workers forked from a process that has already drawn must not repeat
  // each other's texts.
  std::vector<pid_t> forked;
  for (int c = 0; c < 2; ++c) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      std::string text;
      for (int i = 0; i < 1000; ++i) text += RandomNumber() + "\n";
      WriteFile(dir.Join("forked" + std::to_string(c)), text);
      _exit(0);
    }
    forked.push_back(child);
  }
  for (int i = 0; i < 1000; ++i) seen.insert(RandomNumber());
  for (int c = 0; c < 2; ++c) {
    int status = -1;
    const bool ended = WaitUntil([&] { return waitpid(forked[c], &status, WNOHANG) == forked[c]; });
    if (!ended) {
      kill(forked[c], SIGKILL);
      waitpid(forked[c], &status, 0);
    }
    ASSERT_TRUE(ended) << "forked worker " << c << " still running";
    for (const std::string& line : Lines(dir.Join("forked" + std::to_string(c)))) seen.insert(line);
  }
  EXPECT_EQ(seen.size(), std::size_t{kThreads + 2} * kCalls + 3000) << "a forked worker repeated a text";
#endif
}

}  // namespace
