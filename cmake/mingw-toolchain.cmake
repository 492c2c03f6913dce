# Cross-builds for 64-bit Windows with mingw-w64 (posix threads). Programs run under Wine.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../scripts/lib/run-wine")

# Libraries built for Windows by scripts/windows-deps stand in one folder.
set(ZEL_WINDOWS_DEPS "${CMAKE_CURRENT_LIST_DIR}/../build/windows-deps" CACHE PATH
  "Where scripts/windows-deps installed the libraries for Windows")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZEL_WINDOWS_DEPS)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 "${ZEL_WINDOWS_DEPS}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
