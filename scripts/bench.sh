#!/bin/bash
# Builds and runs the benchmarks against their peers, or measures the idle agent.
# ./bench [REGEX]          all paths, or those whose names (PATH/CONTENDER) match
# ./bench idle [SECONDS]   the real process beside the stand-in daemon, for a minute or so long
set -euo pipefail
cd "$(dirname "$0")/.."

sources=bench
if [[ "${1:-}" == idle ]]; then
    scripts/setup.sh run
    scripts/build.sh release
    exec python3 $sources/idle.py --build build "${@:2}"
fi
scripts/setup.sh bench
scripts/build.sh bench
exec python3 $sources/report.py --build build-bench "$@"
