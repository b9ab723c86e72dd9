#pragma once
// What the Win32 files of the platform layer share: the handle behind an
// os_native_handle, and the toolkit's file errors.
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <string>

#include "os_file.h"
#include "os_toolkit_error.h"

inline HANDLE Win32Handle(os_native_handle handle) { return reinterpret_cast<HANDLE>(handle); }
