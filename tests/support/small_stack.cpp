// The small-stack thread of each platform: pthread attributes on POSIX,
// CreateThread's stack reservation on Windows.
#include "small_stack.h"

#ifdef _WIN32
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#else
#include <pthread.h>
#endif

namespace {

struct Job {
  void (*run)(void*);
  void* argument;
};

#ifdef _WIN32
DWORD WINAPI Start(LPVOID parameter) {
#else
void* Start(void* parameter) {
#endif
  const Job& job = *static_cast<Job*>(parameter);
  job.run(job.argument);
  return 0;
}

}  // namespace

#ifdef _WIN32

bool RunOnSmallStack(std::size_t bytes, void (*job)(void*), void* argument) {
  Job work{job, argument};
  const HANDLE thread = ::CreateThread(nullptr, bytes, &Start, &work, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
  if (!thread) return false;
  ::WaitForSingleObject(thread, INFINITE);  // the job ends by itself
  ::CloseHandle(thread);
  return true;
}

#else

bool RunOnSmallStack(std::size_t bytes, void (*job)(void*), void* argument) {
  Job work{job, argument};
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return false;
  pthread_t thread;
  const bool created = pthread_attr_setstacksize(&attributes, bytes) == 0 &&
                       pthread_create(&thread, &attributes, &Start, &work) == 0;
  pthread_attr_destroy(&attributes);
  if (!created) return false;
  pthread_join(thread, nullptr);  // the job ends by itself
  return true;
}

#endif
