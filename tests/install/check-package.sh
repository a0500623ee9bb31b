#!/usr/bin/env bash
# Makes the Windows build's .zip with CPack and compares the paths in it with the expected list,
# then checks its DLL: stripped (no debug sections), and importing only the system DLLs
# KERNEL32.dll and msvcrt.dll (the compiler's runtime is linked in).
# Usage: check-package.sh BUILD_DIR WORK EXPECTED [ENTRY...]   (ENTRY: further expected paths)
# The environment gives KPXML_OBJDUMP, the toolchain's objdump.
set -euo pipefail
build=$1
work=$2
expected=$3
shift 3

rm -rf "$work"
mkdir -p "$work"
cpack --config "$build/CPackConfig.cmake" -B "$work" >"$work/cpack.log" 2>&1 || {
  cat "$work/cpack.log" >&2
  exit 1
}
package=$(find "$work" -maxdepth 1 -name '*.zip')
[ -n "$package" ] || { echo "no package made in $work" >&2; exit 1; }
actual=$(cmake -E tar tf "$package")

status=0
if diff <({ cat "$expected"; [ $# -eq 0 ] || printf '%s\n' "$@"; } | sort) <(printf '%s\n' "$actual" | sort); then
  echo "$(basename "$package") holds the expected $(printf '%s\n' "$actual" | wc -l) entries"
else
  echo "$(basename "$package") differs from $expected (< expected, > actual)" >&2
  status=1
fi

(cd "$work" && cmake -E tar xf "$package")
objdump=${KPXML_OBJDUMP:-x86_64-w64-mingw32-objdump}
for dll in "$work"/*/bin/*.dll; do
  debug=$("$objdump" -h "$dll" | awk '$2 ~ /^\.debug/ { print $2 }' | tr '\n' ' ')
  [ -z "$debug" ] || { echo "$(basename "$dll") is not stripped: $debug" >&2; status=1; }
  imports=$("$objdump" -p "$dll" | sed -n 's/^\tDLL Name: //p' | sort | tr '\n' ' ')
  [ "$imports" = "KERNEL32.dll msvcrt.dll " ] || { echo "$(basename "$dll") imports $imports" >&2; status=1; }
  echo "$(basename "$dll"): $(stat -c %s "$dll") bytes, imports $imports"
done
exit $status
