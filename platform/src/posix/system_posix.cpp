// POSIX clock, host name and process id.
#include <ctime>

#include <unistd.h>

#include "os_datetime.h"
#include "os_host.h"

os_local_now os_read_local_now() {
  const std::time_t now = std::time(nullptr);
  std::tm fields{};
  ::localtime_r(&now, &fields);
  return {fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec};
}

os_host os_host::my_host() {
  char name[256] = {};
  if (::gethostname(name, sizeof name - 1) != 0) return os_host("localhost");
  return os_host(name);
}

std::uint32_t os_process_id() { return static_cast<std::uint32_t>(::getpid()); }
