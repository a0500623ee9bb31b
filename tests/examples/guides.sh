#!/usr/bin/env bash
# Keeps the guides true to the code.
#   guides.sh snippets ROOT
#       Every C and C++ block of README.md and docs/c-api.md appears word for word in a file of
#       examples/ or include/kpxml/; a block right after a link to an example file is that whole file,
#       and so is a CMake block after a link to a project of tests/install/.
#   guides.sh output EXPECTED PROGRAM...
#       PROGRAM prints exactly EXPECTED: a file, or for a .md file its text block after "It prints:".
set -uo pipefail

case "$1" in
  snippets)
    root=$2
    failures=0
    blocks=$(mktemp -d)
    trap 'rm -rf "$blocks"' EXIT
    for guide in README.md docs/c-api.md; do
      # Each block goes to a file of its own, named after the example file linked just before it.
      awk -v dir="$blocks" -v guide="$guide" '
        /^```(c|cpp|cmake)$/ { n++; name = guide; gsub("/", "_", name); file = dir "/" name "." n
                         printf "" > file; inside = 1; whole = linked; next }
        /^```/ && inside { inside = 0; if (whole != "") print whole > (file ".whole"); next }
        inside { print > file; next }
        /^\[`(examples|tests\/install)\/[^`]*`\]/ { linked = $0; sub(/^\[`/, "", linked); sub(/`\].*/, "", linked); next }
        NF { linked = "" }' "$root/$guide"
    done
    for block in "$blocks"/*; do
      case "$block" in *.whole) continue ;; esac
      if [ -f "$block.whole" ]; then
        whole=$(cat "$block.whole")
        cmp -s "$block" "$root/$whole" || { echo "a block of $(basename "$block") differs from $whole" >&2; diff "$block" "$root/$whole" >&2; failures=$((failures + 1)); }
        continue
      fi
      found=0
      for source in "$root"/examples/*.c "$root"/examples/*.cpp "$root"/include/kpxml/*.h; do
        if [[ "$(cat "$source")" == *"$(cat "$block")"* ]]; then found=1; break; fi
      done
      [ "$found" -eq 1 ] || { echo "a block of $(basename "$block") is in no example or header:" >&2; cat "$block" >&2; failures=$((failures + 1)); }
    done
    [ "$(ls "$blocks" | wc -l)" -gt 0 ] || { echo "no blocks found" >&2; exit 1; }
    [ "$failures" -eq 0 ]
    ;;
  output)
    expected=$2
    shift 2
    if [[ "$expected" == *.md ]]; then
      expected_text=$(awk '/^It prints:$/ { found = 1; next } found && /^```text$/ { inside = 1; next }
                           inside && /^```$/ { exit } inside { print }' "$expected")
    else
      expected_text=$(cat "$expected")
    fi
    # A program without binary standard output ends its lines with CR LF on Windows.
    actual=$("$@" | tr -d '\r') || { echo "the program failed" >&2; exit 1; }
    [ -n "$expected_text" ] && diff <(printf '%s\n' "$expected_text") <(printf '%s\n' "$actual")
    ;;
  *)
    echo "usage: $0 snippets ROOT | output EXPECTED PROGRAM..." >&2
    exit 2
    ;;
esac
