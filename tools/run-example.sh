#!/usr/bin/env bash
# Builds KpXml and its kpxml tool, and shows a bundled example file as KpXml reads it (dump) and
# where that differs from a standard XML reader (check, which exits with 1 when it finds any).
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-deps.sh
cmake --preset linux >/dev/null
cmake --build --preset linux --target kpxml_cli -j"$(nproc)"
echo "\$ kpxml dump examples/project.xml"
build/linux/bin/kpxml dump examples/project.xml
echo "\$ kpxml check examples/project.xml"
build/linux/bin/kpxml check examples/project.xml || [ $? -eq 1 ]
