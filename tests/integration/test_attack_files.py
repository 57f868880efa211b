#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What others can do to the agent's log: users who write its folder, and peers whose words it records."""

import os
import re
import signal
import time

from harness import ends_well, expect, logged, main, wait_until
from sandbox import Sandbox
from strangers import OWNER, STRANGER, Actor
from wire import WireDaemon

LOGS = "var/log/com.korvane.remote"
PRIVATE = "private"


def the_daemons_words_stay_in_their_line(box):
    service = WireDaemon(box)
    box.start_agent("terminal")
    expect(service.record.wait("<GetStatus", 20), "the agent does not come up")
    service.push(b'<Status Value="online"/><ServiceCommand Command="ExecuteProcess" Executable="/bin/true"'
                 b' Parameters="a&#10;2026-01-01T00:00:00.000 Thread[1]:&#9;forged&#27;[2J&#155;2J&#8232;"/>')
    logged(box, r"\tStarted: /bin/true ")
    ends_well(box, service)
    content = next((box.root / LOGS).glob("KvnGUIAgent_*.txt")).read_text()
    controls = set(re.findall("[\0-\x08\x0b-\x1f\x7f-\x9f\u2028]", content))
    expect(not controls, f"in the log are {controls}")
    lines = [line for line in content.split("\n")[1:] if line]
    strange = [line for line in lines if line.startswith("2026-01-01")]
    expect("forged" in content and not strange, f"lines of the daemon: {strange}")


def another_folder_is_said_where_it_is(box):
    (box.root / LOGS).parent.mkdir(parents=True)
    (box.root / LOGS).touch()
    box.start_agent("terminal")
    said = expect(wait_until(lambda: box.agent.say("logs") and box.agent.record.find("log files: "), 20), "no answer")
    folder = box.root / os.environ["HOME"].lstrip("/") / "KvLogs"
    expect(said[0].text.endswith(f"log files: {folder}"), f"it said: {said[0].text}")
    written = "".join(path.read_text() for path in folder.glob("KvnGUIAgent_*.txt"))
    expect("\tLaunched: " in written, "the log is not there")
    expect(box.agent.record.find("Failed to set user log dir: "), "it is not said why")


def plant(ready, kind, root):
    """Puts something at every name that an agent's log can have, 3 seconds ahead of the time, until it is ended."""
    at = time.time_ns() // 1_000_000
    while True:
        if at > time.time_ns() // 1_000_000 + 3000:
            ready.set()
            time.sleep(0.01)
            continue
        name = time.strftime(f"{root}/{LOGS}/KvnGUIAgent_%Y-%m-%dT%H-%M-%S.{at % 1000:03}.txt", time.gmtime(at // 1000))
        at += 1
        if kind == "link":
            os.symlink(root / PRIVATE, name)
        elif kind != "nothing":
            os.mkfifo(name) if kind == "pipe" else os.close(os.open(name, os.O_CREAT))
            os.chmod(name, 0o666)


def starts_beside(kind, build):
    """Has a stranger plant something, and starts the owner's agent. It must log to a file of its own, and end."""
    with Sandbox(build, user=OWNER) as box:
        for tail in (box.log, box.helper_log):
            tail.end()  # what is planted would hold it
        private = box.root / PRIVATE
        private.write_text("nobody else's")
        private.chmod(0o600)
        os.chown(private, OWNER, OWNER)
        folder = box.root / LOGS
        folder.mkdir(parents=True)
        for each in (folder, *folder.parents[:2]):
            os.chown(each, OWNER, OWNER)
        folder.chmod(0o777)

        def own_logs():
            return [path for path in folder.iterdir() if path.lstat().st_uid == OWNER]

        with Actor(STRANGER, plant, kind, box.root, server=True):
            box.start_agent("none")
            found = wait_until(own_logs, 10)
        expect(found, f"{kind}: no log; the agent said {box.agent.record.tail(3)}")
        wanted = r"KvnGUIAgent_[^_]*\.txt" if kind == "nothing" else r"KvnGUIAgent_[^_]*_[0-9a-f]{16}\.txt"
        expect(re.fullmatch(wanted, found[0].name), f"{kind}: the log is {found[0].name}")
        expect(wait_until(lambda: "\tLaunched: " in found[0].read_text(), 10), f"{kind}: the agent does not start")
        mode = found[0].stat().st_mode & 0o7777
        expect(mode == 0o600, f"{kind}: the log's mode is {mode:o}")
        box.agent.signal(signal.SIGTERM)
        expect(box.agent.wait(5) == 0, f"{kind}: the agent does not end")
        expect(private.read_text() == "nobody else's", f"{kind}: written into a private file")
        if kind == "file":
            heard = [path.name for path in folder.iterdir() if path not in found and path.stat().st_size]
            expect(not heard, f"{kind}: a stranger's file has the log: {heard}")


def strangers_neither_hold_nor_read_nor_divert_the_log(box):
    for kind in ("nothing", "pipe", "link", "file"):
        starts_beside(kind, box.build)


tests = [the_daemons_words_stay_in_their_line, another_folder_is_said_where_it_is]
if os.geteuid() == 0:
    tests.append(strangers_neither_hold_nor_read_nor_divert_the_log)
else:
    print("SKIPPED: only root can act as other users")
main(tests)
