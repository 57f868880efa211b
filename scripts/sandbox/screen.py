# SPDX-License-Identifier: MIT

"""Shows what the programs say and reads a person's commands: as plain lines, or at a terminal's bottom."""

import signal
import sys
import threading

ENDINGS = (signal.SIGTERM, signal.SIGHUP)  # the signals that end the sandbox in order, beside SIGINT
NAME_WIDTH = 7  # of the longest program's name and a blank


class PlainScreen:
    """For pipes and files: lines of any length, no escape sequences."""

    columns = None

    def __init__(self):
        self._printing = threading.Lock()

    def show(self, name, *texts):
        """Prints lines together, behind the name of the program that said them. May be called on any thread."""
        with self._printing:
            print("\n".join(self._formatted(name, text) for text in texts), flush=True)

    def _formatted(self, name, text):
        return f"{name:<{NAME_WIDTH}}| {text}"

    def converse(self, perform, words, status):
        """Calls `perform` with each line that is typed, until it returns False or the input ends."""
        for line in sys.stdin:
            if not perform(line.strip()):
                return


def best_screen():
    """Returns a prompt where a person sits at a terminal, else plain lines."""
    if sys.stdin.isatty() and sys.stdout.isatty():
        try:
            from prompt_screen import PromptScreen
            return PromptScreen()
        except ImportError:
            print("Install the Python module prompt_toolkit for a prompt with history and completion.")
    return PlainScreen()
