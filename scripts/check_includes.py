#!/usr/bin/env python3
"""Fails when a file includes a folder that stands above its own, or knows its operating system."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent

# From the top to the bottom of the house: a folder may include itself and what stands below it.
HOUSE = [
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
# What may look into every folder.
OUTSIDE = ("tests", "benchmarks", "fuzz")

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"')
SYSTEM_CONDITION = re.compile(
    r"^\s*#\s*(if|ifdef|ifndef|elif)\b.*"
    r"(__linux|__APPLE__|__MACH__|__unix|_WIN32|__FreeBSD__|__OpenBSD__|__ANDROID__|TARGET_OS_|__GLIBC__)")
SYSTEM_HEADER = re.compile(
    r"^\s*#\s*include\s*<(linux/|mach/|CoreFoundation/|IOKit/|asl\.h|libproc\.h|"
    r"sys/(epoll|eventfd|signalfd|timerfd|inotify|prctl|event|sysctl)\.h)")
COMPOSITION = re.compile(r"agent/main\.")
KNOWS_SYSTEM = re.compile(r"core/system/PosixDifferences\.|host/(posix|linux|macos)/")


def floor(path):
    """The folder of the house that a path stands in, or None outside of it."""
    if re.match(r"host/[^/]+/", path):
        return "host/BACKEND"
    folders = [folder for folder in HOUSE if path.startswith(folder + "/")]
    return max(folders, key=len, default=None)


def faults_of(path, text):
    own = floor(path)
    for number, line in enumerate(text.splitlines(), 1):
        if not KNOWS_SYSTEM.match(path):
            if SYSTEM_CONDITION.match(line):
                yield number, "a condition on the operating system belongs in core/system/PosixDifferences"
            if SYSTEM_HEADER.match(line):
                yield number, "a header of one operating system belongs in its folder of host/"
        include = INCLUDE.match(line)
        if not include:
            continue
        target = include.group(1)
        other = floor(target)
        if not (ROOT / target).is_file():
            yield number, f'"{target}" is not a file, seen from the root of the repository'
        elif path.startswith(OUTSIDE):
            continue
        elif other is None:
            yield number, f'"{target}" is no part of the product'
        elif HOUSE.index(other) < HOUSE.index(own):
            yield number, f'"{target}" stands above {own}'
        elif other == "host/BACKEND" and not (
                own in ("host/BACKEND", "standins") or COMPOSITION.match(path)):
            yield number, f'"{target}": only the composition of the program and the stand-ins know a backend'


def sources():
    for folder in sorted({folder.split("/")[0] for folder in HOUSE} | set(OUTSIDE)):
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix in (".h", ".cpp", ".mm"):
                yield path.relative_to(ROOT).as_posix(), path.read_text(encoding="utf-8")


def main():
    files = faults = 0
    for path, text in sources():
        files += 1
        if floor(path) is None and not path.startswith(OUTSIDE):
            print(f"{path}: stands in no folder of the house")
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
