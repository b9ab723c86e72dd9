# Cross build of the 64-bit Windows DLL with mingw-w64 (posix thread model,
# which std::thread and std::mutex need). Everything is linked statically, so
# dal_storage.dll and the test programs need no runtime DLLs of the compiler;
# ctest runs each test program under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(FNX_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${FNX_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${FNX_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${FNX_MINGW_TRIPLE}-windres)
set(CMAKE_OBJDUMP ${FNX_MINGW_TRIPLE}-objdump CACHE FILEPATH "objdump of the target")

set(CMAKE_FIND_ROOT_PATH /usr/${FNX_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static")

find_program(FNX_WINE NAMES wine wine64)
if(FNX_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${FNX_WINE})
endif()
