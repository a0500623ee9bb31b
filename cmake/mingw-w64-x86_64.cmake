# Cross-compiles for 64-bit Windows with the mingw-w64 POSIX-threads toolchain;
# test programs run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(KPXML_MINGW_PREFIX x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${KPXML_MINGW_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${KPXML_MINGW_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER ${KPXML_MINGW_PREFIX}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${KPXML_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Everything links the compiler runtime statically, so binaries need only system DLLs.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")

find_program(KPXML_WINE NAMES wine64 PATHS /usr/lib/wine NO_DEFAULT_PATH)
if(NOT KPXML_WINE)
  find_program(KPXML_WINE NAMES wine64 wine)
endif()
# Quiet Wine, and no prompts to install its Mono or Gecko add-ons.
set(CMAKE_CROSSCOMPILING_EMULATOR env WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml= ${KPXML_WINE})
