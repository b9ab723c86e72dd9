// The table of system calls in force; constant-initialised, so that it holds
// the real calls before any static constructor runs.
#include "os_syscalls.h"

constinit os_syscalls os_sys{};
