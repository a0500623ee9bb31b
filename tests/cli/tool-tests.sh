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

# refused NAME CONTENT STATUS STDERR ARGUMENT...: NAME holding CONTENT (printf format) is given to
# the tool, which must end with STATUS and exactly STDERR, write nothing to standard output, and
# leave NAME as it was.
refused() {
  local name=$1 content=$2 status=$3 stderr=$4
  shift 4
  printf "$content" >"$name"
  cp "$name" before.xml
  expect "$status" "" "$stderr" "$@"
  same before.xml "$name"
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
    expect 2 "" $'kpxml fmt: missing arguments\nusage: kpxml fmt FILE [-o OUT] [--indent N|tab] [--no-declaration] [--force] [--strict]\n' fmt
    expect 2 "" $'kpxml get: unknown option or missing value: --indent\nusage: kpxml get FILE PATH [ATTRIBUTE]\n' get x.xml a --indent 2
    expect 2 "" $'kpxml set: empty element name in a//b\nusage: kpxml set FILE PATH [ATTRIBUTE] VALUE [--create] [--indent N|tab] [--no-declaration] [--force] [--strict]\n' set x.xml a//b 1
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
  rewrite)
    # Files as they come from elsewhere: set and fmt -o write nothing when data would change.
    refused doctype.xml '<?xml version="1.0"?>\n<!DOCTYPE r [\n<!ENTITY e "v">\n]>\n<r>\n  <a>1</a>\n</r>\n' 1 \
      $'kpxml: doctype.xml: not changed: 2:1: DOCTYPE is read as element <!DOCTYPE>\n' fmt doctype.xml -o doctype.xml
    refused comment.xml '<r>\n  <!--generated-->\n  <a>1</a>\n</r>\n' 1 \
      $'kpxml: comment.xml: not changed: 2:3: comment is read as element <!--generated-->\n' set comment.xml r/a 2
    refused utf8.xml '<?xml version="1.0" encoding="utf-8"?>\n<r>\n  <a>1</a>\n  <b>\xe5\x8f\x96\xe6\xb6\x88</b>\n</r>\n' 1 \
      $'kpxml: utf8.xml: not changed: 4:6: bytes above 127 are read one by one as characters of the code page, not as UTF-8\n' \
      set utf8.xml r/a 2
    refused alpha.xml '<r>\n  <a>1</a>\n  <b>&#945; &lt; &#8804; 2</b>\n</r>\n' 1 \
      $'kpxml: alpha.xml: not changed: 3:6: character reference &#945; has no character in the code page and is read as "a" (and 1 more)\n' \
      set alpha.xml r/a 2
    # The output file is named first, the input with each position.
    refused alpha.xml '<r>\n  <a x="&#150;"/>\n</r>\n' 1 \
      $'kpxml: out.xml: not changed: alpha.xml:2:9: character reference &#150; is read as the byte 0x96, which is &#8211; in the code page, not U+0096\n' \
      fmt alpha.xml -o out.xml
    [ ! -e out.xml ] || { echo "FAILED: out.xml written" >&2; failures=$((failures + 1)); }
    # What the new document would lose when read back: text before a child, a tab in a text.
    refused children.xml '<project>\n  <origin>\n    <X>1</X>\n  </origin>\n</project>\n' 1 \
      $'kpxml: children.xml: not changed: 2:3: element <origin> has the text "" when read back instead of "note" (text before child elements is not kept)\n' \
      set children.xml project/origin note
    refused children.xml '<project>\n  <origin>\n    <X>1</X>\n  </origin>\n</project>\n' 1 \
      $'kpxml: children.xml: not changed: element project/origin/Y has the text "ab" when read back instead of "a\\tb"\n' \
      set children.xml project/origin/Y $'a\tb'
    # A value typed in UTF-8 would be written byte by byte as code-page characters. Only Linux
    # passes it so: Windows' C library gives a program its arguments in the code page, where
    # the same value arrives as the one byte of é and is written as &#233;.
    if [ "${#tool[@]}" -eq 1 ]; then
      refused utf8value.xml '<r>\n  <a>1</a>\n</r>\n' 1 \
        $'kpxml: utf8value.xml: not changed: "caf\\xC3\\xA9" is UTF-8 text, but the library writes each of its bytes as a character of the code page\n' \
        set utf8value.xml r/a $'caf\xc3\xa9'
    else
      printf '<r>\n  <a>1</a>\n</r>\n' >utf8value.xml
      expect 0 "" "" set utf8value.xml r/a $'caf\xc3\xa9'
      same <(printf '<?xml version="1.0"?>\r\n<r>\r\n  <a>caf&#233;</a>\r\n</r>\r\n') utf8value.xml
    fi
    # Input without any element.
    refused empty.xml '' 1 $'kpxml: empty.xml: no element found\n' set empty.xml r/a 1
    refused binary.xml '\x7fELF\x02\x01\x01\x00<\x00' 1 $'kpxml: binary.xml: no element found\n' fmt binary.xml -o out.xml
    # A dropped comment is a note, and the file is written; --strict makes it block.
    refused note.xml '<r>\n  <!-- a note -->\n  <a>1</a>\n</r>\n' 1 \
      $'kpxml: note.xml: not changed: 2:3: note: comment is dropped\n' set --strict note.xml r/a 2
    expect 0 "" $'note.xml:2:3: note: comment is dropped\n' set note.xml r/a 2
    same <(printf '<?xml version="1.0"?>\r\n<r>\r\n  <a>2</a>\r\n</r>\r\n') note.xml
    # --force writes and lists what is lost.
    printf '<r>\n  <a>1</a>\n  <b>&#945; &lt; &#8804; 2</b>\n</r>\n' >forced.xml
    expect 0 "" $'kpxml: forced.xml: lost: forced.xml:3:6: character reference &#945; has no character in the code page and is read as "a"\nkpxml: forced.xml: lost: forced.xml:3:18: character reference &#8804; has no character in the code page and is read as "="\n' \
      set --force forced.xml r/a 3
    same <(printf '<?xml version="1.0"?>\r\n<r>\r\n  <a>3</a>\r\n  <b>a &lt; &#61; 2</b>\r\n</r>\r\n') forced.xml
    # --create makes a new file; a second call edits it.
    expect 0 "" "" set --create new.xml doc/a/b 5
    expect 0 "" "" set --create new.xml doc/a c 6
    same <(printf '<?xml version="1.0"?>\r\n<doc>\r\n  <a c="6">\r\n    <b>5</b>\r\n  </a>\r\n</doc>\r\n') new.xml
    expect 1 "" $'kpxml: other.xml: No such file or directory\n' set other.xml doc/a 1
    ;;
  readback)
    # This build spoils every file right after saving it: the read-back must catch that.
    printf '<r>\n  <a>1</a>\n</r>\n' >spoiled.xml
    expect 1 "" $'kpxml: spoiled.xml: saved, but it reads back differently: element r has 2 child elements when read back instead of 1\n' \
      set spoiled.xml r/a 2
    printf '<r>\n  <a>1</a>\n</r>\n' >spoiled.xml
    expect 1 "" $'kpxml: out.xml: saved, but it reads back differently: element r has 2 child elements when read back instead of 1\n' \
      fmt spoiled.xml -o out.xml
    ;;
  manners)
    cp "$here/sample.xml" "$here/clean.xml" .
    # "-" is standard input for every reading command, and standard output for -o.
    expect 0 "$(cat "$here/sample.dump")"$'\n' "" dump - <sample.xml
    expect 0 $'12.5\n' "" get - project/origin/X <sample.xml
    expect 0 "$(cat "$here/sample.fmt")"$'\n' "" fmt - -o - --indent tab --no-declaration <sample.xml
    expect 0 $'-:1:1: note: UTF-8 byte order mark is dropped\n' "" check - <<<$'\xef\xbb\xbf<a/>'
    expect 1 "" $'kpxml: -: no element found\n' dump - </dev/null
    expect 2 "" $'kpxml set: the file to change cannot be standard input\nusage: kpxml set FILE PATH [ATTRIBUTE] VALUE [--create] [--indent N|tab] [--no-declaration] [--force] [--strict]\n' \
      set - a 1
    # check: status 1 only for a data finding; notes count with --strict; usage errors are 2.
    printf '<a><!-- x y --><?pi x?></a>' >notes.xml
    expect 0 $'notes.xml:1:4: note: comment is dropped\nnotes.xml:1:16: note: processing instruction is dropped\n' "" check clean.xml notes.xml
    expect 1 $'notes.xml:1:4: note: comment is dropped\nnotes.xml:1:16: note: processing instruction is dropped\n' "" check --strict notes.xml
    expect 2 "" $'kpxml check: unknown option or missing value: --force\nusage: kpxml check [--strict] FILE...\n' check --force clean.xml
    expect 2 "" $'kpxml: unknown command frobnicate\n'"$("${tool[@]}" --help)"$'\n' frobnicate
    "${tool[@]}" --help >stdout.txt 2>stderr.txt && [ -s stdout.txt ] && [ ! -s stderr.txt ] ||
      { echo "FAILED: kpxml --help" >&2; failures=$((failures + 1)); }
    # Output that cannot be written: a full device, a full file system, a closed pipe.
    "${tool[@]}" dump sample.xml >/dev/full 2>stderr.txt
    [ $? = 1 ] && cmp -s stderr.txt <(printf 'kpxml: write error: No space left on device\n') ||
      { echo "FAILED: dump to /dev/full: $(cat stderr.txt)" >&2; failures=$((failures + 1)); }
    for i in $(seq 20000); do printf '<e%d a="%d">some text</e%d>' "$i" "$i" "$i"; done | sed 's/^/<r>/; s/$/<\/r>/' >big.xml
    if unshare -rm true 2>/dev/null; then
      mkdir -p full
      unshare -rm bash -c 'mount -t tmpfs -o size=64k tmpfs full && "$@" fmt big.xml >full/out.xml 2>stderr.txt; echo $? >status.txt' \
        tool "${tool[@]}"
      # The reason is the system's: Wine gives "Invalid argument" here, Linux "No space left on device".
      [ "$(cat status.txt)" = 1 ] && grep -q '^kpxml: write error: [A-Z][a-z ]*$' stderr.txt && [ "$(wc -l <stderr.txt)" = 1 ] ||
        { echo "FAILED: fmt to a full tmpfs: status $(cat status.txt), $(cat stderr.txt)" >&2; failures=$((failures + 1)); }
    else
      echo "note: no user namespace here, the full tmpfs case was not run (/dev/full was)" >&2
    fi
    # Bash completion offers the commands and each command's options.
    bash -c 'source "$1"; COMP_WORDS=(kpxml set --f); COMP_CWORD=2; _kpxml; echo "${COMPREPLY[*]}"
             COMP_WORDS=(kpxml c); COMP_CWORD=1; _kpxml; echo "${COMPREPLY[*]}"' - "$here/../../cli/kpxml.bash" >stdout.txt
    cmp -s stdout.txt <(printf -- '--force\ncheck\n') || { echo "FAILED: bash completion" >&2; failures=$((failures + 1)); }
    # A reader that stops early ends the output quietly.
    "${tool[@]}" dump big.xml 2>stderr.txt | head -n 1 >stdout.txt
    cmp -s stdout.txt <(printf '<r>\n') && [ ! -s stderr.txt ] ||
      { echo "FAILED: dump | head: $(cat stderr.txt)" >&2; failures=$((failures + 1)); }
    # So it does where the closed pipe is an error instead of a signal: exit status 1, no message.
    (trap '' PIPE; "${tool[@]}" dump big.xml 2>stderr.txt | head -n 1 >stdout.txt; echo "${PIPESTATUS[0]}" >status.txt)
    [ "$(cat status.txt)" = 1 ] && cmp -s stdout.txt <(printf '<r>\n') && [ ! -s stderr.txt ] ||
      { echo "FAILED: dump | head without SIGPIPE: status $(cat status.txt), $(cat stderr.txt)" >&2; failures=$((failures + 1)); }
    ;;
  *)
    echo "unknown group $group" >&2
    exit 2
    ;;
esac

[ "$failures" -eq 0 ]
