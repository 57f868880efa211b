# SPDX-License-Identifier: MIT

"""Puts into a sandbox what an installation of the product, an administrator and an earlier session leave."""

import plistlib
import shutil

SERVICE = "com.korvane.remote.KvnRemoteService"
HELPER = "com.korvane.remote.KvnServiceController"
EMBEDDED = f"Contents/Library/LaunchServices/{HELPER}"  # the helper's place in the bundle
SUPPORT = "Library/Application Support/com.korvane.remote"

POLICY = {"EnableTransferLog": 0, "EnableClientTransferLog": 0, "RemoteAccessIntervalEnabled": 0, "Pauseable": 1}


def install(box):
    box.settings = box.root / SUPPORT / "config/KorvaneRemoteservice/settings.xml"
    box.language_file = box.root / SUPPORT / "config/language.xml"
    helper = box.bundle / EMBEDDED
    shutil.copytree(box.build / box.bundle.name, box.bundle)
    for folder in (helper.parent, box.jobs, box.settings.parent, box.preferences.parent):
        folder.mkdir(parents=True, exist_ok=True)
    shutil.copy(box.build / "standins/KvnServiceController", helper)
    # The helper connects what the daemon prints to nothing.
    job = {"Label": SERVICE,
           "ProgramArguments": ["/bin/sh", "-c", f'exec "$0" "$@" >>{box.job_output}',
                                str(box.build / "standins/service-daemon"), "--root", str(box.root)]}
    (box.jobs / f"{SERVICE}.plist").write_bytes(plistlib.dumps(job))
    write_policy(box)
    box.preferences.write_bytes(plistlib.dumps({"ShowStatusBarMenu": True}))
    shutil.copy(box.bundle / "Contents/Resources/language.xml", box.language_file)
    for path in (box.settings, box.language_file):  # not obeyed if others may write them, as the umask may allow
        for each in (path, path.parent):
            each.chmod(each.stat().st_mode & ~0o022)
    programs = box.pre_login_agent / "Contents/MacOS"
    programs.mkdir(parents=True)
    shutil.copy(box.build / "standins/KvnPreLoginAgent", programs)


def write_policy(box, **changed):
    """Writes the administrator's policy, with the changed entries. It has no XML declaration, as the agent's
    parser takes none."""
    elements = "".join(f"  <{name}>{value}</{name}>\n" for name, value in {**POLICY, **changed}.items())
    box.settings.write_text(f"<Settings>\n{elements}</Settings>\n")
