#!/usr/bin/env python3
"""Measures the real agent while it idles, connected, with its poll every 5 seconds."""

import argparse
import calendar
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


def start(box):
    """Starts the agent; returns how long it took to be registered, in milliseconds."""
    seen = len(box.log.record)
    began = time.time()
    box.start_agent("none")
    line = box.log.record.wait(r"\tService agent registered\.$", 20, seen)
    if not line:
        sys.exit("the agent does not register")
    return (logged_time(line.text) - began) * 1000


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


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True)
    parser.add_argument("seconds", type=float, nargs="?", default=60, help="how long to measure")
    options = parser.parse_args()

    with Sandbox(options.build, verbose=False) as box:
        box.start_daemon()
        if not box.wait_for_daemon():
            sys.exit("the daemon does not come up")
        starts = [start(box)]
        while len(starts) < STARTS:
            box.agent.end()
            starts.append(start(box))
        pid = box.agent.pid
        time.sleep(1)  # leaves the start out of the measurement
        before = usage(pid)
        time.sleep(options.seconds)
        after = usage(pid)
        if before.keys() != after.keys():
            sys.exit("the agent's threads changed meanwhile: it did not idle")
        minutes = options.seconds / 60
        switches, nanoseconds = (sum(after[task][i] - before[task][i] for task in after) for i in (0, 1))
        rows = [("resident memory", resident_kilobytes(pid) / 1024, 6, "MB"),
                ("voluntary context switches", switches / minutes, 60, "a minute"),
                ("processor time", nanoseconds / 1e6 / minutes, 5, "ms a minute"),
                ("registered after exec", statistics.median(starts), 50, "ms")]
    for name, value, goal, unit in rows:
        print(f"{name:<28}{value:>8.2f} {unit:<12} goal {goal:>3}  {'met' if value <= goal else 'missed'}")


if __name__ == "__main__":
    main()
