// RandomNumber names new documents: no two calls may give the same text, in
// one process, in its threads, or in processes started at the same moment.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

#include "child_process.h"
#include "os_text.h"
#include "temp_dir.h"

namespace {

// Fit for a file name on every platform: letters and digits only, short.
void ExpectFitForAFileName(const std::string& text) {
  EXPECT_FALSE(text.empty());
  EXPECT_LE(text.size(), 32u) << text;
  for (char c : text) {
    const bool alphanumeric = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    EXPECT_TRUE(alphanumeric) << "'" << text << "'";
  }
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
    lines.push_back(text.substr(start, end - start));
  }
  return lines;
}

TEST(RandomNumber, ManyCallsNeverRepeat) {
  std::set<std::string> seen;
  for (int i = 0; i < 200000; ++i) {
    const std::string text = RandomNumber();
    if (i % 1000 == 0) ExpectFitForAFileName(text);
    ASSERT_TRUE(seen.insert(text).second) << "repeated after " << i << " calls: " << text;
  }
}

TEST(RandomNumber, ThreadsNeverShareANumber) {
  constexpr int kThreads = 4;
  constexpr int kCalls = 20000;
  std::vector<std::vector<std::string>> drawn(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&drawn, t] {
      for (int i = 0; i < kCalls; ++i) drawn[t].push_back(RandomNumber());
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::set<std::string> seen;
  for (const auto& numbers : drawn) seen.insert(numbers.begin(), numbers.end());
  EXPECT_EQ(seen.size(), std::size_t{kThreads} * kCalls);
}

// Two processes started together, and this one, draw from separate streams.
TEST(RandomNumber, ProcessesStartedTogetherNeverShareANumber) {
  TempDir dir;
  constexpr int kCalls = 50000;
  const std::string first = dir.Join("first");
  const std::string second = dir.Join("second");
  ChildProcess a("platform_child", {"random", std::to_string(kCalls), first});
  ChildProcess b("platform_child", {"random", std::to_string(kCalls), second});
  std::set<std::string> seen;
  for (int i = 0; i < kCalls; ++i) seen.insert(RandomNumber());
  ASSERT_EQ(a.Wait(), 0);
  ASSERT_EQ(b.Wait(), 0);
  for (const std::string& path : {first, second}) {
    const std::vector<std::string> numbers = Lines(ReadFile(path));
    ASSERT_EQ(numbers.size(), std::size_t{kCalls}) << path;
    ExpectFitForAFileName(numbers.front());
    seen.insert(numbers.begin(), numbers.end());
  }
  EXPECT_EQ(seen.size(), std::size_t{3} * kCalls) << "two processes drew the same number";
}

}  // namespace
