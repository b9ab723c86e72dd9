// The benchmark's one call that the platform layer does not offer: the
// operating system's account of a process's peak memory.
#include "peak_memory.h"

#ifdef _WIN32
#include <windows.h>
#include <psapi.h>

std::uint64_t PeakResidentBytes() {
  PROCESS_MEMORY_COUNTERS counters{};
  if (!K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters)) return 0;
  return counters.PeakWorkingSetSize;
}
#else
#include <sys/resource.h>

std::uint64_t PeakResidentBytes() {
  rusage usage{};
  if (getrusage(RUSAGE_SELF, &usage) != 0) return 0;
  return static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;  // kilobytes on Linux
}
#endif
