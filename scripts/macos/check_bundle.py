#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Fails when something is missing or wrong in the application bundle of macOS, or in the helper that belongs to it."""

import argparse
import os
import pathlib
import plistlib
import re
import struct
import sys
import xml.etree.ElementTree as ElementTree

from macho import read_slices

AGENT = "com.korvane.remote.KvnGUIAgent"
HELPER = "com.korvane.remote.KvnServiceController"
RESOURCES = pathlib.Path(__file__).resolve().parents[2] / "resources"
LANGUAGES = "ca cs de el en es fr it ja nl pl pt pt-BR ro ru sk tr zh-Hans".split()
PROGRAMS = ["Contents/MacOS/KvnGUIAgent", "Contents/Resources/verifyPermissions.sh"]
PICTURES = [f"Contents/Resources/{name}.pdf" for name in ("ConnectedStatusIcon", "ControlledStatusIcon")]
FILES = ["Contents/Info.plist", "Contents/Resources/AppIcon.icns", "Contents/Resources/language.xml",
         *PROGRAMS, *PICTURES, *(f"Contents/Resources/{language}.lproj/{table}.strings"
                                 for language in LANGUAGES for table in ("InfoPlist", "Localizable"))]
# Added by who packs: the product's helper, and what a signature and its notarisation write.
ADDED = [f"Contents/Library/LaunchServices/{HELPER}", "Contents/_CodeSignature/CodeResources", "Contents/CodeResources"]

# The parts of an icon, and the width of their pictures. The system scales the largest for sizes that are missing.
ICON_PARTS = {b"ic11": 32, b"ic12": 64, b"ic07": 128, b"ic13": 256, b"ic08": 256, b"ic14": 512, b"ic09": 512,
              b"ic10": 1024}

# The values of lists: equal to a value, or as a pattern, complete.
VERSION = re.compile(r"\d+\.\d+\.\d+")
SOME = re.compile(r"\S.*")
REQUIREMENT = 'identifier "{}" and anchor apple generic and certificate leaf[subject.OU] = "{}"'
INFORMATION = {
    "CFBundleInfoDictionaryVersion": "6.0", "CFBundleIdentifier": AGENT, "CFBundleName": "KvnGUIAgent",
    "CFBundleExecutable": "KvnGUIAgent", "CFBundlePackageType": "APPL", "CFBundleSupportedPlatforms": ["MacOSX"],
    "CFBundleShortVersionString": VERSION, "CFBundleVersion": VERSION, "CFBundleDevelopmentRegion": "en",
    "CFBundleIconFile": "AppIcon", "NSHumanReadableCopyright": SOME, "com.korvane.source.revision": SOME,
    "LSMinimumSystemVersion": "11.0", "LSUIElement": True, "NSPrincipalClass": "NSApplication",
    "NSHighResolutionCapable": True, "NSAppleEventsUsageDescription": SOME}
AGENT_JOB = {
    "Label": AGENT,
    "ProgramArguments": [f"/Library/Application Support/com.korvane.remote/KvnGUIAgent.app/{PROGRAMS[0]}"],
    "RunAtLoad": True, "KeepAlive": True, "LimitLoadToSessionType": "Aqua", "ProcessType": "Interactive"}
HELPER_JOB = {"Label": HELPER, "RunAtLoad": True, "KeepAlive": {"SuccessfulExit": False}}

# The system forbids a signed program everything of this kind that it does not ask for.
ENTITLEMENTS = {"com.apple.security.automation.apple-events": True}

SCALARS = {"string", "integer", "real", "true", "false", "date", "data"}
faults = []


def fault(where, text):
    faults.append(f"{where}: {text}")


# MARK: Property lists

def check_element(where, element):
    """The rules for elements: plistlib passes over some that the system's own reader refuses."""
    children = list(element)
    if element.tag == "dict":
        keys = [child.text for child in children[::2] if child.tag == "key"]
        if len(keys) * 2 != len(children) or any(child.tag == "key" for child in children[1::2]):
            return fault(where, "a dictionary is not made of pairs of a key and a value")
        for key in sorted({str(key) for key in keys if keys.count(key) > 1}):
            fault(where, f"the key {key} is there twice")
        children = children[1::2]
    elif element.tag in SCALARS:
        if children:
            fault(where, f"<{element.tag}> has elements inside")
    elif element.tag != "array":
        return fault(where, f"<{element.tag}> is no element of a property list")
    for child in children:
        check_element(where, child)
    return None


def read_list(where, data):
    """Returns the list's dictionary; an empty one, and a fault, when it cannot be read."""
    try:
        root = ElementTree.fromstring(data)
        if not re.match(rb'<\?xml version="1\.0" encoding="UTF-8"\?>\s*<!DOCTYPE plist PUBLIC "[^"]+" "[^"]+">', data):
            fault(where, "it does not begin with the declarations of XML and of property lists")
        if root.tag != "plist" or root.get("version") != "1.0" or len(root) != 1:
            fault(where, "it is not one <plist> of version 1.0 with one value")
        for child in root:
            check_element(where, child)
        values = plistlib.loads(data)
        if isinstance(values, dict) and values:
            return values
        fault(where, "it is no dictionary with entries")
    except (ElementTree.ParseError, ValueError, LookupError, AttributeError) as error:
        fault(where, f"it is no property list: {error}")
    return {}


def check_values(where, values, expected):
    if not values:
        return  # read_list has said why
    for key in sorted(values.keys() ^ expected.keys()):
        fault(where, f"the key {key} is {'missing' if key in expected else 'not expected'}")
    for key in sorted(values.keys() & expected.keys()):
        value, wanted = values[key], expected[key]
        if isinstance(wanted, re.Pattern):
            fits = isinstance(value, str) and wanted.fullmatch(value)
        else:
            fits = type(value) is type(wanted) and value == wanted
        if not fits:
            fault(where, f"{key} is {value!r}, and not {getattr(wanted, 'pattern', wanted)!r}")


def read_information(path):
    """Checks the bundle's list. Returns its version, and the team that signs the helper."""
    values = read_list(path.name, path.read_bytes())
    team = re.search(r'subject\.OU\] = "([A-Z0-9]{10})"', str(values.get("SMPrivilegedExecutables")))
    if values and not team:
        fault(path.name, "SMPrivilegedExecutables has no team of ten letters and digits")
    team = team[1] if team else ""
    helpers = {"SMPrivilegedExecutables": {HELPER: REQUIREMENT.format(HELPER, team)}}
    check_values(path.name, values, INFORMATION | helpers)
    if values.get("CFBundleVersion") != values.get("CFBundleShortVersionString"):
        fault(path.name, "the two versions differ")
    return values.get("CFBundleVersion"), team


# MARK: Executables

def check_executable(path, names, names_file):
    """Returns the slices of an executable."""
    try:
        slices = read_slices(path.read_bytes())
    except (OSError, ValueError, struct.error) as error:
        fault(path.name, f"it cannot be read: {error}")
        return []
    if sorted(found.architecture for found in slices) != ["arm64", "x86_64"]:
        fault(path.name, f"it is for {[found.architecture for found in slices]}, and not for arm64 and x86_64")
    for found in slices:
        where = f"{path.name}, {found.architecture}"
        if found.minimum != "11.0":
            fault(where, f"it needs macOS {found.minimum or '(not said)'}, and not 11.0")
        if not found.signed:
            fault(where, "it has no signature, not even the linker's")
        for library in found.libraries:
            if not library.startswith(("/usr/lib/", "/System/Library/")):
                fault(where, f"it loads {library}, which is no part of macOS")
        for name in sorted(found.undefined - names):
            fault(where, f"the name {name} is new; if macOS 11 has it, add it to {names_file}")
    return slices


def check_helper(path, slices, version, team):
    expected = {"CFBundleInfoDictionaryVersion": "6.0", "CFBundleIdentifier": HELPER,
                "CFBundleName": "KvnServiceController", "CFBundleShortVersionString": version,
                "CFBundleVersion": version, "SMAuthorizedClients": [REQUIREMENT.format(AGENT, team)]}
    for found in slices:
        for section, wanted in (("__info_plist", expected), ("__launchd_plist", HELPER_JOB)):
            where = f"{path.name}, {found.architecture}, {section}"
            data = found.sections.get(("__TEXT", section))
            if data is None:
                fault(where, "the section is missing")
            else:
                check_values(where, read_list(where, data), wanted)


# MARK: Files

def check_files(bundle):
    """Returns false when a file is missing that the other checks read."""
    found = {path.relative_to(bundle).as_posix() for path in bundle.rglob("*") if not path.is_dir()}
    for name in sorted(set(FILES) - found):
        fault(name, "it is missing")
    for name in sorted(found - set(FILES) - set(ADDED)):
        fault(name, "it is no part of the bundle")
    for name in sorted(set(PROGRAMS) & found):
        if not os.access(bundle / name, os.X_OK):
            fault(name, "it cannot be executed")
    return found.issuperset(FILES)


def check_picture(path):
    data = path.read_bytes()
    if not data.startswith(b"%PDF-") or not re.search(rb"/MediaBox \[ ?0 0 18 18 ?\]", data):
        fault(path.name, "it is no PDF of 18 by 18 points")


def check_icon(path):
    data, widths = path.read_bytes(), {}
    if data[:4] != b"icns" or struct.unpack(">I", data[4:8])[0] != len(data):
        return fault(path.name, "it is no icon, or not complete")
    at = 8
    while at + 8 <= len(data):
        kind, size = struct.unpack_from(">4sI", data, at)
        picture = data[at + 8:at + max(size, 8)]
        is_png = picture.startswith(b"\x89PNG\r\n\x1a\n") and len(picture) >= 24
        widths[kind] = struct.unpack_from(">I", picture, 16)[0] if is_png else 0
        at += max(size, 8)
    if widths != ICON_PARTS:
        fault(path.name, f"its parts and their widths are {widths}, and not {ICON_PARTS}")
    return None


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("bundle", type=pathlib.Path)
    parser.add_argument("--helper", type=pathlib.Path, required=True, help="the helper that is built beside it")
    parser.add_argument("--names", type=pathlib.Path, nargs="+", required=True, metavar="FILE",
                        help="the names that macOS 11 has, each the last word of a line; new ones go to the first file")
    options = parser.parse_args()

    lines = [line.split() for path in options.names for line in path.read_text().splitlines()]
    names = {words[-1] for words in lines if words and not words[0].startswith("#")}
    for file, wanted in ((f"package/{AGENT}.plist", AGENT_JOB), ("KvnGUIAgent.entitlements", ENTITLEMENTS)):
        check_values(file, read_list(file, (RESOURCES / file).read_bytes()), wanted)
    if check_files(options.bundle):
        resources = options.bundle / "Contents/Resources"
        version, team = read_information(options.bundle / "Contents/Info.plist")
        check_executable(options.bundle / PROGRAMS[0], names, options.names[0])
        slices = check_executable(options.helper, names, options.names[0])
        if version and team:
            check_helper(options.helper, slices, version, team)
        for name in PICTURES:
            check_picture(options.bundle / name)
        check_icon(resources / "AppIcon.icns")

    print("\n".join(faults) or f"{options.bundle.name} {version} is complete: {len(FILES)} files, both architectures")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
