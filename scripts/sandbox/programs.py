# SPDX-License-Identifier: MIT

"""Starts programs, keeps what they print and log, and ends them."""

import fcntl
import os
import pty
import signal
import struct
import subprocess
import termios
import threading
import time
import tty

from record import Record

# Held while a program is started or copied: a child has a file that is being written open until it executes
# another program, and the file cannot be executed so long.
starting = threading.Lock()


class Program:
    """A child process in a session of its own, so that a Ctrl-C at the terminal does not reach it. It prints
    to a pipe, or to a pseudo-terminal of `columns`. `user` is the id of its user if it is another one."""

    def __init__(self, arguments, show=None, environment=None, columns=None, user=None):
        self.record = Record(show)
        self.started = time.monotonic()
        output, theirs = pty.openpty() if columns else os.pipe()
        self._output = open(output, "rb")
        if columns:
            tty.setraw(theirs)
            self.set_columns(columns)
        with starting:
            self._process = subprocess.Popen(
                arguments, stdin=subprocess.PIPE, stdout=theirs, stderr=theirs,
                env={**os.environ, **(environment or {})}, start_new_session=True,
                user=user, group=user, extra_groups=None if user is None else [])
        os.close(theirs)
        self.pid = self._process.pid
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        try:
            for line in self._output:
                self.record.add(line.decode("utf-8", "backslashreplace").rstrip("\n"))
        except OSError:
            pass  # the other end of a terminal is closed

    def set_columns(self, columns):
        """Changes the width of the terminal that the program prints to, if it is one."""
        if self._output.isatty():
            fcntl.ioctl(self._output, termios.TIOCSWINSZ, struct.pack("HHHH", 0, columns, 0, 0))

    def say(self, line):
        """Writes one line to the program's standard input. Returns False when nothing reads it any more."""
        try:
            self._process.stdin.write(line.encode() + b"\n")
            self._process.stdin.flush()
            return True
        except (OSError, ValueError):
            return False

    @property
    def running(self):
        return self._process.poll() is None

    def wait(self, seconds):
        """Returns the exit status (negative: the signal that ended it), or None when it still runs."""
        try:
            status = self._process.wait(seconds)
        except subprocess.TimeoutExpired:
            return None
        self._reader.join(1)
        return status

    def signal(self, number):
        if self.running:
            self._process.send_signal(number)

    def end(self, seconds=5):
        """Sends SIGTERM, and SIGKILL if the program does not end in time. Returns the exit status."""
        self.signal(signal.SIGTERM)
        status = self.wait(seconds)
        if status is None:
            self._process.kill()
            status = self.wait(None)
        try:
            self._process.stdin.close()
        except OSError:
            pass
        return status


class LogTail:
    """Reads the newest of a program's log files as it grows; `files` is a path whose name may hold `*`."""

    def __init__(self, files, show=None):
        self.record = Record(show)
        self._files = files
        self._ending = threading.Event()
        self._thread = threading.Thread(target=self._follow, daemon=True)
        self._thread.start()

    def _follow(self):
        path, position = None, 0
        while True:
            ending = self._ending.wait(0.02)
            newest = max(self._files.parent.glob(self._files.name), default=path)
            if newest != path:
                path, position = newest, 0
            if path:
                try:
                    with open(path, "rb") as log:
                        log.seek(position)
                        whole, newline, _ = log.read().rpartition(b"\n")
                except FileNotFoundError:
                    whole, newline = b"", b""
                position += len(whole) + len(newline)
                for line in whole.splitlines():
                    self.record.add(line.decode("utf-8", "backslashreplace"))
            if ending:
                return

    def end(self):
        self._ending.set()
        self._thread.join()
