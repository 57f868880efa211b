#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Commands a sandbox as a person does, at a terminal and through a pipe."""

import fcntl
import os
import pathlib
import pty
import re
import signal
import struct
import subprocess
import termios
import threading

from harness import expect, main
from sandbox import wait_until

SANDBOX = pathlib.Path(__file__).resolve().parents[2] / "scripts/sandbox"


class Console:
    """The program under test, and the text that it has printed. The history is kept in the test's own folder."""

    def __init__(self, box, ours, **streams):
        self.text = ""
        self._ours = ours
        # The system's Python, which has the module for the prompt. A display that does not answer is not used.
        self.process = subprocess.Popen(
            ["/usr/bin/python3", SANDBOX, "--build", box.build], **streams,
            env={**os.environ, "XDG_CACHE_HOME": str(box.root), "TERM": "xterm", "DISPLAY": ":4711",
                 "WAYLAND_DISPLAY": "none"})
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        try:
            while piece := os.read(self._ours, 65536):
                self.text += piece.decode(errors="replace")
                if b"\033[6n" in piece:
                    os.write(self._ours, b"\033[20;1R")  # a terminal tells where its cursor is
        except OSError:
            pass  # the other end of a terminal is closed

    def shows(self, pattern, start=0):
        expect(wait_until(lambda: re.search(pattern, self.text[start:]), 30), f"not shown: {pattern}: {self.text}")

    def types(self, keys, succeeded):
        """Types the keys, again and again until they succeed: keys that come while the prompt gives way to a line of a
        program are lost."""
        def typed():
            os.write(self._ours, keys)
            return wait_until(succeeded, 3)
        expect(wait_until(typed, 30), f"typed in vain: {keys}: {self.text}")

    def ends(self, status):
        expect(self.process.wait(30) == status, f"the exit status is {self.process.returncode}")
        self._reader.join(1)


def a_terminal_has_a_prompt_and_is_left_as_it_was(box):
    for ending, status in ((b"quit\r", 0), (b"\4", 0), (signal.SIGTERM, 143), (signal.SIGHUP, 129)):
        ours, theirs = pty.openpty()
        fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 80, 0, 0))
        before = termios.tcgetattr(theirs)
        console = Console(box, ours, stdin=theirs, stdout=theirs, stderr=theirs)
        console.shows("quit ends")
        console.shows("agent runs [|] daemon runs [|] polls [1-9]")
        for typed, answer in ((b"\3", "Ctrl-D to end"), (b"\25daemon si\t", "lent"),
                              (b"\25agent menu\r", "Stop Service")):
            start = len(console.text)
            console.types(typed, lambda: re.search(answer, console.text[start:]))
        if isinstance(ending, bytes):
            console.types(ending, lambda: console.process.poll() is not None)
        else:
            console.process.send_signal(ending)
        expect(console.process.wait(30) == status, f"{ending}: the exit status is {console.process.returncode}")
        expect(termios.tcgetattr(theirs) == before, f"{ending}: the terminal was left in another mode")
        os.close(theirs)
        console.ends(status)
        os.close(ours)
        lines = [re.sub(r"\033\[[0-9;?]*[a-zA-Z]", "", line) for line in console.text.splitlines()]
        expect(not [line for line in lines if line.startswith("log ")], f"the log is shown: {lines}")
        wide = [line for line in lines if line[7:9] == "| " and len(line) > 80]
        expect(not wide, f"too wide for the terminal: {wide}")


def a_pipe_gets_plain_lines_without_polls(box):
    ours, theirs = os.pipe()
    console = Console(box, ours, stdin=subprocess.PIPE, stdout=theirs, bufsize=0)
    os.close(theirs)
    console.shows("quit ends")
    for command, answer in (("menu", 'try "agent menu"'), ("agent menu", "Stop Service"), ("log on", "log is on"),
                            ("daemon state paused", "status: Paused"), ("start agent", "runs already"),
                            ("daemon die", "daemon ended with status 1"), ("daemon status", "does not answer"),
                            ("agent quit", "agent ended with status 0"), ("agent menu", "does not run"),
                            ("start daemon", ""), ("start agent", "status: Online"),
                            ("status", r"polls \d+, last")):
        start = len(console.text)
        console.process.stdin.write(command.encode() + b"\n")
        console.shows(answer, start)
    console.process.stdin.close()
    console.ends(0)
    line = r"(run|agent|daemon|helper|log) *\| [^\033\n]*\n"
    expect(re.fullmatch(f"({line})*", console.text), f"not plain: {console.text}")
    expect("GetStatus" not in console.text, "polls are shown")
    expect("Launched: KvnGUIAgent" in console.text, "the log is not shown")


main([a_terminal_has_a_prompt_and_is_left_as_it_was, a_pipe_gets_plain_lines_without_polls])
