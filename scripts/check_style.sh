#!/bin/bash
# SPDX-License-Identifier: MIT
# Fails when a source file is not formatted according to .clang-format.
set -euo pipefail
cd "$(dirname "$0")/.."

find . \( -path './build' -o -path './build-*' -o -path './.git' \) -prune -o \
    \( -name '*.h' -o -name '*.cpp' -o -name '*.mm' \) -print0 |
    xargs -0 -n 40 clang-format --dry-run -Werror
