#pragma once
// A thread with a small stack, as a server's worker threads may have far less
// stack than a test's main thread: code that recurses or keeps large frames
// fails there first.
#include <cstddef>

// Runs job(argument) on a new thread whose stack holds `bytes`, and returns
// when it has ended: true, or false when no such thread could be made.
bool RunOnSmallStack(std::size_t bytes, void (*job)(void*), void* argument);
