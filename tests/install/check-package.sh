#!/usr/bin/env bash
# Makes the build's package with CPack and compares what is in it with the expected list: for a
# .deb each entry's mode and path (dpkg-deb -c), for a .zip each path.
# Usage: check-package.sh BUILD_DIR WORK EXPECTED [ENTRY...]   (ENTRY: further expected lines)
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
package=$(find "$work" -maxdepth 1 \( -name '*.deb' -o -name '*.zip' \))
case "$package" in
  *.deb) actual=$(dpkg-deb -c "$package" | awk '{ line = $1 " " $6; for (i = 7; i <= NF; i++) line = line " " $i; print line }') ;;
  *.zip) actual=$(cmake -E tar tf "$package") ;;
  *) echo "no package made in $work" >&2; exit 1 ;;
esac

if diff <({ cat "$expected"; [ $# -eq 0 ] || printf '%s\n' "$@"; } | sort) <(printf '%s\n' "$actual" | sort); then
  echo "$(basename "$package") holds the expected $(printf '%s\n' "$actual" | wc -l) entries"
else
  echo "$(basename "$package") differs from $expected (< expected, > actual)" >&2
  exit 1
fi
