#!/usr/bin/env bash
# Builds KpXml and runs every test in every build: Linux, Linux under AddressSanitizer and
# UndefinedBehaviorSanitizer, Linux under ThreadSanitizer, Linux with clang and every warning an
# error, Windows x64 (mingw-w64) under Wine, and each libFuzzer target for a while on its seeds
# (clang; one test per target). Installs what is missing.
# Usage: tools/run-tests.sh [preset...]   (default: linux linux-sanitize tsan linux-clang windows fuzz)
set -euo pipefail
cd "$(dirname "$0")/.."

presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(linux linux-sanitize tsan linux-clang windows fuzz)

deps=()
for preset in "${presets[@]}"; do
  case "$preset" in
    windows) deps+=(--windows) ;;
    fuzz) deps+=(--fuzz) ;;
    linux-clang) deps+=(--clang) ;;
  esac
done
tools/install-deps.sh "${deps[@]}"

if [[ " ${presets[*]} " == *" windows "* ]]; then
  export HOME="${HOME:-/root}"
  # Keep one Wine server for the whole run: a program that connects while the server is exiting
  # between two test programs dies with "wine client error: recvmsg: Connection reset by peer".
  # A persistent server cannot join one that is still running (it exits with status 2), so any
  # server of this prefix is waited for (or ended) first. Wine's own services are then started
  # once by wineboot, which also creates the prefix, with their output going nowhere: started
  # later by a test program, they would hold its output open and its test would never end.
  wineserver=$(command -v wineserver || echo /usr/lib/wine/wineserver)
  mkdir -p "${WINEPREFIX:-$HOME/.wine}"
  timeout 60 "$wineserver" -w || "$wineserver" -k || true
  "$wineserver" -p >/dev/null 2>&1 || { echo "could not start a persistent Wine server" >&2; exit 1; }
  WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" "$(command -v wine64 || echo /usr/lib/wine/wine64)" wineboot --init >/dev/null 2>&1 || true
  trap '"$wineserver" -k >/dev/null 2>&1 || true' EXIT
fi

jobs=$(nproc)
passed=0
failed=0
for preset in "${presets[@]}"; do
  echo "=== $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j"$jobs"
  log=$(mktemp)
  status=0
  ctest --preset "$preset" -j"$jobs" 2>&1 | tee "$log" || status=$?
  summary=$(grep -E "tests passed, [0-9]+ tests failed out of [0-9]+" "$log" | tail -n 1 || true)
  rm -f "$log"
  if [ -z "$summary" ]; then
    echo "no test summary for $preset" >&2
    failed=$((failed + 1))
    continue
  fi
  total=$(sed -E 's/.*out of ([0-9]+).*/\1/' <<<"$summary")
  bad=$(sed -E 's/.* ([0-9]+) tests failed.*/\1/' <<<"$summary")
  passed=$((passed + total - bad))
  failed=$((failed + bad))
  [ "$status" -eq 0 ] || [ "$bad" -gt 0 ] || failed=$((failed + 1))
done

echo "${passed} passed, ${failed} failed"
[ "$failed" -eq 0 ]
