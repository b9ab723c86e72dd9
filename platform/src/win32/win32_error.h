#pragma once
// What the Win32 files of the platform layer share: the system's calls and
// types (os_syscalls.h includes <windows.h> for them all), the handle behind
// an os_native_handle, and the toolkit's file errors.
#include <string>

#include "os_file.h"
#include "os_syscalls.h"
#include "os_toolkit_error.h"

inline HANDLE Win32Handle(os_native_handle handle) { return reinterpret_cast<HANDLE>(handle); }
