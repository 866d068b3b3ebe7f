# Builds for 64-bit Windows on Debian, with the compiler whose threads are POSIX threads.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(vorun_triplet x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${vorun_triplet}-gcc-posix)
set(CMAKE_CXX_COMPILER ${vorun_triplet}-g++-posix)
set(CMAKE_RC_COMPILER ${vorun_triplet}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${vorun_triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Tests run under wine; scripts/test-windows tells it where the compiler's own libraries lie.
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
