#!/usr/bin/env bash
# Runs one libFuzzer program for a while on a scratch copy of its seed corpus (the committed seeds
# are never changed), with its own temporary directory, at the lowest priority. Fails when the
# program finds a crash, a leak, a sanitizer report or an input that runs for a minute (a hang: no
# input needs a second, but a busy machine has stretched one to ten); the input that did it is
# then kept in the build folder as <program>-<kind>-<hash>, and its log is printed.
# Usage: tools/run-fuzzer.sh <program> <seed folder> <dictionary> <seconds>
set -euo pipefail
[ $# -eq 4 ] || { echo "usage: $0 <program> <seed folder> <dictionary> <seconds>" >&2; exit 2; }
program=$1 seeds=$2 dictionary=$3 seconds=$4
name=$(basename "$program")

# In memory when possible: saves flush to disk, which on a real disk would slow fuzzing down.
base=${TMPDIR:-/tmp}
[ -d /dev/shm ] && [ -w /dev/shm ] && base=/dev/shm
scratch=$(mktemp -d "$base/$name.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
mkdir "$scratch/corpus" "$scratch/tmp" "$scratch/found"
[ -d "$seeds" ] && cp -R "$seeds/." "$scratch/corpus/"

status=0
TMPDIR="$scratch/tmp" nice -n 19 "$program" "$scratch/corpus" -dict="$dictionary" -max_total_time="$seconds" \
  -timeout=60 -print_final_stats=1 -artifact_prefix="$scratch/found/" >"$scratch/log" 2>&1 || status=$?

grep -E "^stat::number_of_executed_units|^Done" "$scratch/log" || true
echo "corpus: $(find "$scratch/corpus" -type f | wc -l) files"
if [ "$status" -ne 0 ]; then
  tail -n 80 "$scratch/log"
  for found in "$scratch/found"/*; do
    [ -e "$found" ] || continue
    cp "$found" "$(dirname "$program")/$name-$(basename "$found")"
    echo "input kept as $(dirname "$program")/$name-$(basename "$found")"
  done
  echo "$name failed (exit status $status)" >&2
fi
exit "$status"
