#!/usr/bin/env bash
# Regenerates src/platform/posix/Cp1252Tables.inc from the real Windows conversions, run under Wine:
#
#   tools/codepage/generate.sh
#
# Builds tools/codepage/gen_codepage_table.cpp with
#   x86_64-w64-mingw32-g++-posix -std=c++17 -O2 -static
# and runs it with wine64 (override with WINE=/path/to/wine64, CXX=/path/to/mingw-g++).
# The file is replaced only when the program succeeds.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
out="$root/src/platform/posix/Cp1252Tables.inc"
cxx="${CXX:-x86_64-w64-mingw32-g++-posix}"
if [[ -z "${WINE:-}" ]]; then
    if [[ -x /usr/lib/wine/wine64 ]]; then WINE=/usr/lib/wine/wine64; else WINE=wine64; fi
fi

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

"$cxx" -std=c++17 -O2 -static -o "$work/gen_codepage_table.exe" "$root/tools/codepage/gen_codepage_table.cpp"
# Wine's console may turn "\n" into "\r\n"; drop any "\r".
WINEDEBUG=-all "$WINE" "$work/gen_codepage_table.exe" > "$work/raw.inc"
tr -d '\r' < "$work/raw.inc" > "$work/Cp1252Tables.inc"
mv "$work/Cp1252Tables.inc" "$out"
echo "wrote $out"
