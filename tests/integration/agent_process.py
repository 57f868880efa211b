"""What the system knows about a process of the agent."""

import os
import pathlib
import pwd

UNSET = 0xFFFFFFFF


def session_of(pid):
    """The audit session of a process, or its session where the system keeps no audit sessions; and its user."""
    audit = pathlib.Path(f"/proc/{pid}/sessionid")
    number = int(audit.read_text()) if audit.exists() else UNSET
    return (os.getsid(pid) if number == UNSET else number), pwd.getpwuid(os.geteuid()).pw_name


def resources_of(pid):
    """The numbers of its open descriptors and of its threads."""
    process = pathlib.Path(f"/proc/{pid}")
    return len(list((process / "fd").iterdir())), len(list((process / "task").iterdir()))


def processor_seconds_of(pid):
    """The processor time that its threads have used."""
    tasks = pathlib.Path(f"/proc/{pid}/task").iterdir()
    return sum(int((task / "schedstat").read_text().split()[0]) for task in tasks) / 1e9
