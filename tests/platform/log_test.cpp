// The log sink: lines and trace scopes reach the host's callback by level,
// one call at a time, and cost nothing without a sink.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "child_process.h"
#include "fnx_log.h"

// Counts the calling thread's allocations; clang's sanitizer runtimes own operator new.
#if defined(__clang__) && defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define FNX_NO_ALLOCATION_COUNT 1
#endif
#endif

namespace {
thread_local bool t_counting = false;
thread_local long t_allocations = 0;
}  // namespace

#ifndef FNX_NO_ALLOCATION_COUNT
namespace {
void* Allocate(std::size_t size) {
  if (t_counting) ++t_allocations;
  if (void* block = std::malloc(size ? size : 1)) return block;
  throw std::bad_alloc();
}
}  // namespace
void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
#endif

namespace {

// Records "severity|component|text"; a null component shows as "-".
struct Captured {
  std::mutex lock;
  std::vector<std::string> lines;
  std::atomic<int> inside{0};
  std::atomic<int> overlaps{0};

  std::vector<std::string> Lines() {
    std::lock_guard<std::mutex> guard(lock);
    return lines;
  }
};

void Capture(int severity, const char* component, const char* text, void* context) {
  auto* captured = static_cast<Captured*>(context);
  if (captured->inside.fetch_add(1) != 0) ++captured->overlaps;
  {
    std::lock_guard<std::mutex> guard(captured->lock);
    captured->lines.push_back(std::to_string(severity) + "|" + (component ? component : "-") + "|" + text);
  }
  captured->inside.fetch_sub(1);
}

class Log : public ::testing::Test {
 protected:
  void SetUp() override { Fnx_SetLogSink(0, nullptr, nullptr); }
  void TearDown() override { Fnx_SetLogSink(0, nullptr, nullptr); }
  Captured m_captured;
};

TEST_F(Log, LinesAndTracesReachTheSinkAsStreamed) {
  Fnx_SetLogSink(FNX_TRACE_SEVERITY, &Capture, &m_captured);
  try {
    CFnx_Dal_Trace trace("DAFile::Write");
    CLogMsg line(nullptr, "media-request", 5);
    line << "size " << std::string("of ") << 4294967295ul << " at " << -9000000000LL << flush;
    line << "again" << flush;  // the second line starts empty
    throw std::runtime_error("disk full");  // the trace still reports its exit
  } catch (const std::runtime_error&) {
  }
  EXPECT_EQ(m_captured.Lines(),
            (std::vector<std::string>{"9|-|enter DAFile::Write", "5|media-request|size of 4294967295 at -9000000000",
                                      "5|media-request|again", "9|-|leave DAFile::Write"}));
}

// A line goes out when its severity is at most the level; a streamed
// severity overrides the constructor's.
TEST_F(Log, LevelFiltersBySeverity) {
  struct Case {
    int level, built, streamed;  // streamed 0: none
    bool delivered;
  } const cases[] = {{1, 1, 0, true}, {1, 5, 0, false}, {0, 1, 0, false}, {9, 9, 0, true},
                     {1, 9, 1, true}, {1, 1, 5, false}};
  for (const Case& c : cases) {
    Captured captured;
    Fnx_SetLogSink(c.level, &Capture, &captured);
    const int severity = c.streamed ? c.streamed : c.built;
    EXPECT_EQ(FnxLogEnabled(severity), c.delivered) << c.level << "/" << severity;
    {
      CLogMsg line(nullptr, nullptr, c.built);
      if (c.streamed) line << LogSeverity{c.streamed};
      line << "x" << flush;
    }
    const std::vector<std::string> expected{std::to_string(severity) + "|-|x"};
    EXPECT_EQ(captured.Lines(), c.delivered ? expected : std::vector<std::string>{})
        << "level " << c.level << ", built " << c.built << ", streamed " << c.streamed;
  }
}

TEST_F(Log, DisabledLinesAndTracesAllocateNothing) {
#ifdef FNX_NO_ALLOCATION_COUNT
  GTEST_SKIP() << "allocations cannot be counted under this sanitizer";
#endif
  const auto allocations = [] {
    t_allocations = 0;
    t_counting = true;
    {
      CFnx_Dal_Trace trace("DAFileSystem::OpenForReading");
      CLogMsg(nullptr, nullptr, 1) << "a text longer than the small buffer of any string would hold "
                                   << 4096ul << 123456789012LL << flush;
    }
    t_counting = false;
    return t_allocations;
  };
  EXPECT_EQ(allocations(), 0) << "without a sink";
  Fnx_SetLogSink(0, &Capture, &m_captured);
  EXPECT_EQ(allocations(), 0) << "with a sink below every severity";
  Fnx_SetLogSink(FNX_TRACE_SEVERITY, &Capture, &m_captured);
  EXPECT_GT(allocations(), 0) << "the count is not real";
}

TEST_F(Log, ThreadsLogThroughOneCallAtATime) {
  Fnx_SetLogSink(5, &Capture, &m_captured);
  std::vector<std::thread> threads;
  for (unsigned long t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (unsigned long i = 0; i < 500; ++i) {
        CLogMsg(nullptr, nullptr, 5) << "thread " << t << " line " << i << flush;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(m_captured.overlaps.load(), 0) << "the callback was entered twice at once";
  const std::vector<std::string> lines = m_captured.Lines();
  ASSERT_EQ(lines.size(), 2000u);
  for (int t = 0; t < 4; ++t) {
    const std::string line = "5|-|thread " + std::to_string(t) + " line 499";
    EXPECT_EQ(std::count(lines.begin(), lines.end(), line), 1) << line;
  }
}

// A host may free the sink's context once Fnx_SetLogSink has returned, while
// other threads log.
TEST_F(Log, ReplacedOrRemovedSinkIsNeverCalledAgain) {
  Captured second;
  std::atomic<bool> stop{false};
  std::atomic<long> attempts{0};
  std::thread logger([&] {
    for (; !stop; ++attempts) {
      CFnx_Dal_Trace trace("Log::Busy");
      CLogMsg(nullptr, nullptr, 1) << "busy" << flush;
    }
  });
  const auto logging = [&] {
    const long from = attempts.load();
    EXPECT_TRUE(WaitUntil([&] { return attempts.load() > from + 100; }));
  };
  Fnx_SetLogSink(9, &Capture, &m_captured);
  logging();
  Fnx_SetLogSink(9, &Capture, &second);
  const std::size_t atReplacement = m_captured.Lines().size();
  logging();
  Fnx_SetLogSink(9, nullptr, &second);  // a null callback removes the sink, whatever the level
  const std::size_t atRemoval = second.Lines().size();
  logging();
  stop = true;
  logger.join();
  EXPECT_GT(atReplacement, 0u);
  EXPECT_EQ(m_captured.Lines().size(), atReplacement);
  EXPECT_GT(atRemoval, 0u);
  EXPECT_EQ(second.Lines().size(), atRemoval);
}

}  // namespace
