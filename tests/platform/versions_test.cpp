// The version list of the process.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "fnx_versions.h"

// Libraries load on whatever thread the host uses: every registration reaches
// the one process list, duplicates too, each thread's in its order.
TEST(FnxVrVersions, RegistrationsFromManyThreadsAllArriveInOrder) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 250; ++i) FnxVr_AutoRegister("test_lib" + std::to_string(t), std::to_string(i % 2));
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::vector<int> next(4, 0);
  for (const auto& [name, version] : FnxVr_Versions::Process().Entries()) {
    if (name.rfind("test_lib", 0) != 0) continue;
    const int t = name.back() - '0';
    EXPECT_EQ(version, std::to_string(next[t]++ % 2)) << name;
  }
  EXPECT_EQ(next, std::vector<int>(4, 250));
}
