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

SCENARIOS = {"first-session": first_session.play, "service-control": service_control.play,
             "everything": everything.play}


def main():
    parser = argparse.ArgumentParser(prog="run", description=__doc__)
    parser.add_argument("--build", default="build", help="build folder (default: build)")
    parser.add_argument("--scenario", choices=sorted(SCENARIOS), help="play a story and check it")
    parser.add_argument("--ui", choices=("terminal", "none"), default="terminal",
                        help="front end of the agent (default: terminal)")
    parser.add_argument("--verbose", action="store_true", help="show every line during a scenario")
    options = parser.parse_args()

    signal.signal(signal.SIGTERM, lambda *_: sys.exit(128 + signal.SIGTERM))
    try:
        with Sandbox(options.build, verbose=options.verbose or not options.scenario) as box:
            if options.scenario:
                os.environ["LC_ALL"] = "C"  # stories are told in English
                return SCENARIOS[options.scenario](box)
            return Console(box, options.ui).run()
    except KeyboardInterrupt:
        return 128 + signal.SIGINT


if __name__ == "__main__":
    sys.exit(main())
