// The version list of the process.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "fnx_versions.h"

namespace {

using Entries = std::vector<std::pair<std::string, std::string>>;

TEST(FnxVrVersions, AutoRegisterAppendsToTheProcessList) {
  FnxVr_Versions& process = FnxVr_Versions::Process();
  const std::size_t before = process.Entries().size();
  const FnxVr_AutoRegister registration("platform_test", "@(#)platform_test|1|");
  const Entries after = FnxVr_Versions::Process().Entries();
  ASSERT_EQ(after.size(), before + 1);
  EXPECT_EQ(after.back(), (std::pair<std::string, std::string>{"platform_test", "@(#)platform_test|1|"}));
}

// Libraries load on whatever thread the host uses: a list, not a set, and
// each thread's entries arrive all and in their order.
TEST(FnxVrVersions, RegistrationsFromManyThreadsAllArriveInOrder) {
  FnxVr_Versions versions;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&versions, t] {
      for (int i = 0; i < 250; ++i) versions.Register("lib" + std::to_string(t), std::to_string(i % 2));
    });
  }
  for (std::thread& thread : threads) thread.join();
  const Entries entries = versions.Entries();
  ASSERT_EQ(entries.size(), 1000u);
  std::vector<int> next(4, 0);
  for (const auto& [name, version] : entries) {
    const int t = name.back() - '0';
    EXPECT_EQ(version, std::to_string(next[t]++ % 2)) << name;
  }
}

}  // namespace
