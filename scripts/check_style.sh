#!/bin/bash
# Fails when a source file is not formatted as .clang-format says.
set -euo pipefail
cd "$(dirname "$0")/.."

find agent basic benchmarks core fuzz host privileged-helper remote standins tests \
    \( -name '*.h' -o -name '*.cpp' -o -name '*.mm' \) -print0 2>/dev/null |
    xargs -0 -r -n 40 clang-format --dry-run -Werror
