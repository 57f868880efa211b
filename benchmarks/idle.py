#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Measures the real agent with each front end: how it starts, and how it idles when it is connected, polls every
5 seconds and has no dialog open."""

import argparse
import calendar
import concurrent.futures
import pathlib
import statistics
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "scripts/sandbox"))

from sandbox import Sandbox  # noqa: E402

STARTS = 9


def logged_time(line):
    """The wall-clock time at the head of a log line."""
    stamp, milliseconds = line.split(" ")[0].split(".")
    return calendar.timegm(time.strptime(stamp, "%Y-%m-%dT%H:%M:%S")) + int(milliseconds) / 1000


def start(box, ui):
    """Starts the agent; returns how many milliseconds later it logged its launch and its registration."""
    seen = len(box.log.record)
    began = time.time()
    box.start_agent(ui)
    lines = [box.log.record.wait(text, 20, seen) for text in (r"\tLaunched: ", r"\tService agent registered\.$")]
    if not all(lines):
        sys.exit("the agent does not register")
    return [(logged_time(line.text) - began) * 1000 for line in lines]


def settle(box):
    """Closes the permission dialog each of the two times that it comes up by itself."""
    for left in (1, 0):
        if not box.log.record.wait(rf"\tShow permission dialog: reset count=0, remaining={left}$", 30):
            sys.exit("the permission dialog does not come up")
        box.agent.say("close")
    time.sleep(1)


def usage(pid):
    """Voluntary context switches and processor nanoseconds of each thread that lives."""
    found = {}
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        status = (task / "status").read_text()
        switches = int(status.split("\nvoluntary_ctxt_switches:")[1].split()[0])
        found[task.name] = (switches, int((task / "schedstat").read_text().split()[0]))
    return found


def resident_kilobytes(pid):
    return int(pathlib.Path(f"/proc/{pid}/status").read_text().split("\nVmRSS:")[1].split()[0])


def measure(build, ui, seconds):
    """The figures of one front end: name, value, goal, unit."""
    with Sandbox(build) as box:
        box.start_daemon()
        if not box.wait_for_daemon():
            sys.exit("the daemon does not come up")
        starts = [start(box, ui)]
        while len(starts) < STARTS:
            box.agent.end()
            starts.append(start(box, ui))
        settle(box)
        pid = box.agent.pid
        before = usage(pid)
        time.sleep(seconds)
        after = usage(pid)
        if before.keys() != after.keys():
            sys.exit("the agent's threads changed meanwhile: it did not idle")
        minutes = seconds / 60
        switches, nanoseconds = (sum(after[task][i] - before[task][i] for task in after) for i in (0, 1))
        launched, registered = (statistics.median(times) for times in zip(*starts))
        return [("resident memory", resident_kilobytes(pid) / 1024, 10, "MB"),
                ("voluntary context switches", switches / minutes, 75, "a minute"),
                ("processor time", nanoseconds / 1e6 / minutes, 8, "ms a minute"),
                ("launched after exec", launched, 40, "ms"),
                ("registered after exec", registered, 100, "ms")]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True)
    parser.add_argument("seconds", type=float, nargs="?", default=60, help="how long to measure")
    options = parser.parse_args()

    front_ends = ("none", "terminal")
    with concurrent.futures.ThreadPoolExecutor() as pool:  # they idle, so they do not disturb each other
        results = list(pool.map(lambda ui: measure(options.build, ui, options.seconds), front_ends))
    for ui, rows in zip(front_ends, results):
        for name, value, goal, unit in rows:
            print(f"{ui:<9}{name:<28}{value:>8.2f} {unit:<12} goal {goal:>3}  "
                  f"{'met' if value <= goal else 'missed'}")


if __name__ == "__main__":
    main()
