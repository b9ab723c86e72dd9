// RandomNumber names new documents: no two calls may give the same text, in
// one process, in its threads, or in processes started at the same moment.
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "child_process.h"
#include "os_text.h"
#include "temp_dir.h"

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

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
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&drawn, t] {
      for (int i = 0; i < kCalls; ++i) drawn[t].push_back(RandomNumber());
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (ChildProcess& child : children) ASSERT_EQ(child.Wait(), 0);
  for (const std::string& out : outputs) {
    std::istringstream lines(ReadFile(out));
    drawn.emplace_back();
    for (std::string line; std::getline(lines, line);) drawn.back().push_back(line);
    ASSERT_EQ(drawn.back().size(), std::size_t{kCalls}) << out;
  }
  std::set<std::string> seen;
  for (const auto& numbers : drawn) {
    // Fit for a file name on every platform: letters and digits, short.
    const std::string& sample = numbers.front();
    EXPECT_TRUE(!sample.empty() && sample.size() <= 32 &&
                sample.find_first_not_of("0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ") ==
                    std::string::npos)
        << "'" << sample << "'";
    seen.insert(numbers.begin(), numbers.end());
  }
  EXPECT_EQ(seen.size(), std::size_t{kThreads + 2} * kCalls) << "a number was drawn twice";
}

#ifndef _WIN32
// Workers forked from a process that has already named documents must not
// repeat each other's names.
TEST(RandomNumber, UniqueInProcessesForkedAfterUse) {
  TempDir dir;
  constexpr int kCalls = 1000;
  constexpr int kChildren = 2;
  std::set<std::string> seen{RandomNumber()};
  std::vector<pid_t> children;
  for (int c = 0; c < kChildren; ++c) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      std::string text;
      for (int i = 0; i < kCalls; ++i) text += RandomNumber() + "\n";
      WriteFile(dir.Join("child" + std::to_string(c)), text);
      _exit(0);
    }
    children.push_back(child);
  }
  for (int i = 0; i < kCalls; ++i) seen.insert(RandomNumber());
  for (int c = 0; c < kChildren; ++c) {
    int status = -1;
    ASSERT_EQ(waitpid(children[c], &status, 0), children[c]);
    std::istringstream lines(ReadFile(dir.Join("child" + std::to_string(c))));
    for (std::string line; std::getline(lines, line);) seen.insert(line);
  }
  EXPECT_EQ(seen.size(), std::size_t{kChildren + 1} * kCalls + 1) << "a name came twice";
}
#endif

}  // namespace
