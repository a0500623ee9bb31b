#!/usr/bin/env bash
# Builds and runs programs of another project against KpXml, the way the README shows:
#   consume.sh install BUILD_DIR PREFIX         installs the built project into an empty PREFIX
#   consume.sh find_package PREFIX WORK         CMake project with find_package(KpXml): C++ and C
#   consume.sh pkg-config PREFIX WORK           C program compiled with pkg-config's flags
#   consume.sh add_subdirectory SOURCE_DIR WORK CMake project with KpXml's sources inside: C
# Each program must print exactly KPXML_EXPECTED. The environment gives the build's toolchain:
#   KPXML_GENERATOR   the CMake generator     KPXML_CMAKE_ARGS  compilers, toolchain file
#   KPXML_CC          the C compiler          KPXML_FLAGS  extra compile and link flags
#   KPXML_LIBDIR      the library folder in a prefix (lib)
#   KPXML_RUN         the command that runs a program (empty, or Wine)
#   KPXML_EXE_SUFFIX  the programs' file suffix (empty, or .exe)
#   KPXML_FIND_BY_DIR 1 when find_package must be told the package folder, as a cross toolchain
#                     searches packages only under its own root
set -euo pipefail
mode=$1
from=$(realpath "$2")
work=$3
here=$(cd "$(dirname "$0")" && pwd)
read -r -a cmake_args <<<"${KPXML_CMAKE_ARGS:-}"
cmake_args+=(-G "${KPXML_GENERATOR:-Unix Makefiles}")
read -r -a flags <<<"${KPXML_FLAGS:-}"
read -r -a run <<<"${KPXML_RUN:-}"
if [ ${#flags[@]} -gt 0 ]; then
  cmake_args+=("-DCMAKE_C_FLAGS=${flags[*]}" "-DCMAKE_CXX_FLAGS=${flags[*]}" "-DCMAKE_EXE_LINKER_FLAGS=${flags[*]}"
    "-DCMAKE_SHARED_LINKER_FLAGS=${flags[*]}")
fi

# Runs each program and compares what it prints with the expected line.
check_programs() {
  local program output status=0
  for program in "$@"; do
    output=$("${run[@]}" "$program${KPXML_EXE_SUFFIX:-}" | tr -d '\r')
    if [ "$output" != "$KPXML_EXPECTED" ]; then
      echo "$(basename "$program") printed '$output', expected '$KPXML_EXPECTED'" >&2
      status=1
    fi
  done
  return $status
}

# A fresh copy of a consumer's sources: the two programs, and the CMakeLists.txt in folder $1.
copy_sources() {
  rm -rf "$work"
  mkdir -p "$work/src"
  cp "$here/app.c" "$here/app.cpp" "$work/src/"
  [ -z "${1:-}" ] || cp "$here/$1/CMakeLists.txt" "$work/src/"
}

case "$mode" in
  install)
    rm -rf "$work"
    cmake --install "$from" --prefix "$work" >/dev/null
    ;;
  find_package)
    copy_sources find_package
    [ "${KPXML_FIND_BY_DIR:-0}" = 0 ] || cmake_args+=(-DKpXml_DIR="$from/$KPXML_LIBDIR/cmake/KpXml")
    cmake -S "$work/src" -B "$work/build" "${cmake_args[@]}" -DCMAKE_PREFIX_PATH="$from" >/dev/null
    cmake --build "$work/build" -j2 >/dev/null
    # Windows programs find an installed DLL beside them.
    for dll in "$from"/bin/*.dll; do [ ! -e "$dll" ] || cp "$dll" "$work/build/"; done
    check_programs "$work/build/app_cpp" "$work/build/app_c"
    ;;
  pkg-config)
    copy_sources
    export PKG_CONFIG_LIBDIR="$from/$KPXML_LIBDIR/pkgconfig"
    read -r -a pc_flags <<<"$(pkg-config --cflags --libs kpxml)"
    "$KPXML_CC" "${flags[@]}" -o "$work/app_c${KPXML_EXE_SUFFIX:-}" "$work/src/app.c" "${pc_flags[@]}"
    for dll in "$from"/bin/*.dll; do [ ! -e "$dll" ] || cp "$dll" "$work/"; done
    LD_LIBRARY_PATH="$from/$KPXML_LIBDIR" check_programs "$work/app_c"
    ;;
  add_subdirectory)
    copy_sources add_subdirectory
    cmake -S "$work/src" -B "$work/build" "${cmake_args[@]}" -DKPXML_SOURCE_DIR="$from" >/dev/null
    cmake --build "$work/build" -j2 >/dev/null
    # The project gets the library alone: none of KpXml's tests, examples, tools or benchmarks.
    extra=$(cd "$work/build/kpxml" && ls -d tests examples cli bench googletest 2>/dev/null || true)
    if [ -n "$extra" ]; then
      echo "add_subdirectory configured more than the library: $extra" >&2
      exit 1
    fi
    check_programs "$work/build/bin/app_c"
    ;;
  *)
    echo "usage: $0 install|find_package|pkg-config|add_subdirectory FROM WORK" >&2
    exit 2
    ;;
esac
