#include "bounded_wait.h"

#include <cstdio>
#include <cstdlib>

bool WaitUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

void JoinWithin(std::vector<std::thread>& threads, const std::function<bool()>& finished,
                const std::function<void()>& release, const char* what, std::chrono::milliseconds limit) {
  const bool ended = WaitUntil(
      [&] {
        if (finished()) return true;
        if (release) release();
        return false;
      },
      limit);
  if (!ended) {
    std::fprintf(stderr, "FAILED: %s: threads still blocked after %lld ms, ending the run\n", what,
                 static_cast<long long>(limit.count()));
    std::fflush(stderr);
    std::_Exit(1);
  }
  for (std::thread& thread : threads) {
    if (thread.joinable()) thread.join();
  }
}
