// The operating system's drive on Windows. The KERNEL32 tape backend is not
// here yet: any name other than a virtual drive's fails with "not supported".
#include <windows.h>

#include "os_tape.h"
#include "os_tape_drive.h"

std::unique_ptr<os_tape_drive> os_tape_open_system(const std::string& /*name*/, std::uint32_t* error) {
  *error = OS_TAPE_NOT_SUPPORTED;
  return nullptr;
}

std::string os_tape_system_error_text(std::uint32_t error) {
  char* text = nullptr;
  const DWORD length = ::FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, error, 0,
                                        reinterpret_cast<char*>(&text), 100, nullptr);
  std::string result = text && length ? std::string(text, length) : std::string();
  if (text) ::LocalFree(text);
  return result;
}
