"""The programs of a sandbox: started, listened to, ended."""

import os
import signal
import subprocess
import threading
import time

from record import Record


class Program:
    """A child process in a session of its own, so that a Ctrl-C at the terminal does not reach it."""

    def __init__(self, arguments, show=None, environment=None):
        self.record = Record(show)
        self.started = time.monotonic()
        self._process = subprocess.Popen(
            arguments, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
            env={**os.environ, **(environment or {})}, start_new_session=True)
        self.pid = self._process.pid
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        with self._process.stdout as output:
            for line in output:
                self.record.add(line.decode("utf-8", "backslashreplace").rstrip("\n"))

    def say(self, line):
        """Types one line at the program; False when it does not listen any more."""
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
        """The exit status (negative: the signal that ended it), or None when it still runs."""
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
        """Asks the program to end, and ends it by force when it does not."""
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
    """Follows the newest log file of a program."""

    def __init__(self, folder, program, show=None):
        self.record = Record(show)
        self._folder = folder
        self._files = f"{program}_*.txt"
        self._ending = threading.Event()
        self._thread = threading.Thread(target=self._follow, daemon=True)
        self._thread.start()

    def _follow(self):
        path, position = None, 0
        while True:
            ending = self._ending.wait(0.02)
            newest = max(self._folder.glob(self._files), default=path)
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
