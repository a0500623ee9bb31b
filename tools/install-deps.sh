#!/usr/bin/env bash
# Installs, from Debian's packages, what building and testing KpXml needs and the machine lacks.
#   tools/install-deps.sh            compiler, CMake, GoogleTest sources, pkg-config, scdoc (the
#                                    manual page), the Debian packaging tools, lintian and man,
#                                    and pybind11, Python's headers and pytest for the Python
#                                    module (Linux build)
#   tools/install-deps.sh --windows  also mingw-w64 and Wine (Windows build and its tests)
#   tools/install-deps.sh --clang    also clang (the build that turns every warning into an error)
#   tools/install-deps.sh --bench    also Google Benchmark, the peer libraries it compares with and
#                                    valgrind (its instruction counts)
#   tools/install-deps.sh --fuzz     also clang with libFuzzer
set -euo pipefail

packages=(cmake g++ make googletest pkgconf dpkg-dev scdoc lintian man-db pybind11-dev python3-dev python3-pytest)
for arg in "$@"; do
  case "$arg" in
    --windows) packages+=(g++-mingw-w64-x86-64-posix wine64) ;;
    --clang) packages+=(clang) ;;
    --bench) packages+=(libbenchmark-dev libpugixml-dev libtinyxml2-dev libxml2-dev valgrind) ;;
    --fuzz) packages+=(clang libclang-rt-14-dev) ;;
    *) echo "usage: $0 [--windows] [--clang] [--bench] [--fuzz]" >&2; exit 2 ;;
  esac
done

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
