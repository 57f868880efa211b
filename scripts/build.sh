#!/bin/bash
# SPDX-License-Identifier: MIT
# Configures and builds presets. Shows the output only of a preset that fails, and on a terminal the progress.
# scripts/build.sh PRESET...
set -euo pipefail
cd "$(dirname "$0")/.."

# progress PRESET: shows the "[N/M]" at the beginning of ninja's lines in one line, which is cleared at the end.
progress() {
    local line
    while IFS= read -r line; do
        if [[ -t 1 && $line == \[* ]]; then
            printf '\rBuilding %s %s] ' "$1" "${line%%]*}"
        fi
    done
    [[ ! -t 1 ]] || printf '\r\033[K'
}

log=$(mktemp)
trap 'rm -f "$log"' EXIT
for preset in "$@"; do
    if ! { cmake --preset "$preset" && cmake --build --preset "$preset"; } 2>&1 | tee "$log" | progress "$preset"; then
        cat "$log" >&2
        echo "build: $preset failed" >&2
        exit 1
    fi
done
