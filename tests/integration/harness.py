"""Runs integration tests: each gets a sandbox of its own and says with `expect` what must hold."""

import argparse
import concurrent.futures
import os
import pathlib
import sys
import time
import traceback

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts/sandbox"))

from sandbox import Sandbox  # noqa: E402
from scenario import expect  # noqa: E402


def _play(test, build):
    with Sandbox(build) as box:
        try:
            test(box)
            for program in (box.agent, box.helper, box.daemon):
                if program:
                    program.end(20)
                    expect(not program.record.find("Sanitizer|runtime error:"), "a sanitizer reported")
            return True
        except Exception:
            print("\n".join([traceback.format_exc(), *box.last_lines(30)]), flush=True)
            return False


def main(tests, side_by_side=False):
    """`side_by_side` is for tests that mostly wait."""
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True, help="build folder")
    parser.add_argument("names", nargs="*", help="tests to run (default: all)")
    options = parser.parse_args()
    os.environ["LC_ALL"] = "C"  # tests read English
    chosen = [test for test in tests if not options.names or test.__name__ in options.names]

    def play(test):
        started = time.monotonic()
        passed = _play(test, options.build)
        print("ok  " if passed else "FAIL", test.__name__, f"{time.monotonic() - started:.1f} s", flush=True)
        return passed

    with concurrent.futures.ThreadPoolExecutor(len(tests) if side_by_side else 1) as players:
        results = list(players.map(play, chosen))
    sys.exit(0 if results and all(results) else 1)
