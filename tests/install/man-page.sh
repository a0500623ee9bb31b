#!/usr/bin/env bash
# The installed manual page: `man kpxml` finds it through MANPATH, groff renders it without a
# warning, and it names every command and option the tool's help texts name (kpxml --help,
# kpxml COMMAND --help), and the exit statuses.
# Usage: man-page.sh PREFIX     (a prefix the build was installed into)
set -euo pipefail
prefix=$(realpath "$1")
tool=$prefix/bin/kpxml
page=$prefix/share/man/man1/kpxml.1.gz
status=0
fail() {
  echo "$*" >&2
  status=1
}

[ -f "$page" ] || { echo "no manual page at $page" >&2; exit 1; }
rendered=$(MANPATH="$prefix/share/man" MANWIDTH=200 man kpxml 2>/dev/null) ||
  fail "MANPATH=$prefix/share/man man kpxml failed"
warnings=$(man --warnings -E UTF-8 -l -Tutf8 -Z "$page" 2>&1 >/dev/null) || fail "man -l $page failed"
[ -z "$warnings" ] || fail "groff warns about the page: $warnings"
grep -q '^NAME' <<<"$rendered" && grep -q '^ *kpxml - ' <<<"$rendered" || fail "the page has no NAME line 'kpxml - ...'"

# Every command of the overview, and every option word in the overview and each command's help.
commands=$("$tool" --help | sed -n 's/^  \([a-z][a-z]*\) .*/\1/p')
[ -n "$commands" ] || fail "kpxml --help lists no commands"
help=$("$tool" --help)
for command in $commands; do
  grep -Eq "^ *$command( |$)" <<<"$rendered" || fail "the page does not describe the command $command"
  help+=$'\n'$("$tool" "$command" --help)
done
options=$(grep -oE '(^|[][ (|])--?[a-z][a-z-]*' <<<"$help" | sed -E 's/^[][ (|]//' | sort -u)
for option in $options; do
  grep -Fq -- "$option" <<<"$rendered" || fail "the page does not mention the option $option"
done
for section in 'EXIT STATUS' EXAMPLES; do
  grep -q "^$section" <<<"$rendered" || fail "the page has no $section section"
done

[ "$status" -ne 0 ] || echo "man kpxml: $(wc -l <<<"$rendered") lines, $(wc -w <<<"$commands") commands and $(wc -w <<<"$options") options described"
exit "$status"
