#!/bin/bash
# Configures and builds presets; shows the output of one that fails only.
# scripts/build.sh PRESET...
set -euo pipefail
cd "$(dirname "$0")/.."

log=$(mktemp)
trap 'rm -f "$log"' EXIT
for preset in "$@"; do
    if ! { cmake --preset "$preset" && cmake --build --preset "$preset"; } >"$log" 2>&1; then
        cat "$log" >&2
        echo "build: $preset failed" >&2
        exit 1
    fi
done
