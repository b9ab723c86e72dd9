#pragma once
// FNX_API marks what the dal_storage library exports to its host. Everything
// else is hidden (-fvisibility=hidden), so the platform layer's internals stay
// inside the library. FNX_DAL_STORAGE_BUILD is set while the library itself is
// compiled; FNX_DAL_STORAGE_STATIC when a test links the objects directly.
#if defined(_WIN32)
#  if defined(FNX_DAL_STORAGE_BUILD)
#    define FNX_API __declspec(dllexport)
#  elif defined(FNX_DAL_STORAGE_STATIC)
#    define FNX_API
#  else
#    define FNX_API __declspec(dllimport)
#  endif
#else
#  define FNX_API __attribute__((visibility("default")))
#endif
