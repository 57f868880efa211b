# SPDX-License-Identifier: MIT

"""Runs integration tests, each in a sandbox of its own."""

import argparse
import concurrent.futures
import os
import pathlib
import signal
import sys
import time
import traceback

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts/sandbox"))

from sandbox import Sandbox, wait_until  # noqa: E402
from scenario import expect  # noqa: E402


def resources_of(pid):
    """The numbers of a process's open descriptors and of its threads."""
    process = pathlib.Path(f"/proc/{pid}")
    return len(list((process / "fd").iterdir())), len(list((process / "task").iterdir()))


def logged(box, pattern, start=0):
    """Waits for a line of the agent's log."""
    return expect(box.log.record.wait(pattern, 20, start), f"not in the log: {pattern}")


def returns_to(box, former):
    """Returns true if the agent soon has no more descriptors and threads than before; it may be running a tool at
    the moment."""
    return wait_until(lambda: all(now <= then for now, then in zip(resources_of(box.agent.pid), former)), 10)


def ends_well(box, service):
    """Ends the agent in order, and then its service."""
    expect(box.agent.running, "the agent has ended")
    box.agent.signal(signal.SIGTERM)
    expect(box.agent.wait(20) == 0, "the agent's exit status is not 0")
    service.die()


def _play(test, build, user):
    with Sandbox(build, user=user) as box:
        try:
            test(box)
            for program in (box.agent, box.daemon):
                if program:
                    program.end(20)
                    expect(not program.record.find("Sanitizer|runtime error:"), "a sanitizer reported")
            return True
        except Exception:
            print("\n".join([traceback.format_exc(), *box.last_lines(30)]), flush=True)
            return False


def main(tests, user=None):
    """Plays the tests side by side, as they mostly wait. `user` is the id of the user who runs the agent, if it is
    another one."""
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True, help="build folder")
    parser.add_argument("names", nargs="*", help="tests to run (default: all)")
    options = parser.parse_args()
    os.environ["LC_ALL"] = "C"  # tests read English
    chosen = [test for test in tests if not options.names or test.__name__ in options.names]

    def play(test):
        started = time.monotonic()
        passed = _play(test, options.build, user)
        # One write: others may print at the same time.
        sys.stdout.write(f"{'ok  ' if passed else 'FAIL'} {test.__name__} {time.monotonic() - started:.1f} s\n")
        return passed

    with concurrent.futures.ThreadPoolExecutor() as players:
        results = list(players.map(play, chosen))
    sys.exit(0 if results and all(results) else 1)
