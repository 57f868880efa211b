#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Commands the agent as a person does, at a terminal below a shell."""

import fcntl
import os
import pty
import re
import signal
import struct
import subprocess
import termios
import threading
import time

from harness import expect, main
from sandbox import wait_until

CTRL_Q, CTRL_S, CTRL_Z = b"\x11", b"\x13", b"\x1a"


class Terminal:
    """A terminal of 80 columns with a shell, which starts the agent."""

    def __init__(self, box):
        self.text = ""
        self._ours, self._theirs = pty.openpty()
        fcntl.ioctl(self._theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 80, 0, 0))
        self.before = termios.tcgetattr(self._theirs)
        agent = f"{box.bundle}/Contents/MacOS/KvnGUIAgent --root {box.root} --ui terminal"
        self._shell = subprocess.Popen(
            ["/bin/bash", "--norc", "--noprofile", "--noediting", "-i"], stdin=self._theirs, stdout=self._theirs,
            stderr=self._theirs, start_new_session=True, preexec_fn=self._take_terminal,
            env={**os.environ, **box._environment, "TERM": "xterm", "PS1": "shell$ "})
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()
        self.types(f"{agent}; echo status=$?\n".encode(), "> $", 30)
        self.pid = next(iter(box.serving("KvnGUIAgent")))

    def _take_terminal(self):
        os.close(os.open(os.ttyname(0), os.O_RDWR))  # makes it the new session's controlling terminal

    def _read(self):
        try:
            while piece := os.read(self._ours, 65536):
                self.text += piece.decode(errors="replace")
        except OSError:
            pass  # the other end is closed

    def types(self, keys, pattern=None, seconds=20):
        start = len(self.text)
        os.write(self._ours, keys)
        if pattern:
            self.shows(pattern, start, seconds)

    def shows(self, pattern, start=0, seconds=20):
        expect(wait_until(lambda: re.search(pattern, self.text[start:]), seconds),
               f"not shown: {pattern}: {self.text[start:]!r}")

    @property
    def settings(self):
        return termios.tcgetattr(self._theirs)

    def end(self):
        self._shell.kill()
        self._shell.wait()
        os.close(self._theirs)
        self._reader.join(5)
        os.close(self._ours)


def with_terminal(test):
    def play(box):
        box.start_daemon()
        expect(box.wait_for_daemon(), "the daemon does not come up")
        terminal = Terminal(box)
        try:
            test(box, terminal)
        finally:
            terminal.end()
    play.__name__ = test.__name__
    return play


@with_terminal
def a_stopped_terminal_holds_nothing_up(box, terminal):
    terminal.types(CTRL_S)
    polls = r"^<- \d+ <GetStatus "
    heard = len(box.daemon.record)
    for _ in range(100):  # of about 1 KB each: more than the terminal and the agent keep
        terminal.types(b"help\r")
    expect(box.daemon.record.wait(polls, 20, heard, 2), "the agent does not poll any more")
    before = len(terminal.text)
    terminal.types(CTRL_Q, "Lines that were left out here: [1-9]")
    terminal.types(b"help\r", "quit +ends")
    terminal.types(CTRL_S)
    terminal.types(b"help\r")
    said = time.monotonic()
    os.kill(terminal.pid, signal.SIGTERM)
    expect(wait_until(lambda: not box.serving("KvnGUIAgent"), 20), "the agent does not end")
    took = time.monotonic() - said
    expect(took < 0.5, f"the agent ended after {took:.2f} s")
    terminal.types(CTRL_Q, "status=0", 20)
    expect(wait_until(lambda: terminal.settings == terminal.before, 5), "the terminal has other settings")
    expect(len(terminal.text) > before, "nothing was shown")


@with_terminal
def the_shell_gets_its_terminal_when_it_stops_the_agent(box, terminal):
    terminal.types(b"abc", "abc")
    terminal.types(CTRL_Z, r"Stopped[\s\S]*shell\$ $")
    expect(terminal.settings == terminal.before, "the terminal has other settings")
    terminal.types(b"fg\n", "> abc$")
    terminal.types(b"\r", "unknown command: abc")
    expect(terminal.settings != terminal.before, "the agent did not take the terminal again")
    terminal.types(b"quit\r", r"The agent ends\.[\s\S]*shell\$ $")
    expect(wait_until(lambda: terminal.settings == terminal.before, 5), "the terminal has other settings")


main([a_stopped_terminal_holds_nothing_up, the_shell_gets_its_terminal_when_it_stops_the_agent])
