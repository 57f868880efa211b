"""A whole product in a temporary folder: the stand-in service daemon and the agent."""

import pathlib
import shutil
import socket
import tempfile
import threading
import time

from programs import LogTail, Program

_printing = threading.Lock()


def show_as(prefix):
    """A function that prints lines behind a program's name."""
    def show(text):
        with _printing:
            print(f"{prefix:<7}| {text}", flush=True)
    return show


def ask(path, command, seconds=5):
    """Sends one command to a control socket and returns the answer's line."""
    with socket.socket(socket.AF_UNIX) as connection:
        connection.settimeout(seconds)
        connection.connect(str(path))
        connection.sendall(command.encode() + b"\n")
        answer = b""
        while not answer.endswith(b"\n"):
            piece = connection.recv(4096)
            if not piece:
                break
            answer += piece
    return answer.decode("utf-8", "backslashreplace").rstrip("\n")


class Sandbox:
    """Owns the folder, the programs and the log's follower; the end of the scope removes them all."""

    def __init__(self, build, verbose=True):
        self.build = pathlib.Path(build).resolve()
        self._show = show_as if verbose else lambda prefix: None
        self.daemon = None
        self.agent = None
        self.log = None

    def __enter__(self):
        # A short path: socket paths are cut at 103 bytes.
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="kvn", dir="/tmp"))
        self.preferences = (self.root / "Library/Application Support/com.korvane.remote/registry" /
                            "com.korvane.remote.plist")
        self.control = self.root / "var/run/service-daemon.control"
        self.pipes = self.root / "var/tmp/com.korvane/pipes"
        self.log = LogTail(self.root / "var/log/com.korvane.remote", self._show("log"))
        return self

    def __exit__(self, *_):
        for program in (self.agent, self.daemon):
            if program:
                program.end()
        self.log.end()
        shutil.rmtree(self.root, ignore_errors=True)

    def start_daemon(self, *options):
        self.daemon = Program(
            [self.build / "standins/service-daemon", "--root", self.root, *options], self._show("daemon"))

    def start_agent(self, ui):
        self.agent = Program(
            [self.build / "KvnGUIAgent.app/Contents/MacOS/KvnGUIAgent", "--root", self.root, "--ui", ui],
            self._show("agent"))

    def tell_daemon(self, command):
        """The daemon's answer to a command, or None while it does not listen."""
        try:
            return ask(self.control, command)
        except OSError:
            return None

    def wait_for_daemon(self, seconds=20):
        """Whether the daemon serves its pipes within the time."""
        return wait_until(lambda: self.tell_daemon("agents") is not None, seconds)


def wait_until(condition, seconds):
    """What the condition gives as soon as that is true, or its last value when the time is over."""
    end = time.monotonic() + seconds
    while True:
        value = condition()
        if value or time.monotonic() > end:
            return value
        time.sleep(0.01)
