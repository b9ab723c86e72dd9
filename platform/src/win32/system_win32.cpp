// Win32 clock, host name and process id.
#include "os_datetime.h"
#include "os_host.h"
#include "win32_error.h"

os_local_now os_read_local_now() {
  SYSTEMTIME now{};
  ::GetLocalTime(&now);
  return {now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond};
}

os_host os_host::my_host() {
  char name[256] = {};
  DWORD size = sizeof name;
  if (::GetComputerNameExA(ComputerNameDnsFullyQualified, name, &size) && size > 0) return os_host(name);
  size = sizeof name;
  if (::GetComputerNameA(name, &size) && size > 0) return os_host(name);
  return os_host("localhost");
}

std::uint32_t os_process_id() { return ::GetCurrentProcessId(); }
