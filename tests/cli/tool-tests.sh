#!/usr/bin/env bash
# Runs the kpxml tool on the files in this folder and compares its exit status, standard output,
# standard error and written files with the expected ones, byte for byte.
# Usage: tool-tests.sh GROUP VERSION TOOL...   (TOOL: the program, after an emulator if any)
# Runs in the current directory, which it fills with scratch copies.
set -uo pipefail
group=$1
version=$2
shift 2
tool=("$@")
here=$(cd "$(dirname "$0")" && pwd)
failures=0

# expect STATUS STDOUT STDERR ARGUMENT...: STDOUT and STDERR are the exact texts expected.
expect() {
  local status=$1 stdout=$2 stderr=$3
  shift 3
  "${tool[@]}" "$@" >stdout.txt 2>stderr.txt
  local actual=$?
  if [ "$actual" != "$status" ] || ! cmp -s stdout.txt <(printf '%s' "$stdout") ||
     ! cmp -s stderr.txt <(printf '%s' "$stderr"); then
    echo "FAILED: kpxml $*" >&2
    echo "  status $actual (expected $status)" >&2
    diff <(printf '%s' "$stdout") stdout.txt >&2
    diff <(printf '%s' "$stderr") stderr.txt >&2
    failures=$((failures + 1))
  fi
}

# same EXPECTED_FILE ACTUAL_FILE: the files are equal byte for byte.
same() {
  if ! cmp "$1" "$2"; then
    diff "$1" "$2" >&2
    failures=$((failures + 1))
  fi
}

case "$group" in
  show)
    cp "$here/sample.xml" .
    expect 0 "$(cat "$here/sample.dump")"$'\n' "" dump sample.xml
    expect 0 "$(cat "$here/sample.fmt")"$'\n' "" fmt sample.xml --indent tab --no-declaration
    # Files are written with CR LF line ends, as every file the library writes.
    expect 0 "" "" fmt sample.xml -o out.xml --no-declaration --indent tab
    same <(sed 's/$/\r/' "$here/sample.fmt") out.xml
    ;;
  edit)
    cp "$here/sample.xml" .
    expect 0 $'12.5\n' "" get sample.xml project/origin/X
    expect 0 $'"hi"\n' "" get sample.xml project/quote say
    expect 1 "" $'kpxml: sample.xml: no element project/origin/Z\n' get sample.xml project/origin/Z
    expect 1 "" $'kpxml: sample.xml: element project has no attribute size\n' get sample.xml project size
    expect 1 "" $'kpxml: sample.xml: the root element is <project>, not <other>\n' set sample.xml other/X 1
    expect 0 "" "" set sample.xml project/origin/Z 0.25
    expect 0 "" "" set sample.xml project/loads/case id 7
    expect 0 "" "" set sample.xml project/name "New name"
    same "$here/set.written" sample.xml
    expect 0 $'7\n' "" get sample.xml project/loads/case id
    # A save that fails names the file and the reason, and changes nothing.
    chmod a-w sample.xml
    expect 1 "" $'kpxml: sample.xml: not saved: read-only file\n' set sample.xml project/name "Other"
    chmod u+w sample.xml
    same "$here/set.written" sample.xml
    expect 1 "" $'kpxml: missing/out.xml: not saved: No such file or directory\n' fmt sample.xml -o missing/out.xml
    ;;
  check)
    cp -r "$here/check" "$here/clean.xml" .
    expect 1 "$(cat "$here/check.expected")"$'\n' "" check check/*.xml
    expect 0 "" "" check clean.xml
    # Every file is checked; one that cannot be read makes the status 1.
    expect 1 "" $'kpxml: missing.xml: No such file or directory\n' check clean.xml missing.xml
    ;;
  usage)
    expect 1 "" $'kpxml: missing.xml: No such file or directory\n' dump missing.xml
    expect 2 "" $'kpxml fmt: missing arguments\nusage: kpxml fmt FILE [-o OUT] [--indent N|tab] [--no-declaration]\n' fmt
    expect 2 "" $'kpxml get: unknown option or missing value: --indent\nusage: kpxml get FILE PATH [ATTRIBUTE]\n' get x.xml a --indent 2
    expect 2 "" $'kpxml set: empty element name in a//b\nusage: kpxml set FILE PATH [ATTRIBUTE] VALUE\n' set x.xml a//b 1
    expect 0 "kpxml $version"$'\n' "" --version
    for command in dump fmt get set check; do
      "${tool[@]}" "$command" --help >stdout.txt 2>&1 && head -n 1 stdout.txt | grep -q "^usage: kpxml $command " ||
        { echo "FAILED: kpxml $command --help" >&2; failures=$((failures + 1)); }
    done
    ;;
  dialect)
    # Every input block of the dialect guide, with the dump and fmt blocks that follow it.
    awk '/^```xml input$/ { n++; file = sprintf("case%02d.xml", n) }
         /^```text dump$/ { file = sprintf("case%02d.dump", n) }
         /^```xml fmt$/ { file = sprintf("case%02d.fmt", n) }
         /^```$/ { file = "" ; next }
         /^```/ { printf "" > file; next }
         file != "" { print > file }' "$here/../../docs/dialect.md"
    [ -f case01.xml ] || { echo "no examples found" >&2; failures=$((failures + 1)); }
    for input in case*.xml; do
      expect 0 "$(cat "${input%.xml}.dump")"$'\n' "" dump "$input"
      expect 0 "$(cat "${input%.xml}.fmt")"$'\n' "" fmt "$input" --no-declaration
    done
    ;;
  *)
    echo "unknown group $group" >&2
    exit 2
    ;;
esac

[ "$failures" -eq 0 ]
