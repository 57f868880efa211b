#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What an installation puts where, that it runs from there, and that nothing is left of it."""

import configparser
import contextlib
import os
import pathlib
import re
import shlex
import shutil
import signal
import subprocess

from harness import expect, main
from programs import Program

SOURCES = pathlib.Path(__file__).resolve().parents[2]
ENTRY = "etc/xdg/autostart/com.korvane.remote.KvnGUIAgent.desktop"
LAUNCHER = "share/applications/com.korvane.remote.KvnGUIAgent.desktop"
ICON = "share/icons/hicolor/scalable/apps/com.korvane.remote.KvnGUIAgent.svg"
UNIT = "lib/systemd/user/app-com.korvane.remote.KvnGUIAgent.service"
UNIT_FIRST = "lib/systemd/user/app-com.korvane.remote.KvnGUIAgent@autostart.service.d/unit.conf"
METAINFO = "share/metainfo/com.korvane.remote.KvnGUIAgent.metainfo.xml"
SHARED = {"share/man/man1/KvnGUIAgent.1.gz", "share/bash-completion/completions/KvnGUIAgent",
          "share/zsh/site-functions/_KvnGUIAgent"}
MODULE = "PlugIns/KvnDesktop.so"
CONTENTS = "lib/KvnGUIAgent.app/Contents"
SCRIPT = "Resources/verifyPermissions.sh"


@contextlib.contextmanager
def installed(box, prefix, staging=""):
    """Installs, and gives the way to uninstall; the manifest of another installation survives it."""
    manifest = box.build / "install_manifest.txt"
    other = manifest.read_bytes() if manifest.exists() else None

    def cmake(*arguments):
        return subprocess.run(["cmake", *arguments], env=os.environ | {"DESTDIR": str(staging)},
                              capture_output=True, text=True, umask=0o077)

    try:
        done = cmake("--install", box.build, "--prefix", prefix)
        expect(done.returncode == 0, f"not installed: {done.stderr}")
        yield lambda: cmake(f"-Dmanifest={manifest}", "-P", SOURCES / "cmake/Uninstall.cmake")
    finally:
        if other:
            manifest.write_bytes(other)


def content(folder):
    return {str(path.relative_to(folder)) for path in folder.rglob("*")}


def modes_of_folders(folder):
    return {path.stat().st_mode & 0o7777 for path in folder.rglob("*") if path.is_dir()}


def read_entry(path, group="Desktop Entry"):
    """The values of an entry, and its command as a shell understands it."""
    entries = configparser.ConfigParser(interpolation=None, delimiters="=")
    entries.optionxform = str
    entries.read_string(path.read_text())
    values = {key: re.sub(r"\\(.)", r"\1", value) for key, value in entries[group].items()}
    fields = set(re.findall("%.", values["Exec"])) - {"%%"}
    expect(not fields, f"the command has the fields {fields}")
    return values, values["Exec"].replace("%%", "%")


def check_launcher(prefix):
    path = prefix / LAUNCHER
    for group, dialog in (("Desktop Entry", "status"), ("Desktop Action Status", "status"),
                          ("Desktop Action Settings", "settings")):
        values, command = read_entry(path, group)
        arguments = subprocess.run(["/bin/sh", "-c", f"printf '%s\\n' {command}"], capture_output=True, text=True).stdout
        expect(arguments.splitlines() == [f"{prefix}/bin/KvnGUIAgent", "--ui", "desktop", "--show", dialog],
               f"{group} has the command {command}")
        languages = [key for key in values if key.startswith("Name")]
        expect(len(languages) == len(list(SOURCES.glob("resources/*.lproj"))) and values["Name[pt_BR]"],
               f"{group} has the names {languages}")
    for entry in (path, prefix / ENTRY) if shutil.which("desktop-file-validate") else ():
        done = subprocess.run(["desktop-file-validate", entry], capture_output=True, text=True)
        expect(not done.stdout + done.stderr, done.stdout + done.stderr)


def it_is_installed_and_runs_and_is_uninstalled(box):
    prefix = box.root / 'in $1 "100%" `x`'
    has_desktop = (box.build / "KvnGUIAgent.app/Contents" / MODULE).exists()
    front_end = "desktop" if has_desktop else "none"
    with installed(box, prefix) as uninstall:
        tables = [path.relative_to(SOURCES) for path in SOURCES.glob("resources/*.lproj/Localizable.strings")]
        inside = ["Info.plist", "MacOS/KvnGUIAgent", "MacOS/KvnHelperInstaller", "Resources/language.xml", SCRIPT,
                  *(str(table).replace("resources", "Resources") for table in tables)]
        if has_desktop:
            inside += [MODULE, *(f"Resources/{path.name}" for path in SOURCES.glob("resources/*StatusIcon-*.svg"))]
        wanted = {f"{CONTENTS}/{name}" for name in inside} | {"bin/KvnGUIAgent", ENTRY, UNIT, UNIT_FIRST} | SHARED
        wanted |= {LAUNCHER, ICON, METAINFO} if has_desktop else set()
        found = {name for name in content(prefix) if not (prefix / name).is_dir()}
        expect(found == wanted, f"installed differently: {found ^ wanted}")
        expect(modes_of_folders(prefix) == {0o755}, f"the folders' modes are {modes_of_folders(prefix)}")
        bundle = box.build / "KvnGUIAgent.app/Contents"
        built = {name for name in content(bundle) if not (bundle / name).is_dir()}
        expect(built == set(inside), f"the built bundle differs from the installed one: {built ^ set(inside)}")
        expect(os.access(prefix / CONTENTS / SCRIPT, os.X_OK), "the script cannot be run")

        values, command = read_entry(prefix / ENTRY)
        expect(values["TryExec"] == f"{prefix}/bin/KvnGUIAgent", f"TryExec is {values['TryExec']}")

        expect(f"--ui {front_end}" in command, f"the command is {command}")
        start = re.search("^ExecStart=(.*)", (prefix / UNIT).read_text(), re.M)[1]  # systemd doubles two characters
        words = shlex.split(start.replace("%%", "%").replace("$$", "$"))
        expect(words == [f"{prefix}/bin/KvnGUIAgent", "--ui", front_end], f"the unit's command is {start}")
        if has_desktop:
            check_launcher(prefix)

        box.language_file.unlink()  # the bundle has one, too
        box.start_daemon()
        expect(box.wait_for_daemon(), "the daemon does not come up")
        box.agent = Program(["/bin/sh", "-c", f'exec {command} --ui none --root "$0"', box.root])
        log = box.log.record
        expect(log.wait("\tService agent registered", 20), "the installed agent does not register")
        expect(log.find(r"Launched: KvnGUIAgent version: \d"), "it does not find its bundle")
        expect(log.find("Loading system text resources for: 'en'"), "it did not load texts")
        expect(not log.find("Could not read|Cannot load|not found!"), "it does not find its texts")
        box.agent.signal(signal.SIGTERM)
        expect(box.agent.wait(20) == 0, "the agent's exit status is not 0")

        (prefix / "lib/another").touch()
        expect(uninstall().returncode == 0, "not uninstalled")
        expect(content(prefix) == {"lib", "lib/another"}, f"left are {content(prefix)}")
        again = uninstall()
        expect(again.returncode and "there is no" in again.stderr, f"uninstalled again: {again}")

    staging = box.root / "staging"  # of a package, which finds the folders of the system
    with installed(box, "/usr", staging) as uninstall:
        expect(read_entry(staging / ENTRY)[1] == f'"/usr/bin/KvnGUIAgent" --ui {front_end}', "the staging is in the entry")
        expect(uninstall().returncode == 0, "not uninstalled")
        registry = staging / "Library/Application Support/com.korvane.remote/registry"
        expect(registry.stat().st_mode & 0o7777 == 0o777, "not every user can write preferences")
        shutil.rmtree(staging / "Library")
        wanted = {"etc", "etc/xdg", "etc/xdg/autostart", "usr", "usr/bin", "usr/lib", "usr/share"}
        expect(content(staging) == wanted, f"left are {content(staging)}")
        expect(modes_of_folders(staging) == {0o755}, f"the folders' modes are {modes_of_folders(staging)}")


main([it_is_installed_and_runs_and_is_uninstalled])
