#!/bin/bash
# Installs what is missing of the Debian packages that a task needs; silent when nothing is.
# scripts/setup.sh run|test|bench
set -euo pipefail

build=(g++ cmake ninja-build pkg-config libexpat1-dev nlohmann-json3-dev libsdbus-c++-dev libsystemd-dev
    libutf8proc-dev python3)

case "${1:-}" in
run) packages=("${build[@]}" dbus-daemon) ;;
test) packages=("${build[@]}" libgtest-dev libgmock-dev dbus-daemon clang clang-format clang-tidy
    libclang-rt-14-dev lld llvm cloc git) ;;
bench) packages=("${build[@]}" libbenchmark-dev libpugixml-dev librapidxml-dev libboost-dev libspdlog-dev
    libzmq3-dev libfmt-dev) ;;
*)
    echo "usage: $0 run|test|bench" >&2
    exit 2
    ;;
esac

missing=()
for package in "${packages[@]}"; do
    if [[ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)" != installed ]]; then
        missing+=("$package")
    fi
done
if ((${#missing[@]} == 0)); then
    exit 0
fi

as_root=()
if ((EUID != 0)); then
    as_root=(sudo)
fi
echo "Installing ${missing[*]}"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { "${as_root[@]}" apt-get update &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
        "${missing[@]}"; } >"$log" 2>&1; then
    cat "$log" >&2
    echo "setup: the packages could not be installed" >&2
    exit 1
fi
