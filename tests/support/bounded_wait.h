#pragma once
// Waits in tests end by themselves: a poll gives up at its limit, and threads
// that a test started are released and joined within a limit, or the run ends
// there with a failure. A blocked thread cannot be joined, so the alternative
// would be a run that hangs until something outside kills it.
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

// Polls `condition` until it holds or `limit` passes; true when it held.
bool WaitUntil(const std::function<bool()>& condition,
               std::chrono::milliseconds limit = std::chrono::seconds(30));

// Joins `threads` once `finished` holds. Until then `release` is called over
// and over to free whoever is blocked (answer its question, post its event).
// Still unfinished at `limit`: prints `what` and ends the process with exit
// code 1, which fails the test.
void JoinWithin(std::vector<std::thread>& threads, const std::function<bool()>& finished,
                const std::function<void()>& release, const char* what,
                std::chrono::milliseconds limit = std::chrono::seconds(30));
