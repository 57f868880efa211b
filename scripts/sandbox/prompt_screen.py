# SPDX-License-Identifier: MIT

"""A terminal whose last lines are the prompt and a status line; all else scrolls above them."""

import os
import pathlib
import re
import shutil
import signal
import sys

from prompt_toolkit import PromptSession
from prompt_toolkit.auto_suggest import AutoSuggestFromHistory
from prompt_toolkit.completion import DynamicCompleter, NestedCompleter
from prompt_toolkit.history import FileHistory, InMemoryHistory
from prompt_toolkit.output import ColorDepth
from prompt_toolkit.patch_stdout import patch_stdout
from prompt_toolkit.shortcuts import CompleteStyle
from prompt_toolkit.utils import get_cwidth

from screen import ENDINGS, NAME_WIDTH, PlainScreen

# The numbers by which terminals know colours (ECMA-48, "select graphic rendition").
COLOURS = {"agent": 36, "daemon": 35, "helper": 33, "login": 34, "run": 1}
GREY = 90
ESCAPES = re.compile(r"\033\[[0-9;]*m")


def fold(text, width):
    """The lines of a text that is broken between words, though not after a colon, and within words that are
    longer than a line."""
    lines = [""]
    for word in re.split(r"(?<=[^\s:])(?=\s)", text):  # each with the blanks before it
        if get_cwidth(ESCAPES.sub("", lines[-1] + word)) > width:
            lines.append("")
            word = word.lstrip()
            while get_cwidth(ESCAPES.sub("", word)) > width:
                lines[-1], word = word[:width], word[width:]
                lines.append("")
        lines[-1] += word
    return [line for line in lines if line] or [""]


def open_history():
    """What was typed in earlier runs too, unless the user's cache folder cannot be written."""
    cache = pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache")
    file = cache / "KvnGUIAgent-sandbox/history"
    try:
        file.parent.mkdir(parents=True, exist_ok=True)
        file.touch()
        return FileHistory(str(file))
    except OSError:
        return InMemoryHistory()


class PromptScreen(PlainScreen):
    """For a person. Names have colours, and long lines are folded behind them."""

    def __init__(self):
        super().__init__()
        self._colours = not os.environ.get("NO_COLOR")

    @property
    def columns(self):
        """How wide a text may be."""
        return max(20, shutil.get_terminal_size().columns - NAME_WIDTH - 2)

    def _formatted(self, name, text):
        first, *others = fold(text.expandtabs(), self.columns)
        if name == "log":
            first, others = self._coloured(first, GREY), [self._coloured(line, GREY) for line in others]
        gutter = self._coloured("| ", GREY)
        lines = [self._coloured(f"{name:<{NAME_WIDTH}}", COLOURS.get(name, GREY)) + gutter + first,
                 *(" " * NAME_WIDTH + gutter + line for line in others)]
        return "\n".join(lines)

    def _end(self, prompt, number):
        """Ends the program on a signal, with the terminal as it was before the prompt."""
        ending = SystemExit(128 + number)
        if not prompt.is_running:
            raise ending
        prompt.loop.call_soon_threadsafe(lambda: prompt.exit(exception=ending))

    def _coloured(self, text, colour):
        return f"\033[{colour}m{text}\033[0m" if self._colours else text

    def converse(self, perform, words, status):
        """`words` gives the words to complete, each with those that may follow it; `status` the status line."""
        session = PromptSession(
            "> ", history=open_history(), auto_suggest=AutoSuggestFromHistory(),
            completer=DynamicCompleter(lambda: NestedCompleter.from_nested_dict(words())),
            complete_style=CompleteStyle.MULTI_COLUMN, complete_while_typing=False, reserve_space_for_menu=5,
            bottom_toolbar=lambda: " " + status(), refresh_interval=1,
            color_depth=None if self._colours else ColorDepth.DEPTH_1_BIT)
        for number in ENDINGS:
            signal.signal(number, lambda number, _: self._end(session.app, number))
        with patch_stdout(raw=True):
            while True:
                try:
                    if not perform(session.prompt().strip()):
                        return
                except EOFError:
                    return
                except KeyboardInterrupt:
                    self.show("run", 'type "quit" or press Ctrl-D to end everything')
