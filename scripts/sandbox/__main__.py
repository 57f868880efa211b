# SPDX-License-Identifier: MIT

"""Runs the product in a sandbox, for a person to command or through a scenario that checks it."""

import argparse
import os
import signal
import sys

import scenario
from console import Console
from everything import Everything
from first_session import FirstSession
from sandbox import Sandbox
from screen import ENDINGS, PlainScreen, best_screen
from service_control import ServiceControl

# The terminal front end is for Linux. Elsewhere the agent has no front end here, and no scenario can command it.
FRONT_ENDS = ("terminal", "none") if sys.platform == "linux" else ("none",)
NO_TERMINAL = ("The terminal front end is for Linux: here the agent runs without a front end and takes no commands.",
               "The daemon takes commands, and the log shows what the agent does.",
               "The status item and its menu come with the installed bundle.")
SCENARIOS = {"first-session": FirstSession, "service-control": ServiceControl, "everything": Everything}


def main():
    parser = argparse.ArgumentParser(prog="run", description=__doc__)
    parser.add_argument("--build", default="build", help="build folder (default: build)")
    parser.add_argument("--scenario", choices=sorted(SCENARIOS), help="play a scenario and check every step")
    parser.add_argument("--ui", choices=FRONT_ENDS, default=FRONT_ENDS[0],
                        help=f"front end of the agent (default: {FRONT_ENDS[0]})")
    parser.add_argument("--verbose", action="store_true", help="show the log, or with a scenario every line")
    options = parser.parse_args()
    if options.scenario and "terminal" not in FRONT_ENDS:
        parser.error("a scenario commands the agent at its terminal front end, which only Linux has")

    sys.stdout.reconfigure(errors="backslashreplace")  # of a locale that lacks a character
    for number in ENDINGS:
        signal.signal(number, lambda number, _: sys.exit(128 + number))
    try:
        if options.scenario:
            return play(SCENARIOS[options.scenario], options.build, options.verbose)
        screen = best_screen()
        if "terminal" not in FRONT_ENDS:
            screen.show("run", *NO_TERMINAL)
        console = Console(screen, options.ui, options.verbose)
        with Sandbox(options.build, console.listener) as box:
            return console.run(box)
    except KeyboardInterrupt:
        return 128 + signal.SIGINT


def play(kind, build, verbose):
    os.environ["LC_ALL"] = "C"  # scenarios expect English
    screen = PlainScreen()
    with Sandbox(build, lambda name: (lambda text: screen.show(name, text)) if verbose else None) as box:
        return scenario.play(kind, box)


if __name__ == "__main__":
    sys.exit(main())
