#!/usr/bin/env bash
# Makes the Debian packages from a build configured for /usr (the package preset), the way
# debhelper would from a source package: each package's files come from one CMake install
# component, its control file from control and changelog in this folder (dpkg-gencontrol),
# its dependencies from its binaries (dpkg-shlibdeps).
#   libkpxml0     component runtime      the shared library, shlibs and the ldconfig trigger
#   libkpxml-dev  component development  headers, libkpxml.so, CMake package, kpxml.pc
#   kpxml         component tool         the tool, its manual page and bash completion
# Binaries are stripped as dh_strip does; their debug information goes to
# OUT/debug/usr/lib/debug/.build-id/ (a folder gdb's debug-file-directory can name).
# Usage: make-debs.sh BUILD_DIR OUT_DIR     (the .deb files land in OUT_DIR)
set -euo pipefail
build=$(realpath "$1")
out=$(realpath -m "$2")
here=$(cd "$(dirname "$0")" && pwd)
source_dir=$(cd "$here/../.." && pwd)
umask 022

packages=(libkpxml0 libkpxml-dev kpxml)
declare -A component=([libkpxml0]=runtime [libkpxml-dev]=development [kpxml]=tool)

cache_value() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
if [ "$(cache_value CMAKE_INSTALL_PREFIX)" != /usr ] || [ "$(cache_value CMAKE_INSTALL_LIBDIR)" != "lib/$multiarch" ]; then
  echo "make-debs.sh: $build installs into $(cache_value CMAKE_INSTALL_PREFIX)/$(cache_value CMAKE_INSTALL_LIBDIR)," \
    "not /usr/lib/$multiarch: configure it with the package preset" >&2
  exit 1
fi
version=$(dpkg-parsechangelog -l "$here/changelog" -S Version)
project_version=$(cache_value CMAKE_PROJECT_VERSION)
if [ "$version" != "$project_version" ]; then
  echo "make-debs.sh: the changelog's last entry is $version, the project is $project_version:" \
    "add an entry to $here/changelog" >&2
  exit 1
fi

# A debhelper-like work folder: debian/control, debian/changelog, and debian/PACKAGE/ as each
# package's root.
work=$out/work
rm -rf "$work" "$out/debug" "$out"/*.deb
mkdir -p "$work/debian" "$out/debug"
cp "$here/control" "$here/changelog" "$work/debian/"
cd "$work"

# The machine-readable copyright file (DEP-5), with the licence text of LICENSE.
{
  printf 'Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/\n'
  printf 'Upstream-Name: KpXml\n'
  sed -n 's/^Maintainer: /Upstream-Contact: /p' "$here/control"
  printf '\nFiles: *\n'
  sed -n 's/^Copyright (c) /Copyright: /p' "$source_dir/LICENSE"
  printf 'License: Expat\n'
  sed -n '/^Permission/,$p' "$source_dir/LICENSE" | sed 's/^$/./; s/^/ /'
} >copyright

# is_elf FILE: whether FILE is an ELF object (a program or a shared library).
is_elf() { [ "$(head -c 4 "$1" | od -An -tx1 | tr -d ' \n')" = 7f454c46 ]; }

# strip_binary FILE: keeps the debug information under $out/debug by build ID and strips FILE,
# with dh_strip's options (shared libraries keep the symbols other objects link against).
strip_binary() {
  local file=$1 id debug
  id=$(readelf -n "$file" | sed -n 's/^ *Build ID: //p')
  debug=$out/debug/usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug
  mkdir -p "$(dirname "$debug")"
  objcopy --only-keep-debug --compress-debug-sections "$file" "$debug"
  chmod 0644 "$debug"
  case "$(basename "$file")" in
    *.so | *.so.*) strip --remove-section=.comment --remove-section=.note --strip-unneeded "$file" ;;
    *) strip --remove-section=.comment --remove-section=.note "$file" ;;
  esac
  objcopy --add-gnu-debuglink="$debug" "$file"
}

for package in "${packages[@]}"; do
  root=debian/$package
  DESTDIR=$work/$root cmake --install "$build" --prefix /usr --component "${component[$package]}" >/dev/null
  [ -n "$(find "$root" -type f)" ] || { echo "make-debs.sh: component ${component[$package]} installs nothing" >&2; exit 1; }
  doc=$root/usr/share/doc/$package
  mkdir -p "$doc"
  cp copyright "$doc/copyright"
  # A native package's changelog is changelog.gz, compressed the same way on every build.
  gzip -9n <debian/changelog >"$doc/changelog.gz"
  if [ -f "$here/$package.lintian-overrides" ]; then
    mkdir -p "$root/usr/share/lintian/overrides"
    cp "$here/$package.lintian-overrides" "$root/usr/share/lintian/overrides/$package"
  fi
  mkdir -p "$root/DEBIAN"
  while IFS= read -r -d '' file; do
    ! is_elf "$file" || strip_binary "$file"
  done < <(find "$root" -type f -print0 | sort -z)
  if [ "$package" = libkpxml0 ]; then
    # Programs linked with libkpxml.so.0 depend on this package, at this version or later.
    soname=$(readelf -d "$root/usr/lib/$multiarch"/libkpxml.so.0.* | sed -n 's/.*Library soname: \[\(.*\)\.so\.\(.*\)\]/\1 \2/p')
    echo "$soname $package (>= $version)" >"$root/DEBIAN/shlibs"
    cp "$here/libkpxml0.triggers" "$root/DEBIAN/triggers"
  fi
done

# Dependencies from the binaries: libkpxml.so.0 resolves to libkpxml0 through its shlibs file
# above, system libraries through the installed packages' shlibs and symbols files.
for package in "${packages[@]}"; do
  root=debian/$package
  binaries=()
  while IFS= read -r -d '' file; do
    ! is_elf "$file" || binaries+=("$file")
  done < <(find "$root" -type f ! -path "$root/DEBIAN/*" -print0 | sort -z)
  : >"debian/$package.substvars"
  if [ ${#binaries[@]} -gt 0 ]; then
    dpkg-shlibdeps -T"debian/$package.substvars" "${binaries[@]}"
  fi
  (cd "$root" && find . -type f ! -path './DEBIAN/*' -printf '%P\0' | sort -z | xargs -0 md5sum) >"$root/DEBIAN/md5sums"
  dpkg-gencontrol -p"$package" -P"$root" -T"debian/$package.substvars"
  chmod 0644 "$root"/DEBIAN/*
  dpkg-deb --root-owner-group -Zxz --build "$root" "$out/${package}_${version}_$(dpkg-architecture -qDEB_HOST_ARCH).deb" >/dev/null
  echo "$out/${package}_${version}_$(dpkg-architecture -qDEB_HOST_ARCH).deb"
done
