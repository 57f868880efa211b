# SPDX-License-Identifier: MIT

"""What Linux and macOS know about processes, each in its own way."""

import ctypes
import os
import pathlib
import struct
import subprocess
import sys

ON_MACOS = sys.platform == "darwin"
NO_AUDIT_SESSION = 0xFFFFFFFF


def _lines_of(*command):
    # The status is 1 also when some other process cannot be looked at.
    return subprocess.run(command, capture_output=True, text=True, errors="replace", check=False).stdout.splitlines()


def command_lines():
    """Yields the id and the words of the command line of every process. macOS tells no words, so that those with
    spaces come in pieces."""
    if ON_MACOS:
        for line in _lines_of("/bin/ps", "-A", "-ww", "-o", "pid=", "-o", "command="):
            pid, *words = line.split()
            yield int(pid), words or [""]
        return
    for entry in pathlib.Path("/proc").glob("[0-9]*/cmdline"):
        try:
            words = entry.read_bytes().rstrip(b"\0").decode(errors="replace").split("\0")
        except OSError:
            continue
        yield int(entry.parent.name), words


def environments():
    """Yields the id and the variables of every process that this user may look at; of Linux alone. The variables are
    those that it was started with."""
    for entry in pathlib.Path("/proc").glob("[0-9]*/environ"):
        try:
            variables = entry.read_bytes().decode(errors="replace").split("\0")
        except OSError:
            continue
        yield int(entry.parent.name), dict(each.partition("=")[::2] for each in variables)


def resources_of(pid):
    """Returns the numbers of a process's open descriptors and of its threads."""
    if ON_MACOS:
        files = _lines_of("/usr/sbin/lsof", "-n", "-P", "-p", str(pid), "-F", "f")
        threads = _lines_of("/bin/ps", "-M", "-p", str(pid))[1:]  # below a title
        return sum(line[0] == "f" and line[1:].isdecimal() for line in files), len(threads)
    process = pathlib.Path(f"/proc/{pid}")
    return len(list((process / "fd").iterdir())), len(list((process / "task").iterdir()))


def login_session_of(pid):
    """Returns the audit session of a child, or its session where the system keeps no audit sessions."""
    if ON_MACOS:
        own = ctypes.create_string_buffer(48)  # auditinfo_addr; a child has the session of its parent
        failed = ctypes.CDLL(None).getaudit_addr(own, len(own))
        return os.getsid(pid) if failed else struct.unpack_from("i", own, 36)[0]
    audit = pathlib.Path(f"/proc/{pid}/sessionid")
    number = int(audit.read_text()) if audit.exists() else NO_AUDIT_SESSION
    return os.getsid(pid) if number == NO_AUDIT_SESSION else number
