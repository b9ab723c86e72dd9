#pragma once
// Real child processes for the multi-process suites: a helper executable that
// lies next to the test executable is started with arguments, waited for, or
// killed hard (SIGKILL, TerminateProcess) to leave its locks behind it.
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "bounded_wait.h"

class ChildProcess {
 public:
  // Starts `helper` (a file name next to the running test executable) with
  // `args`. Throws std::runtime_error when it cannot be started.
  ChildProcess(const std::string& helper, const std::vector<std::string>& args);
  // Starts fnx_test_child, the tests' own second process (test_child.h).
  explicit ChildProcess(const std::vector<std::string>& args) : ChildProcess("fnx_test_child", args) {}
  ~ChildProcess();  // kills a child still running, then reaps it
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ChildProcess(ChildProcess&& other) noexcept;
  ChildProcess& operator=(ChildProcess&&) = delete;

  // Waits for the child to end (once; later calls repeat the result): its exit
  // code, or -1 when it was killed (by Kill or by a signal). A child still
  // running at `limit` is killed: a stuck child fails its test, never hangs it.
  int Wait(std::chrono::milliseconds limit = std::chrono::seconds(120));
  // Ends the child at once, without any clean-up of its own.
  void Kill();

 private:
  bool m_running = false;
  int m_exitCode = -1;
  bool m_killed = false;        // by Kill (Windows tells no signal)
  std::intptr_t m_handle = 0;  // the process: a HANDLE on Windows, else its pid
};
