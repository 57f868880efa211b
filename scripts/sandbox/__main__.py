"""Runs the product in a sandbox, for a person or for a scripted scenario."""

import argparse
import os
import signal
import sys

import everything
import first_session
import service_control
from console import Console
from sandbox import Sandbox
from screen import ENDINGS, PlainScreen, best_screen

SCENARIOS = {"first-session": first_session.play, "service-control": service_control.play,
             "everything": everything.play}


def main():
    parser = argparse.ArgumentParser(prog="run", description=__doc__)
    parser.add_argument("--build", default="build", help="build folder (default: build)")
    parser.add_argument("--scenario", choices=sorted(SCENARIOS), help="play a story and check it")
    parser.add_argument("--ui", choices=("terminal", "none"), default="terminal",
                        help="front end of the agent (default: terminal)")
    parser.add_argument("--verbose", action="store_true", help="show the log, or with a scenario every line")
    options = parser.parse_args()

    for number in ENDINGS:
        signal.signal(number, lambda number, _: sys.exit(128 + number))
    try:
        if options.scenario:
            return play(options.scenario, options.build, options.verbose)
        console = Console(best_screen(), options.ui, options.verbose)
        with Sandbox(options.build, console.listener) as box:
            return console.run(box)
    except KeyboardInterrupt:
        return 128 + signal.SIGINT


def play(scenario, build, verbose):
    os.environ["LC_ALL"] = "C"  # scenarios expect English
    screen = PlainScreen()
    with Sandbox(build, lambda name: (lambda text: screen.show(name, text)) if verbose else None) as box:
        return SCENARIOS[scenario](box)


if __name__ == "__main__":
    sys.exit(main())
