#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What other users of the machine, and a hostile service, can do to an agent over the daemon's pipes."""

import itertools
import os
import pathlib
import pwd
import re
import socket
import threading
import time

from harness import expect, logged, main
from sandbox import wait_until
from strangers import OWNER, STRANGER, Actor, as_user, skip_unless_root
from wire import CLIENT

ANSWER = 1.5  # seconds, on a machine that plays the other tests at the same time
SANITIZED = 1 << 30  # KB of address space that only a sanitizer takes
LAUNCH = b'<ServiceCommand Command="ExecuteProcess" Executable="%s" Parameters="%s"/>'


def serve(ready, pipes, take_over, greeting):
    """Takes the pipe over and listens there. Returns what the first agent sent that connected."""
    take_over(pipes)
    listener = socket.socket(socket.AF_UNIX)
    listener.bind(str(pipes / CLIENT))
    (pipes / CLIENT).chmod(0o777)
    listener.listen(5)
    ready.set()
    peer = listener.accept()[0]
    heard = peer.recv(4096)
    try:
        peer.sendall(greeting)
        while peer.recv(4096):
            pass
    except BrokenPipeError:
        pass
    return heard


def makes_the_folder_first(pipes):
    pipes.mkdir(parents=True)


def renames_the_folder(pipes):
    pipes.rename(pipes.with_name("former"))
    pipes.mkdir()


def replaces_the_socket(pipes):
    (pipes / CLIENT).unlink()


def make_folders(box):
    """Makes the folders that every user of a machine may write to."""
    for folder in (box.root / "var", box.root / "var/log", box.root / "var/run", box.root / "var/tmp"):
        folder.mkdir()
        os.chown(folder, OWNER, OWNER)
    folder.chmod(0o1777)


def a_service_made_the_pipes(box):
    """The folders are as the daemon of a machine makes them, and the daemon is gone."""
    for folder in (box.pipes.parent, box.pipes):
        folder.mkdir()
        folder.chmod(0o777)
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(str(box.pipes / CLIENT))


def stranger(take_over):
    """The test of a stranger who listens in the service's place."""
    def play(box):
        make_folders(box)
        if take_over is not makes_the_folder_first:
            a_service_made_the_pipes(box)
        trophy = box.root / "trophy"
        with Actor(STRANGER, serve, box.pipes, take_over, LAUNCH % (b"/usr/bin/touch", bytes(trophy)),
                   server=True) as service:
            box.start_agent("none")
            refused = "connect error 13, Permission denied"
            expect(wait_until(lambda: trophy.exists() or box.log.record.find(refused), 20), "the agent does nothing")
            expect(not trophy.exists(), "a stranger was obeyed")
            expect(service.result() == b"", "the agent told a stranger its user")

    play.__name__ = f"a_stranger_who_{take_over.__name__}_is_not_spoken_to"
    return play


def is_obeyed(name, user):
    """The test of a service that the agent obeys."""
    def play(box):
        make_folders(box)
        box.start_daemon(user=user)
        expect(box.wait_for_daemon(), "the daemon does not run")
        box.start_agent("none")
        logged(box, "Service agent registered")
        trophy = box.root / "trophy"
        box.tell_daemon(f"execute /usr/bin/touch {trophy}")
        expect(wait_until(trophy.exists, 20), "the service's command was not carried out")
        expect(trophy.stat().st_uid == OWNER, "carried out as another user")

    play.__name__ = f"{name}_is_obeyed"
    return play


def converse(pipes, message):
    """Sends a message to the service and returns what comes back, up to a second of silence."""
    with socket.socket(socket.AF_UNIX) as service:
        service.connect(str(pipes / CLIENT))
        service.settimeout(1)
        heard = b""
        service.sendall(message)
        try:
            while piece := service.recv(4096):
                heard += piece
        except TimeoutError:
            pass
        return heard


def the_service_believes_no_stranger(box):
    box.start_daemon()
    expect(box.wait_for_daemon(), "the daemon does not run")
    box.start_agent("none")
    logged(box, "Service agent registered")
    name = pwd.getpwuid(OWNER).pw_name
    registration = '<RegisterAgent SessionID="1" UserID="%s" ProcessID="%d" RequestData="7"></RegisterAgent>'
    for user, message, answer in ((STRANGER, registration % (name, box.agent.pid), b'StatusCode="5"'),
                                  (STRANGER, registration % (name, 1), b'StatusCode="5"'),
                                  (OWNER, registration % (name, box.agent.pid), b'StatusCode="5"'),
                                  (STRANGER, '<RebootSystem RequestData="7"/>', b'StatusCode="5"'),
                                  (STRANGER, '<Pause/><GetStatus RequestData="8"/>', b'Value="online"'),
                                  (OWNER, '<Pause/><GetStatus RequestData="8"/>', b'Value="paused"'),
                                  (STRANGER, '<Continue/><GetStatus RequestData="8"/>', b'Value="paused"')):
        heard = as_user(user, converse, box.pipes, message.encode())
        expect(answer in heard, f"{user} said {message}, heard {heard}")
    expect(box.tell_daemon("agents").count("pid=") == 1, "more than the agent is registered")


def strangers_files_are_not_obeyed(box):
    """An installation left the folders open to everyone, and a stranger has replaced the files in them."""
    for path in (box.language_file, box.settings):
        path.parent.chmod(0o777)
        as_user(STRANGER, os.replace, str(path), f"{path}.former")
        as_user(STRANGER, pathlib.Path(path).write_text, "<All/>")
    box.start_agent("none")
    logged(box, "Language file is not used, because users other than root can change it")
    logged(box, "settings.xml is not obeyed, because")
    logged(box, "Failed to load settings file")


def answers_while(box, seconds, command):
    """Gives the command again and again. Returns the time in which the slowest was answered."""
    slowest, end = 0, time.monotonic() + seconds
    while time.monotonic() < end:
        seen, asked = len(box.agent.record), time.monotonic()
        expect(box.agent.say(command), "the agent does not listen")
        expect(box.agent.record.wait("^(ok|error|status)", 60, seen), "the agent does not answer")
        slowest = max(slowest, time.monotonic() - asked)
        time.sleep(0.05)
    return slowest


class Flood:
    """A service that confirms the first registration, and sends an agent as much as it takes of something."""

    def __init__(self, box, pieces):
        make_folders(box)
        box.pipes.mkdir(parents=True)
        self.sent = 0
        self._pieces = pieces
        self._listener = socket.socket(socket.AF_UNIX)
        self._listener.bind(str(box.pipes / CLIENT))
        (box.pipes / CLIENT).chmod(0o777)
        self._listener.listen(5)
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        while True:
            peer = self._listener.accept()[0]
            try:
                peer.sendall(b'<RequestResult RequestData="1" StatusCode="0"/>')
                for piece in itertools.cycle(self._pieces):
                    peer.sendall(piece)
                    self.sent += len(piece)
            except OSError:
                peer.close()


def kilobytes(pid, field):
    """A field of the process's state."""
    return int(re.search(rf"^{field}:\s*(\d+) kB$", pathlib.Path(f"/proc/{pid}/status").read_text(), re.M)[1])


def log_size(box):
    return sum(path.stat().st_size for path in (box.root / "var/log/com.korvane.remote").glob("KvnGUIAgent_*"))


FLOODS = {
    "unknown_commands": [b'<ServiceCommand Command="?"/>' * 200],
    "long_commands": [b'<ServiceCommand Command="' + b"\1" * 4000 + b'"/>'],
    "launches": [LAUNCH % (b"/bin/true", b"a " * 500)],
    "failing_launches": [LAUNCH % (b"/nowhere", b"a")],
    "nonsense": [b"<", b"<a/>"],
    "statuses": [b'<Status Value="online" RequestData="2"/><RequestResult RequestData="1" StatusCode="7"/>' * 40],
}


def flood(name, seconds=6):
    def play(box):
        service = Flood(box, FLOODS[name])
        box.start_agent("terminal")
        logged(box, "Registering service agent")
        before, began = log_size(box), time.monotonic()
        slowest = answers_while(box, seconds, "status")
        rate = (log_size(box) - before) / 1e6 / ((time.monotonic() - began) / 60)
        resident = kilobytes(box.agent.pid, "VmHWM") / 1024
        print(f"{name}: log {rate:.1f} MB a minute, {resident:.1f} MB resident, slowest answer {slowest * 1000:.0f} ms")
        expect(service.sent > 100_000, "there was no flood")
        expect(rate < 10, f"the log grows by {rate:.1f} MB a minute")
        expect(resident < 20 or kilobytes(box.agent.pid, "VmSize") > SANITIZED, f"{resident:.1f} MB are resident")
        expect(slowest < ANSWER, f"an answer took {slowest:.1f} s")

    play.__name__ = f"a_flood_of_{name}_is_bounded"
    return play


if __name__ == "__main__":
    skip_unless_root()
    main([*map(stranger, (makes_the_folder_first, renames_the_folder, replaces_the_socket)),
          is_obeyed("the_own_users_service", OWNER), is_obeyed("roots_service", 0),
          the_service_believes_no_stranger, strangers_files_are_not_obeyed, *map(flood, FLOODS)], user=OWNER)
