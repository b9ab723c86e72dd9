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

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
    : m_running(other.m_running), m_exitCode(other.m_exitCode), m_killed(other.m_killed), m_handle(other.m_handle) {
  other.m_running = false;
  other.m_handle = 0;
}

ChildProcess::~ChildProcess() {
  if (m_running) {
    Kill();
    Wait();
  }
#ifdef _WIN32
  if (m_handle) CloseHandle(reinterpret_cast<HANDLE>(m_handle));
#endif
}

#ifdef _WIN32
namespace {
// One argument of CreateProcess's command line, quoted as the C runtime parses it.
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
  return quoted.append(backslashes * 2, '\\') + "\"";
}

// The directory of the running executable, with a trailing separator.
std::string ExecutableDirectory() {
  char path[MAX_PATH];
  const std::string self(path, GetModuleFileNameA(nullptr, path, MAX_PATH));
  return self.substr(0, self.find_last_of("\\/") + 1);
}
}  // namespace

ChildProcess::ChildProcess(const std::string& helper, const std::vector<std::string>& args) {
  const std::string program = ExecutableDirectory() + helper + ".exe";
  std::string commandLine = QuoteArgument(program);
  for (const std::string& arg : args) commandLine += " " + QuoteArgument(arg);
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION info{};
  if (!CreateProcessA(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                      &info)) {
    throw std::runtime_error("cannot start " + program + ": error " + std::to_string(GetLastError()));
  }
  CloseHandle(info.hThread);
  m_handle = reinterpret_cast<std::intptr_t>(info.hProcess);
  m_running = true;
}

int ChildProcess::Wait(std::chrono::milliseconds limit) {
  if (!m_running) return m_exitCode;
  const HANDLE process = reinterpret_cast<HANDLE>(m_handle);
  if (WaitForSingleObject(process, static_cast<DWORD>(limit.count())) != WAIT_OBJECT_0) {
    Kill();
    WaitForSingleObject(process, INFINITE);  // TerminateProcess ends it
  }
  m_running = false;
  DWORD code = 0;
  m_exitCode = !m_killed && GetExitCodeProcess(process, &code) ? static_cast<int>(code) : -1;
  return m_exitCode;
}

void ChildProcess::Kill() {
  if (m_running && TerminateProcess(reinterpret_cast<HANDLE>(m_handle), 1)) m_killed = true;
}

#else

namespace {
std::string ExecutableDirectory() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  if (length <= 0) throw std::runtime_error("cannot read /proc/self/exe");
  const std::string self(path, static_cast<std::size_t>(length));
  return self.substr(0, self.find_last_of('/') + 1);
}
}  // namespace

ChildProcess::ChildProcess(const std::string& helper, const std::vector<std::string>& args) {
  const std::string program = ExecutableDirectory() + helper;
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  pid_t pid = -1;
  const int rc = posix_spawn(&pid, program.c_str(), nullptr, nullptr, argv.data(), environ);
  if (rc != 0) throw std::runtime_error("cannot start " + program + ": errno " + std::to_string(rc));
  m_handle = pid;
  m_running = true;
}

int ChildProcess::Wait(std::chrono::milliseconds limit) {
  if (!m_running) return m_exitCode;
  const pid_t pid = static_cast<pid_t>(m_handle);
  int status = 0;
  pid_t reaped = 0;
  const auto reap = [&](int options) {
    do {
      reaped = waitpid(pid, &status, options);
    } while (reaped < 0 && errno == EINTR);
    return reaped != 0;
  };
  if (!WaitUntil([&] { return reap(WNOHANG); }, limit)) {
    Kill();
    reap(0);  // SIGKILL ends it
  }
  m_running = false;
  m_exitCode = reaped == pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return m_exitCode;
}

void ChildProcess::Kill() {
  if (m_running && kill(static_cast<pid_t>(m_handle), SIGKILL) == 0) m_killed = true;
}

#endif
