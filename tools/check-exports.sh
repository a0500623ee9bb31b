#!/usr/bin/env bash
# Checks that a built KpXml library exports exactly the C interface's names, listed one per line
# in EXPECTED (the build derives that list from KpXmlApi.h): libkpxml.so exports them and no other XML_ symbol; KpXml.dll exports them
# undecorated and nothing else that is not a C++ (mangled) name.
# Usage: tools/check-exports.sh LIBRARY EXPECTED
set -euo pipefail
library=$1
expected=$2

case "$library" in
  *.dll)
    objdump=${OBJDUMP:-x86_64-w64-mingw32-objdump}
    actual=$("$objdump" -p "$library" |
      sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' |
      sed -n 's/^[[:space:]]*\[[[:space:]]*[0-9]*\] //p' | grep -v '^_Z' | sort)
    ;;
  *)
    actual=$(nm -D --defined-only "$library" | awk '{print $3}' | grep -E '^(XML_|KpXml_)' | sort)
    ;;
esac

if diff <(sort "$expected") <(printf '%s\n' "$actual"); then
  echo "exports of $(basename "$library") match ($(printf '%s\n' "$actual" | wc -l) names)"
else
  echo "exports of $(basename "$library") differ from $expected (< expected, > actual)" >&2
  exit 1
fi
