# Cross-compiling for Windows x86-64 with Debian's mingw-w64 (the POSIX-threads compilers).
# Tests and the programs the build runs go through cmake/wine-run, CMake's emulator.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(VLT_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${VLT_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${VLT_MINGW_TRIPLE}-g++-posix)
set(CMAKE_Fortran_COMPILER ${VLT_MINGW_TRIPLE}-gfortran-posix)
set(CMAKE_RC_COMPILER ${VLT_MINGW_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${VLT_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/wine-run")

# Wine's symbol engine reads DWARF 4, not the compiler's default DWARF 5: without it a crash
# report under Wine names no function.
set(CMAKE_C_FLAGS_INIT "-gdwarf-4")
set(CMAKE_CXX_FLAGS_INIT "-gdwarf-4")
