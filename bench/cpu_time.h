#pragma once
// The operating system's account of processor time (user and system), for
// benchmarks on a shared machine, where the wall clock also counts the time
// that other work took the processor away.
// This process so far, in seconds.
double CpuSecondsSelf();
// The children this process has waited for so far, in seconds; 0 where the
// system does not tell (Windows).
double CpuSecondsChildren();
