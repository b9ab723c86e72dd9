#pragma once
// What every benchmark program does around its measurements: a scratch
// directory of its own, a one-line report of a failure, and the directory
// removed however the run ended, so that a failed run leaves no gigabytes.
#include <functional>
#include <string>

// Runs `run` on a new directory below `base` (the system's temporary
// directory when empty) and returns its result; 2 when it threw.
int RunInScratchDirectory(const char* program, const std::string& base,
                          const std::function<int(const std::string& dir)>& run);
