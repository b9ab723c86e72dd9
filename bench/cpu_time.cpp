// The benchmark's processor-time readings, from the operating system.
#include "cpu_time.h"

#ifdef _WIN32
#include <windows.h>

double CpuSecondsSelf() {
  FILETIME creation, exit, kernel, user;
  if (!GetProcessTimes(GetCurrentProcess(), &creation, &exit, &kernel, &user)) return 0;
  const auto seconds = [](const FILETIME& time) {
    return static_cast<double>((static_cast<unsigned long long>(time.dwHighDateTime) << 32) | time.dwLowDateTime) /
           1e7;
  };
  return seconds(kernel) + seconds(user);
}

double CpuSecondsChildren() { return 0; }
#else
#include <sys/resource.h>

namespace {

double Seconds(int who) {
  rusage usage{};
  if (getrusage(who, &usage) != 0) return 0;
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

}  // namespace

double CpuSecondsSelf() { return Seconds(RUSAGE_SELF); }
double CpuSecondsChildren() { return Seconds(RUSAGE_CHILDREN); }
#endif
