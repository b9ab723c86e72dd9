#include "child_process.h"

#include <stdexcept>

#ifdef _WIN32
#include <windows.h>
#else
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
extern char** environ;
#endif

#ifdef _WIN32
namespace {
// Quotes one argument for CreateProcess's command line as the C runtime parses it.
std::string QuoteArgument(const std::string& arg) {
  if (!arg.empty() && arg.find_first_of(" \t\"") == std::string::npos) return arg;
  std::string quoted = "\"";
  std::size_t backslashes = 0;
  for (char c : arg) {
    if (c == '\\') {
      ++backslashes;
      continue;
    }
    quoted.append(c == '"' ? backslashes * 2 + 1 : backslashes, '\\');
    backslashes = 0;
    quoted += c;
  }
  quoted.append(backslashes * 2, '\\');
  return quoted + "\"";
}
}  // namespace

std::string ExecutableDirectory() {
  char path[MAX_PATH];
  const DWORD length = GetModuleFileNameA(nullptr, path, MAX_PATH);
  std::string self(path, length);
  return self.substr(0, self.find_last_of("\\/") + 1);
}

ChildProcess::ChildProcess(const std::string& helper, const std::vector<std::string>& args) {
  const std::string program = ExecutableDirectory() + helper + ".exe";
  std::string commandLine = QuoteArgument(program);
  for (const std::string& arg : args) commandLine += " " + QuoteArgument(arg);
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION info{};
  if (!CreateProcessA(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                      nullptr, &startup, &info))
    throw std::runtime_error("cannot start " + program + ": error " +
                             std::to_string(GetLastError()));
  CloseHandle(info.hThread);
  m_process = info.hProcess;
  m_running = true;
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
    : m_running(other.m_running), m_exitCode(other.m_exitCode), m_killed(other.m_killed),
      m_process(other.m_process) {
  other.m_running = false;
  other.m_process = nullptr;
}

ChildProcess::~ChildProcess() {
  if (m_running) {
    Kill();
    Wait();
  }
  if (m_process) CloseHandle(m_process);
}

int ChildProcess::Wait(std::chrono::milliseconds limit) {
  if (!m_running) return m_exitCode;
  if (WaitForSingleObject(m_process, static_cast<DWORD>(limit.count())) != WAIT_OBJECT_0) {
    Kill();
    WaitForSingleObject(m_process, INFINITE);  // TerminateProcess ends it
  }
  m_running = false;
  DWORD code = 0;
  m_exitCode = !m_killed && GetExitCodeProcess(m_process, &code) ? static_cast<int>(code) : -1;
  return m_exitCode;
}

void ChildProcess::Kill() {
  if (m_running && TerminateProcess(m_process, 1)) m_killed = true;
}

#else

std::string ExecutableDirectory() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  if (length <= 0) throw std::runtime_error("cannot read /proc/self/exe");
  std::string self(path, static_cast<std::size_t>(length));
  return self.substr(0, self.find_last_of('/') + 1);
}

ChildProcess::ChildProcess(const std::string& helper, const std::vector<std::string>& args) {
  const std::string program = ExecutableDirectory() + helper;
  std::vector<char*> argv;
  argv.push_back(const_cast<char*>(program.c_str()));
  for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  const int rc = posix_spawn(&m_pid, program.c_str(), nullptr, nullptr, argv.data(), environ);
  if (rc != 0) throw std::runtime_error("cannot start " + program + ": errno " + std::to_string(rc));
  m_running = true;
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
    : m_running(other.m_running), m_exitCode(other.m_exitCode), m_pid(other.m_pid) {
  other.m_running = false;
  other.m_pid = -1;
}

ChildProcess::~ChildProcess() {
  if (m_running) {
    Kill();
    Wait();
  }
}

int ChildProcess::Wait(std::chrono::milliseconds limit) {
  if (!m_running) return m_exitCode;
  int status = 0;
  pid_t reaped = 0;
  const auto ended = [&] {
    do {
      reaped = waitpid(m_pid, &status, WNOHANG);
    } while (reaped < 0 && errno == EINTR);
    return reaped != 0;
  };
  if (!WaitUntil(ended, limit)) {
    Kill();
    do {
      reaped = waitpid(m_pid, &status, 0);  // SIGKILL ends it
    } while (reaped < 0 && errno == EINTR);
  }
  m_running = false;
  m_exitCode = reaped == m_pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return m_exitCode;
}

void ChildProcess::Kill() {
  if (m_running) kill(m_pid, SIGKILL);
}

#endif
