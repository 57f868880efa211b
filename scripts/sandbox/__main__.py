# SPDX-License-Identifier: MIT

"""Runs the product in a sandbox, for a person to command or through a scenario that checks it."""

import argparse
import os
import pathlib
import signal
import sys

import scenario
from console import Console
from display import display_answers
from everything import Everything
from first_session import FirstSession
from sandbox import Sandbox
from screen import ENDINGS, PlainScreen, best_screen
from service_control import ServiceControl

# The front ends are for Linux. Elsewhere the agent has none here, and no scenario can command it.
FRONT_ENDS = ("terminal", "desktop", "none") if sys.platform == "linux" else ("none",)
NO_TERMINAL = ("The terminal front end is for Linux: here the agent runs without a front end and takes no commands.",
               "The daemon takes commands, and the log shows what the agent does.",
               "The status item and its menu come with the installed bundle.")
DESKTOP_MODULE = "KvnGUIAgent.app/Contents/PlugIns/KvnDesktop.so"
AT_TERMINAL = {"first-session": FirstSession, "service-control": ServiceControl, "everything": Everything}
SCENARIOS = (*AT_TERMINAL, "desktop")


def main():
    parser = argparse.ArgumentParser(prog="run", description=__doc__)
    parser.add_argument("--build", default="build", help="build folder (default: build)")
    parser.add_argument("--scenario", choices=sorted(SCENARIOS), help="play a scenario and check every step")
    parser.add_argument("--pictures", metavar="DIR", type=pathlib.Path,
                        help="where the scenario desktop puts its pictures (default: BUILD/desktop-pictures)")
    parser.add_argument("--ui", choices=FRONT_ENDS,
                        help="front end of the agent (default: desktop where a display answers, else "
                             f"{FRONT_ENDS[0]})")
    parser.add_argument("--verbose", action="store_true", help="show the log, or with a scenario every line")
    options = parser.parse_args()
    if options.scenario and "terminal" not in FRONT_ENDS:
        parser.error("a scenario commands the agent at its terminal front end, which only Linux has")

    sys.stdout.reconfigure(errors="backslashreplace")  # of a locale that lacks a character
    for number in ENDINGS:
        signal.signal(number, lambda number, _: sys.exit(128 + number))
    try:
        if options.scenario:
            return play(options)
        screen = best_screen()
        if "terminal" not in FRONT_ENDS:
            screen.show("run", *NO_TERMINAL)
        ui = options.ui or default_front_end(options.build)
        console = Console(screen, ui, options.verbose)
        with Sandbox(options.build, console.listener, joins_session=ui == "desktop") as box:
            return console.run(box)
    except KeyboardInterrupt:
        return 128 + signal.SIGINT


def default_front_end(build):
    if (pathlib.Path(build) / DESKTOP_MODULE).exists() and display_answers():
        return "desktop"
    return FRONT_ENDS[0]


def play(options):
    os.environ["LC_ALL"] = "C"  # scenarios expect English
    screen = PlainScreen()

    def listener(name):
        return (lambda text: screen.show(name, text)) if options.verbose else None
    if options.scenario == "desktop":
        return play_desktop(options, listener)
    with Sandbox(options.build, listener) as box:
        return scenario.play(AT_TERMINAL[options.scenario], box)


def play_desktop(options, listener):
    # These need more of the system than other scenarios; scripts/setup.sh installs that for them.
    from desktop import Desktop
    from desktop_session import DesktopSession
    with DesktopSession(listener) as session, Sandbox(options.build, listener, joins_session=True) as box:
        pictures = options.pictures or box.build / "desktop-pictures"
        return scenario.play(lambda box: Desktop(box, session, pictures), box)


if __name__ == "__main__":
    sys.exit(main())
