#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Fails when a file includes a folder that is above its own, or depends on the operating system."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent

# From the top to the bottom: a folder may include itself and the folders below it.
LAYERS = [
    "standins",
    "agent",
    "privileged-helper/client",
    "privileged-helper/shared",
    "remote/platform",
    "remote/platform/launchd",
    "remote/platform/settings",
    "remote",
    "remote/xml",
    "basic",
    "host/BACKEND",
    "host",
    "core/messenger",
    "core/logging",
    "core/streams",
    "core/system",
    "core/events",
    "core/threads",
    "core/time",
    "core/text",
    "core/base",
]
# These folders may include every folder.
OUTSIDE = ("tests", "benchmarks", "fuzz")

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"')
SYSTEM_CONDITION = re.compile(
    r"^\s*#\s*(if|ifdef|ifndef|elif)\b.*"
    r"(__linux|__APPLE__|__MACH__|__unix|_WIN32|__FreeBSD__|__OpenBSD__|__ANDROID__|TARGET_OS_|__GLIBC__)")
SYSTEM_HEADER = re.compile(
    r"^\s*#\s*include\s*<(linux/|mach/|CoreFoundation/|IOKit/|asl\.h|libproc\.h|"
    r"sys/(epoll|eventfd|signalfd|timerfd|inotify|prctl|event|sysctl)\.h)")
MAIN = re.compile(r"agent/main\.")
SYSTEM_SPECIFIC = re.compile(r"core/system/PosixDifferences\.|host/(posix|linux|macos)/")


def layer(path):
    """Returns the layer that a path belongs to, or None outside of all."""
    if re.match(r"host/[^/]+/", path):
        return "host/BACKEND"
    folders = [folder for folder in LAYERS if path.startswith(folder + "/")]
    return max(folders, key=len, default=None)


def faults_of(path, text):
    own = layer(path)
    for number, line in enumerate(text.splitlines(), 1):
        if not SYSTEM_SPECIFIC.match(path):
            if SYSTEM_CONDITION.match(line):
                yield number, "a condition on the operating system belongs in core/system/PosixDifferences"
            if SYSTEM_HEADER.match(line):
                yield number, "a header of one operating system belongs in its folder of host/"
        include = INCLUDE.match(line)
        if not include:
            continue
        target = include.group(1)
        other = layer(target)
        if not (ROOT / target).is_file():
            yield number, f'"{target}" is not a file, seen from the root of the repository'
        elif path.startswith(OUTSIDE):
            continue
        elif other is None:
            yield number, f'"{target}" is not part of the product'
        elif LAYERS.index(other) < LAYERS.index(own):
            yield number, f'"{target}" is above {own}'
        elif other == "host/BACKEND" and not (
                own in ("host/BACKEND", "standins") or MAIN.match(path)):
            yield number, f'"{target}": only agent/main.cpp and the stand-ins may include a backend'


def sources():
    for folder in sorted({folder.split("/")[0] for folder in LAYERS} | set(OUTSIDE)):
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix in (".h", ".cpp", ".mm"):
                yield path.relative_to(ROOT).as_posix(), path.read_text(encoding="utf-8")


def main():
    files = faults = 0
    for path, text in sources():
        files += 1
        if layer(path) is None and not path.startswith(OUTSIDE):
            print(f"{path}: is in no known folder")
            faults += 1
            continue
        for number, fault in faults_of(path, text):
            print(f"{path}:{number}: {fault}")
            faults += 1
    if not files:
        print("no sources found")
    return 0 if files and not faults else 1


if __name__ == "__main__":
    sys.exit(main())
