#!/usr/bin/env bash
# Builds the Debian packages as a packager would (the package preset, then its deb target), and
# checks them from outside:
#   - each package holds exactly the entries of EXPECTED ("PACKAGE MODE PATH", as dpkg-deb -c
#     shows them; the bash completion is expected when the sources have one);
#   - lintian reports no error and no warning, and none of the tags that show a binary built
#     without hardening or shipped unstripped; every override says why, and docs/packaging.md
#     names its tag;
#   - unpacked into a scratch root, the packages serve a find_package and a pkg-config consumer
#     (consume.sh, with the environment the other install tests get), and the tool runs.
# Usage: debian-packages.sh SOURCE_DIR WORK EXPECTED
set -euo pipefail
source_dir=$(realpath "$1")
work=$(realpath -m "$2")
expected=$3
here=$(cd "$(dirname "$0")" && pwd)
status=0
fail() {
  echo "$*" >&2
  status=1
}

rm -rf "$work"
mkdir -p "$work"
(cd "$source_dir" && cmake --preset package -B "$work/build" >"$work/build.log" 2>&1 &&
  cmake --build "$work/build" --target deb -j2 >>"$work/build.log" 2>&1) || {
  cat "$work/build.log" >&2
  exit 1
}
packages=$work/build/packages
debs=("$packages"/*.deb)

# Contents.
actual=$(for deb in "${debs[@]}"; do
  dpkg-deb -c "$deb" | awk -v p="$(dpkg-deb -f "$deb" Package)" \
    '{ line = p " " $1 " " $6; for (i = 7; i <= NF; i++) line = line " " $i; print line }'
done | sort)
want=$(sort "$expected")
if ! diff <(printf '%s\n' "$want") <(printf '%s\n' "$actual") >&2; then
  fail "the packages differ from $expected (< expected, > actual)"
fi

# lintian, with the packages' own overrides.
lintian_output=$(lintian --display-info --show-overrides --fail-on none "${debs[@]}" 2>"$work/lintian.err") || {
  cat "$work/lintian.err" >&2
  fail "lintian failed to run"
}
printf '%s\n' "$lintian_output" >"$work/lintian.txt"
unhardened='hardening-no-fortify-functions|hardening-no-bindnow|hardening-no-relro|hardening-no-pie|binary-has-unneeded-section|unstripped-binary-or-object'
if grep -E "^[EW]: |^I: [^ ]+ ($unhardened|unused-override|mismatched-override)( |$)" "$work/lintian.txt" >&2; then
  fail "lintian: the tags above must be fixed, or overridden with a reason ($work/lintian.txt)"
fi
for overrides in "$source_dir"/cmake/debian/*.lintian-overrides; do
  [ -e "$overrides" ] || continue
  previous=""
  while IFS= read -r line; do
    if [[ "$line" != \#* ]] && [ -n "$line" ]; then
      [[ "$previous" == \#* ]] || fail "$overrides: no reason above: $line"
      tag=$(sed -E 's/^[^ ]+: //; s/ .*//' <<<"$line")
      grep -q "$tag" "$source_dir/docs/packaging.md" || fail "docs/packaging.md does not justify $tag"
    fi
    previous=$line
  done <"$overrides"
done

# A scratch root with the packages unpacked, and programs built against it.
root=$work/root
for deb in "${debs[@]}"; do dpkg-deb -x "$deb" "$root"; done
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
export KPXML_LIBDIR=lib/$multiarch
bash "$here/consume.sh" find_package "$root/usr" "$work/find_package" || fail "find_package consumer failed"
bash "$here/consume.sh" pkg-config "$root/usr" "$work/pkg-config" || fail "pkg-config consumer failed"
version=$(LD_LIBRARY_PATH="$root/usr/$KPXML_LIBDIR" "$root/usr/bin/kpxml" --version) || true
[ "$version" = "kpxml $(dpkg-deb -f "${debs[0]}" Version)" ] || fail "the packaged tool printed '$version'"

[ "$status" -ne 0 ] || echo "${#debs[@]} packages: contents as expected, lintian clean, both consumers built and ran"
exit "$status"
