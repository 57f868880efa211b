#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The package of macOS installs, upgrades and uninstalls below a folder, with doubles of the system's tools."""

import os
import pathlib
import plistlib
import subprocess
import sys
import zipfile

from harness import expect, main

SOURCES = pathlib.Path(__file__).resolve().parents[2]
LABEL = "com.korvane.remote.KvnGUIAgent"
HELPER = "com.korvane.remote.KvnServiceController"
SUPPORT = "Library/Application Support/com.korvane.remote"
REGISTRY = f"{SUPPORT}/registry/com.korvane.remote.plist"
LINK = "Users/ann/Applications/KvnRemotedTools"
MODES = {SUPPORT: 0o755, f"{SUPPORT}/registry": 0o777, f"{SUPPORT}/KvnGUIAgent.app/Contents/Info.plist": 0o644,
         f"{SUPPORT}/KvnGUIAgent.app/Contents/Resources/verifyPermissions.sh": 0o755,
         f"Library/LaunchAgents/{LABEL}.plist": 0o644, "var/log/com.korvane.remote": 0o777,
         "var/tmp/com.korvane": 0o1777, "var/tmp/com.korvane/pipes": 0o755}
SYSTEM = {"Library", "Library/Application Support", "Library/LaunchAgents", "var", "var/log", "var/tmp"}

# Every tool that a test does not allow to act. launchctl has a file for each loaded job; a job that was told to end
# is loaded for one question more, and only a job that is enabled can be loaded, once.
TOOLS = "chown codesign defaults dscl id launchctl plutil ps sleep sudo tccutil uname xattr"
TOOL = r"""#!/bin/sh
jobs=${0%/*}/jobs
job=$jobs/$2
tool=${0##*/}
echo "$tool $*" >>"${0%/*}/calls"
case "$tool $1" in
"uname -s") echo "${SYSTEM:-Darwin}" ;;
"uname -r") echo "${RELEASE:-20.1.0}" ;;
"id -u") echo "${CALLER:-0}" ;;
"ps "*)
    case "$*" in *=*,*) exit 1 ;; esac # all behind the first "=" would be one column's title
    for user in 0 501 502; do echo "$user /System/loginwindow.app/Contents/MacOS/loginwindow"; done
    echo "503 /bin/sh" ;;
"dscl "*) printf '_spotlight  /var/empty\nann  /Users/ann\n' ;;
"sudo "*) [ "$1 $2 $3" = "-n -u ann" ] && shift 3 && exec "$@" ;;
"codesign "*) [ -z "${BROKEN:-}" ] ;;
"launchctl print") if [ -e "$job.ending" ]; then rm "$job.ending"; else [ -e "$job" ]; fi ;;
"launchctl bootout") mv "$job" "$job.ending"; exit 36 ;;
"launchctl enable") mkdir -p "${job%/*}" && touch "$job.enabled" ;;
"launchctl bootstrap") job=$job/$(basename "$3" .plist); [ -e "$3" ] && [ -e "$job.enabled" ] && [ ! -e "$job" ] &&
    rm "$job.enabled" && touch "$job" ;;
esac
"""


class Machine:
    """The unpacked package, the folder in place of "/", and the tools in front of the others."""

    def __init__(self, box, signed=False):
        self.folder, self.tools = box.root / "mac", box.root / "tools"
        for folder in (self.tools, *(self.folder / name for name in SYSTEM)):
            folder.mkdir(parents=True, exist_ok=True)
        for name in TOOLS.split():
            (self.tools / name).write_text(TOOL)
            (self.tools / name).chmod(0o755)
        if signed:
            (box.bundle / "Contents/_CodeSignature").mkdir()
        archives = [box.root / "1.zip", box.root / "2.zip"]
        for archive in archives:
            subprocess.run([sys.executable, SOURCES / "scripts/macos/package", box.bundle, archive], check=True)
            (box.bundle / "Contents/Info.plist").touch()
        expect(archives[0].read_bytes() == archives[1].read_bytes(), "the same bundle gave another archive")
        with zipfile.ZipFile(archives[0]) as archive:
            for entry in archive.infolist():
                os.chmod(archive.extract(entry, box.root), entry.external_attr >> 16 & 0o700)  # as umask 077 does
        self.package = box.root / "KvnGUIAgent"

    def run(self, script, *arguments, **variables):
        return subprocess.run([self.package / script, *arguments], capture_output=True, text=True,
                              env=os.environ | {"PATH": f"{self.tools}:{os.environ['PATH']}",
                                                "KVN_REMOTE_ROOT": str(self.folder)} | variables)

    def succeeds(self, *command):
        done = self.run(*command)
        expect(done.returncode == 0, f"{command} failed: {done.stdout}{done.stderr}")

    def content(self):
        return {str(path.relative_to(self.folder)) for path in self.folder.rglob("*")}

    def jobs(self):
        return {str(path.relative_to(self.tools / "jobs")) for path in self.tools.glob("jobs/*/**/com.*")}


def it_is_installed_upgraded_and_uninstalled(box):
    mac = Machine(box)
    bundle, jobs = mac.folder / SUPPORT / "KvnGUIAgent.app", {f"gui/501/{LABEL}", f"gui/502/{LABEL}"}
    mac.succeeds("install.sh")
    first = mac.content()
    modes = {name: (mac.folder / name).stat().st_mode & 0o7777 for name in MODES}
    expect(modes == MODES, f"the modes are {modes}")
    calls = (mac.tools / "calls").read_text()
    for path in [f"{bundle}.new", *(mac.folder / name for name in MODES if "KvnGUIAgent.app" not in name)]:
        expect(f"root:wheel {path}\n" in calls, f"root does not own {path}")
    job = plistlib.loads((mac.folder / f"Library/LaunchAgents/{LABEL}.plist").read_bytes())
    program = mac.folder / job["ProgramArguments"][0].lstrip("/")
    expect(job["Label"] == LABEL and os.access(program, os.X_OK), "the job names another program")
    expect(mac.jobs() == jobs, f"the jobs are {mac.jobs()}")

    (bundle / "Contents/Resources/old").touch()
    mac.succeeds("install.sh")
    expect(mac.content() == first and mac.jobs() == jobs, f"the second time differs: {mac.content() ^ first}")

    traces = [REGISTRY, f"Library/LaunchDaemons/{HELPER}.plist", f"Library/PrivilegedHelperTools/{HELPER}",
              "var/log/com.korvane.remote/KvnGUIAgent_1.txt"]
    for trace in (mac.folder / name for name in traces):
        trace.parent.mkdir(exist_ok=True)
        trace.touch()
    (mac.tools / "jobs/system").mkdir()
    (mac.tools / f"jobs/system/{HELPER}").touch()
    (mac.folder / LINK).parent.mkdir(parents=True)
    (mac.folder / LINK).symlink_to(bundle.parent / "tools")
    rest = SYSTEM | {"Users", "Users/ann", "Users/ann/Applications", "Library/LaunchDaemons",
                     "Library/PrivilegedHelperTools"}
    mac.succeeds("uninstall.sh")
    kept = {SUPPORT, f"{SUPPORT}/registry", REGISTRY}
    expect(mac.content() == rest | kept, f"differs: {mac.content() ^ (rest | kept)}")
    expect(not mac.jobs(), f"still loaded: {mac.jobs()}")
    for _ in range(2):
        mac.succeeds("uninstall.sh", "--all")
        expect(mac.content() == rest, f"left are {mac.content() - rest}")


def it_changes_nothing_that_works_when_it_refuses(box):
    mac = Machine(box, signed=True)
    for variables, reason in (({"SYSTEM": "Linux"}, "macOS 11"), ({"RELEASE": "19.6.0"}, "macOS 11"),
                              ({"CALLER": "501"}, "root's rights")):
        for script in ("install.sh", "uninstall.sh"):
            refused = mac.run(script, **variables)
            expect(refused.returncode == 1 and reason in refused.stderr, f"{script}, {variables}: {refused}")
    expect(mac.content() == SYSTEM, f"it made {mac.content() - SYSTEM}")

    mac.succeeds("install.sh")
    former, jobs = mac.content(), mac.jobs()
    refused = mac.run("install.sh", BROKEN="yes")
    expect(refused.returncode == 1 and "signature" in refused.stderr, f"installed without a signature: {refused}")
    expect(mac.content() == former and mac.jobs() == jobs, "the former installation is damaged")

    pipes = mac.folder / "var/tmp/com.korvane/pipes"
    pipes.rmdir()
    pipes.symlink_to(mac.folder)  # a user could have made it before
    refused = mac.run("install.sh")
    expect(refused.returncode == 1 and "is not a folder" in refused.stderr, f"followed a link: {refused}")
    expect(mac.jobs() == jobs, "the agents were ended")


main([it_is_installed_upgraded_and_uninstalled, it_changes_nothing_that_works_when_it_refuses])
