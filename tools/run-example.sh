#!/usr/bin/env bash
# Builds KpXml and runs the example program that builds a small tree and prints what it reads back.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-deps.sh
cmake --preset linux >/dev/null
cmake --build --preset linux --target build_tree -j"$(nproc)"
build/linux/bin/build_tree
