// The small-stack thread of each platform: CreateThread's stack reservation
// on Windows, pthread attributes elsewhere. The job ends by itself.
#include "small_stack.h"

#include <utility>

#ifdef _WIN32
#include <windows.h>
#else
#include <pthread.h>
#endif

namespace {

using Job = std::pair<void (*)(void*), void*>;

#ifdef _WIN32
DWORD WINAPI Start(LPVOID job) {
#else
void* Start(void* job) {
#endif
  static_cast<Job*>(job)->first(static_cast<Job*>(job)->second);
  return 0;
}

}  // namespace

bool RunOnSmallStack(std::size_t bytes, void (*job)(void*), void* argument) {
  Job work{job, argument};
#ifdef _WIN32
  const HANDLE thread = ::CreateThread(nullptr, bytes, &Start, &work, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
  if (!thread) return false;
  ::WaitForSingleObject(thread, INFINITE);
  ::CloseHandle(thread);
#else
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return false;
  pthread_t thread;
  const bool created = pthread_attr_setstacksize(&attributes, bytes) == 0 &&
                       pthread_create(&thread, &attributes, &Start, &work) == 0;
  pthread_attr_destroy(&attributes);
  if (!created) return false;
  pthread_join(thread, nullptr);
#endif
  return true;
}
