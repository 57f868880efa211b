# SPDX-License-Identifier: MIT

"""Runs the agent and the stand-ins of the other programs in a temporary folder."""

import contextlib
import errno
import os
import pathlib
import shutil
import signal
import socket
import tempfile
import time

from installation import HELPER, install
from processes import command_lines
from programs import LogTail, Program, starting


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
    """Owns the folder, the programs that use it and the threads that follow their logs, and ends them all at
    the end of its scope. `listener(name)` returns the function that is called with each line of a program, or
    None. `user` is the id of the user who runs the programs and owns the folder, if it is another one. The programs
    have a session bus for themselves, so that their notifications stay in the sandbox; with `joins_session`, they have
    that of the desktop, where panels look for items."""

    def __init__(self, build, listener=lambda name: None, user=None, joins_session=False):
        self.build = pathlib.Path(build).resolve()
        self._listener = listener
        self._user = user
        self._joins_session = joins_session
        self.daemon = None
        self.agent = None
        self.log = None
        self.helper_log = None
        self._bus = None
        self._environment = {}

    def __enter__(self):
        # A short path without links: socket paths are cut at 103 bytes, and programs log where they really are.
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="kvn", dir=os.path.realpath("/tmp")))
        self.bundle = self.root / "KvnGUIAgent.app"
        self.preferences = (self.root / "Library/Application Support/com.korvane.remote/registry" /
                            "com.korvane.remote.plist")
        self.control = self.root / "var/run/service-daemon.control"
        self.pipes = self.root / "var/tmp/com.korvane/pipes"
        self.jobs = self.root / "Library/LaunchDaemons"
        self.helper_job = self.jobs / f"{HELPER}.plist"
        self.helper_tool = self.root / "Library/PrivilegedHelperTools" / HELPER
        self.pre_login_agent = self.helper_tool.parent / "com.korvane.remote.KvnPreLoginAgent.app"
        self.helper_socket = self.root / "var/run" / f"{HELPER}.socket"
        logs = self.root / "var/log/com.korvane.remote"
        self.job_output = self.root / "var/service-daemon.out"  # of a daemon that the helper starts
        self.log = LogTail(logs / "KvnGUIAgent_*.txt", self._listener("log"))
        self.helper_log = LogTail(logs / "KvnServiceController_*.txt", self._listener("helper"))
        self._job_tail = LogTail(self.job_output, self._listener("daemon"))
        try:
            with starting:
                install(self)
        except OSError:  # above all for want of a build
            self.__exit__()
            raise
        if self._user is not None:
            self._give_away()
        if not self._joins_session:
            self._start_bus()
        return self

    def _give_away(self):
        for path in (self.root, *self.root.rglob("*")):
            os.chown(path, self._user, self._user, follow_symlinks=False)
        self.root.chmod(0o755)  # other users may look, as they may at "/"

    def __exit__(self, *_):
        for program in (self.agent, self.daemon, self._bus):
            if program:
                program.end()
        self.end_others()
        for tail in (self.log, self.helper_log, self._job_tail):
            tail.end()
        shutil.rmtree(self.root, ignore_errors=True)

    def _start_bus(self):
        """Starts a session bus for the sandbox alone."""
        address = f"unix:path={self.root}/bus"
        try:
            self._bus = Program(["dbus-daemon", "--session", "--nofork", "--print-address", "--address", address],
                                user=self._user)
        except FileNotFoundError:
            return  # the agent works without one, and logs that
        if self._bus.record.wait("^unix:", 5):
            self._environment["DBUS_SESSION_BUS_ADDRESS"] = address

    @contextlib.contextmanager
    def frozen_bus(self):
        """Keeps the session bus from answering for the time of the scope."""
        self._bus.signal(signal.SIGSTOP)
        try:
            yield
        finally:
            self._bus.signal(signal.SIGCONT)

    def _start(self, name, program, *options, environment=None, columns=None, user=None, tracer=()):
        user = self._user if user is None else user
        return Program([*tracer, program, "--root", self.root, *options], self._listener(name),
                       {**self._environment, **(environment or {})}, columns, user)

    def start_daemon(self, user=None):
        self.daemon = self._start("daemon", self.build / "standins/service-daemon", user=user)

    def start_agent(self, ui, bundle=None, environment=None, columns=None, tracer=()):
        """Starts the agent with a front end, with its own choice if `ui` is None; below `tracer`, a command, if any."""
        program = (bundle or self.bundle) / "Contents/MacOS/KvnGUIAgent"
        options = [] if ui is None else ["--ui", ui]
        self.agent = self._start("agent", program, *options, environment=environment, columns=columns, tracer=tracer)

    def run_pre_login_agent(self, *options):
        """Runs the agent of the login window. Returns its exit status, or None when it does not end."""
        agent = self._start("login", self.pre_login_agent / "Contents/MacOS/KvnPreLoginAgent", *options)
        return agent.wait(10)

    def serving(self, program=""):
        """Returns the ids of the processes that have this folder as their root, whoever started them; of one program
        if it is named."""
        option = f"\0--root\0{self.root}\0"
        return [pid for pid, words in command_lines()
                if option in "\0".join(words) + "\0" and words[0].endswith(program)]

    def installed_helpers(self):
        """Returns the names of the files in the helper's folder, half-installed ones included."""
        return sorted(path.name for path in self.helper_tool.parent.iterdir() if path != self.pre_login_agent)

    def left_running(self):
        """Returns the command lines that name this folder, except the bus's."""
        return [words for pid, words in command_lines()
                if str(self.root) in " ".join(words) and not (self._bus and pid == self._bus.pid)]

    def last_lines(self, count):
        """Returns the last lines of each program and each log, behind its name."""
        heard = (("daemon", self.daemon), ("helper", self.helper_log), ("agent", self.agent), ("log", self.log))
        return [f"{name:<7}| {text[:300]}" for name, source in heard if source
                for text in source.record.tail(count)]

    def end_others(self, seconds=5):
        """Ends the programs that the sandbox's programs started: the helper and its daemon."""
        for number in (signal.SIGTERM, signal.SIGKILL):
            for pid in self.serving():
                try:
                    os.kill(pid, number)
                except ProcessLookupError:
                    pass
            if wait_until(lambda: not self.serving(), seconds):
                return

    def tell_daemon(self, command):
        """Sends the daemon a command. Returns its answer, or None when it does not run."""
        try:
            return ask(self.control, command)
        except OSError:
            return None

    def daemon_listens(self):
        """Returns True if a daemon has its control socket open, whoever started it."""
        with socket.socket(socket.AF_UNIX) as connection:
            connection.setblocking(False)
            return connection.connect_ex(str(self.control)) in (0, errno.EAGAIN)  # EAGAIN: it is busy

    def wait_for_daemon(self, seconds=20):
        """Returns True as soon as the daemon answers, False when the time is over."""
        return wait_until(lambda: self.tell_daemon("agents") is not None, seconds)


def wait_until(condition, seconds):
    """Returns the condition's value as soon as it is true, or its last value when the time is over."""
    end = time.monotonic() + seconds
    while True:
        value = condition()
        if value or time.monotonic() > end:
            return value
        time.sleep(0.01)
