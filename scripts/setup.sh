#!/bin/bash
# SPDX-License-Identifier: MIT
# Installs the Debian packages that a task needs and that are missing. On a system without apt-get it prints what is
# missing and installs nothing; on a Mac, with the names of Homebrew's packages. Prints nothing when nothing is missing.
# scripts/setup.sh run|test|desktop|package|bench|idle|macos      desktop: for the scenario of that name; idle: for its bench
set -euo pipefail

# Each Debian package, and one thing that it contains: a header, a program, a library that pkg-config knows, or a module of
# the system's Python.
build="g++:g++ cmake:cmake ninja-build:ninja pkg-config:pkg-config libexpat1-dev:expat.h
    nlohmann-json3-dev:nlohmann/json.hpp libsdbus-c++-dev:sdbus-c++/sdbus-c++.h libsystemd-dev:systemd/sd-bus.h
    libutf8proc-dev:utf8proc.h libedit-dev:histedit.h python3:python3
    qt6-base-dev:pkg.Qt6Widgets qt6-svg-dev:pkg.Qt6Svg libxcb1-dev:xcb/xcb.h"
sandbox="dbus-daemon:dbus-daemon python3-prompt-toolkit:module.prompt_toolkit"
desktop="xvfb:Xvfb openbox:openbox xfce4-panel:xfce4-panel xfconf:xfconf-query trayer:trayer dunst:dunst
    xdotool:xdotool imagemagick:import x11-utils:xprop x11-xserver-utils:xsetroot
    at-spi2-core:/usr/libexec/at-spi-bus-launcher fonts-dejavu-core:/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf
    python3-gi:module.gi python3-dbusmock:module.dbusmock"
package="dpkg-dev:dpkg-shlibdeps file:file lintian:lintian appstream:appstreamcli
    desktop-file-utils:desktop-file-validate man-db:man"
case "${1:-}" in
run) needs="$build $sandbox" ;;
test) needs="$build $sandbox xvfb:Xvfb xdotool:xdotool libgtest-dev:gtest/gtest.h libgmock-dev:gmock/gmock.h clang:clang++
    clang-format:clang-format clang-tidy:clang-tidy libclang-rt-14-dev:fuzzer/FuzzedDataProvider.h lld:lld
    llvm:llvm-symbolizer cloc:cloc git:git xauth:xauth $desktop" ;;
desktop) needs="$sandbox $desktop" ;;
package) needs="$build $package" ;;
bench) needs="$build libbenchmark-dev:benchmark/benchmark.h libpugixml-dev:pugixml.hpp
    librapidxml-dev:rapidxml/rapidxml.hpp libboost-dev:boost/version.hpp libspdlog-dev:spdlog/spdlog.h
    libzmq3-dev:zmq.h libfmt-dev:fmt/format.h" ;;
idle) needs="$build $sandbox $desktop strace:strace binutils:strip network-manager-gnome:nm-applet blueman:blueman-applet" ;;
macos) needs="cmake:cmake ninja-build:ninja python3:python3 clang-19:clang-19 lld-19:ld64.lld-19 llvm-19:llvm-nm-19 npm:npm
    libexpat1-dev:expat.h nlohmann-json3-dev:nlohmann/json.hpp googletest:/usr/src/googletest/CMakeLists.txt
    librsvg2-bin:rsvg-convert" ;;
*)
    echo "usage: $0 run|test|desktop|package|bench|idle|macos" >&2
    exit 2
    ;;
esac

system=Debian
if [[ $(uname -s) == Darwin && $1 =~ ^(run|test)$ ]]; then
    system=Homebrew
    needs="cmake:cmake ninja:ninja nlohmann-json:nlohmann/json.hpp librsvg:rsvg-convert"
    [[ $1 == run ]] || needs+=" googletest:gmock/gmock.h cloc:cloc"
    if ! xcode-select -p >/dev/null 2>&1; then
        echo "setup: Apple's command line tools are missing; \"xcode-select --install\" installs them" >&2
        exit 1
    fi
fi

# is_there FILE: looks for the header, program or module itself, because distributions name their packages differently.
is_there() {
    case $1 in
    pkg.*) pkg-config --exists "${1#pkg.}" ;;
    module.*) /usr/bin/python3 -c "import ${1#module.}" ;;
    fuzzer/*) echo "#include <$1>" | clang++ -E -x c++ - ;;
    *.h | *.hpp) echo "#include <$1>" | g++ -std=c++20 -I/opt/homebrew/include -E -x c++ - ;;
    /*) test -e "$1" ;;
    *) command -v "$1" ;;
    esac >/dev/null 2>&1
}

if ! { command -v apt-get && command -v dpkg-query; } >/dev/null; then
    missing=""
    for need in $needs; do
        is_there "${need#*:}" || missing+="    ${need#*:} ($system: ${need%%:*})"$'\n'
    done
    if [[ -n $missing ]]; then
        printf 'setup: This system has no apt-get, so nothing can be installed from here. Missing are these\n%s' \
            "headers, programs and Python modules:"$'\n'"$(sed -E "s/(module|pkg)\.//" <<<"$missing")" >&2
        echo "Install them with the tools of this system, then start again." >&2
        exit 1
    fi
    exit 0
fi

missing=()
for need in $needs; do
    package=${need%%:*}
    if [[ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)" != installed ]] &&
        ! is_there "${need#*:}"; then
        missing+=("$package")
    fi
done
if ((${#missing[@]} == 0)); then
    exit 0
fi

as_root=()
how='as root with "apt-get install"'
if ((EUID != 0)); then
    as_root=(sudo)
    how='with "sudo apt-get install"'
    if ! command -v sudo >/dev/null; then
        echo "setup: Without sudo, an administrator has to install: ${missing[*]}" >&2
        exit 1
    fi
fi
echo "Installing $how: ${missing[*]}" | fold -s -w 80
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { "${as_root[@]}" apt-get update &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
        "${missing[@]}"; } >"$log" 2>&1; then
    cat "$log" >&2
    echo "setup: the packages could not be installed" >&2
    exit 1
fi
