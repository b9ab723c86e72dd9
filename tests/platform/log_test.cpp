// The log sink: lines and trace scopes reach the host's callback by level,
// one call at a time, and never a sink that was replaced.
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bounded_wait.h"
#include "fnx_log.h"

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

// Threads log while the host replaces and then removes its sink: the callback
// is entered once at a time, every line reaches one sink, and a sink replaced
// or removed is never called again once Fnx_SetLogSink returned (a host may
// free its context then).
TEST_F(Log, ThreadsLogThroughOneCallAtATimeAndNeverToAReplacedSink) {
  Captured second;
  std::atomic<bool> stop{false};
  std::atomic<long> logged{0};
  std::atomic<int> ended{0};
  std::vector<std::thread> threads;
  Fnx_SetLogSink(5, &Capture, &m_captured);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (unsigned long i = 0; !stop; ++i, ++logged) {
        CFnx_Dal_Trace trace("traced at 9, not delivered at 5");
        CLogMsg(nullptr, nullptr, 5) << "thread " << static_cast<long long>(t) << " line " << i << flush;
      }
      ++ended;
    });
  }
  const auto logging = [&] {
    const long from = logged.load();
    EXPECT_TRUE(WaitUntil([&] { return logged.load() > from + 200; }));
  };
  logging();
  Fnx_SetLogSink(5, &Capture, &second);
  const std::size_t atReplacement = m_captured.Lines().size();
  logging();
  stop = true;
  JoinWithin(threads, [&] { return ended == 4; }, nullptr, "logging threads");
  EXPECT_GT(atReplacement, 0u);
  EXPECT_EQ(m_captured.Lines().size(), atReplacement);
  EXPECT_EQ(static_cast<long>(atReplacement + second.Lines().size()), logged.load());
  EXPECT_EQ(m_captured.overlaps + second.overlaps, 0) << "the callback was entered twice at once";

  const std::size_t atRemoval = second.Lines().size();
  Fnx_SetLogSink(9, nullptr, &second);  // a null callback removes the sink, whatever the level
  CLogMsg(nullptr, nullptr, 1) << "to nobody" << flush;
  EXPECT_EQ(second.Lines().size(), atRemoval);
}

}  // namespace
