#pragma once
// What the Win32 files of the platform layer share: the handle behind an
// os_native_handle and the toolkit exception with the system's own text.
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <string>

#include "os_file.h"

inline HANDLE Win32Handle(os_native_handle handle) { return reinterpret_cast<HANDLE>(handle); }

inline os_file_toolkit_error Win32FileError(const char* context, const std::string& path, DWORD error) {
  return os_file_toolkit_error(std::string(context) + " '" + path + "': " + os_error_text(error), error);
}
