#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Measures the real agent with each front end: how it starts, and how it idles when it is connected, polls every
5 seconds and has no dialog open; on a desktop with a panel, beside other programs that live in one."""

import argparse
import calendar
import concurrent.futures
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "scripts/sandbox"))

from programs import Program  # noqa: E402
from sandbox import Sandbox, wait_until  # noqa: E402

STARTS = 9
GOALS = {"resident memory": 10, "voluntary context switches": 75, "processor time": 8, "launched after exec": 40,
         "registered after exec": 100}
NONE_GOALS = {**GOALS, "resident memory": 5.5, "private memory": 0.42, "voluntary context switches": 40,
              "calls until registered": 250, "stripped program": 1}
DESKTOP_GOALS = {"resident memory": 32, "voluntary context switches": 60, "processor time": 5,
                 "launched after exec": 250, "registered after exec": 250, "item visible after exec": 250}
NEIGHBOURS = ("nm-applet", "blueman-applet")


def logged_time(line):
    """The wall-clock time at the head of a log line."""
    stamp, milliseconds = line.split(" ")[0].split(".")
    return calendar.timegm(time.strptime(stamp, "%Y-%m-%dT%H:%M:%S")) + int(milliseconds) / 1000


def start(box, ui, desktop):
    """Starts the agent; returns how many milliseconds later it logged its launch and its registration, and on a desktop
    how much later the panel had its item."""
    seen = len(box.log.record)
    began = time.time()
    box.start_agent(ui)
    shown = desktop and wait_until(lambda: items(desktop) and time.time(), 20)
    lines = [box.log.record.wait(text, 20, seen) for text in (r"\tLaunched: ", r"\tService agent registered\.$")]
    if not all(lines):
        sys.exit("the agent does not register")
    if desktop and not shown:
        print("the panel has not got an item")
    return [(when - began) * 1000 for when in (*(logged_time(line.text) for line in lines), *([shown] if shown else []))]


def calls_until_registered(box, ui):
    """Starts and ends the agent. Returns how many system calls its threads made before the registration was logged."""
    trace, seen = box.root / "start.strace", len(box.log.record)
    box.start_agent(ui, tracer=["strace", "-f", "-s", "200", "-o", trace])
    if not box.log.record.wait(r"\tService agent registered\.$", 20, seen):
        sys.exit("the agent does not register while strace follows it")
    box.agent.end()
    text = trace.read_text().partition("Service agent registered.")[0]
    threads = {text.split(None, 1)[0], *re.findall(r"parent_tid=\[(\d+)\]", text)}  # its children are no threads
    lines = (line.split(None, 1) for line in text.splitlines())
    return sum(thread in threads and not call.startswith(("<...", "+++", "---")) for thread, call in lines)


def stripped_megabytes(box):
    """The size of the program as it is installed."""
    stripped = box.root / "stripped"
    subprocess.run(["strip", "-o", stripped, box.bundle / "Contents/MacOS/KvnGUIAgent"], check=True)
    return stripped.stat().st_size / 2**20


def items(desktop):
    """The items that the panel's watcher knows."""
    from desktop_session import WATCHER
    return desktop.bus.get(WATCHER, "/StatusNotifierWatcher", WATCHER, "RegisteredStatusNotifierItems")


def closes_dialog(pid):
    """Returns True if the process has no window; otherwise sends Escape to it."""
    def search(*command):
        return subprocess.run(["xdotool", "search", "--onlyvisible", "--pid", str(pid), *command], capture_output=True,
                              timeout=30, check=False).returncode == 0

    if not search():
        return True
    search("windowfocus", "key", "Escape")  # fails after the key is pressed, as there is no window left to release it in
    return False


def settle(box, ui):
    """Closes the permission dialog each of the two times that it comes up by itself."""
    for left in (1, 0):
        if not box.log.record.wait(rf"\tShow permission dialog: reset count=0, remaining={left}$", 30):
            sys.exit("the permission dialog does not come up")
        if ui == "desktop":
            if not wait_until(lambda: not closes_dialog(box.agent.pid), 30) or \
                    not wait_until(lambda: closes_dialog(box.agent.pid), 30):
                sys.exit("the permission dialog does not go away")
        else:
            box.agent.say("close")
    # Ten seconds after the start the agent looks after the login session; a toolkit ends threads that it has not used.
    time.sleep(12)


def usage(pid):
    """Voluntary context switches and processor nanoseconds of each thread that lives."""
    found = {}
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        status = (task / "status").read_text()
        switches = int(status.split("\nvoluntary_ctxt_switches:")[1].split()[0])
        found[task.name] = (switches, int((task / "schedstat").read_text().split()[0]))
    return found


def megabytes(pid, kind):
    """The process's memory: all that is resident (Rss), or the part that no other process can share."""
    return int(pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text().split(f"\n{kind}:")[1].split()[0]) / 1024


def idle(pid, seconds):
    """The figures of a process that idles, by name, without those of threads that end meanwhile."""
    before = usage(pid)
    time.sleep(seconds)
    after = usage(pid)
    minutes = seconds / 60
    switches, nanoseconds = (sum(figures[i] - before.get(task, (0, 0))[i] for task, figures in after.items())
                             for i in (0, 1))
    return {"resident memory": megabytes(pid, "Rss"), "private memory": megabytes(pid, "Private_Dirty"),
            "voluntary context switches": switches / minutes,
            "processor time": nanoseconds / 1e6 / minutes}


def measure(build, ui, seconds, desktop=None):
    """The figures of one front end, by name."""
    with Sandbox(build, joins_session=bool(desktop)) as box:
        box.start_daemon()
        if not box.wait_for_daemon():
            sys.exit("the daemon does not come up")
        extra = {} if desktop else {"calls until registered": calls_until_registered(box, ui),
                                    "stripped program": stripped_megabytes(box)}
        starts = [start(box, ui, desktop)]
        while len(starts) < STARTS:
            box.agent.end()
            if desktop and not wait_until(lambda: not items(desktop), 10):
                sys.exit("the panel keeps the item of an agent that has ended")
            starts.append(start(box, ui, desktop))
        settle(box, ui)
        names = ("launched after exec", "registered after exec", "item visible after exec")
        return {**idle(box.agent.pid, seconds),
                **{name: statistics.median(times) for name, times in zip(names, zip(*starts))}, **extra}


def measure_neighbour(name, seconds):
    """The figures of another program that lives in panels."""
    program = Program([name])
    try:
        time.sleep(5)  # it starts threads, and looks for what it serves
        return idle(program.pid, seconds)
    finally:
        program.end()


def show(program, figures, goals):
    units = {"resident memory": "MB", "private memory": "MB", "stripped program": "MB", "calls until registered": "",
             "voluntary context switches": "a minute", "processor time": "ms a minute"}
    for name, value in figures.items():
        goal = goals.get(name)
        verdict = "" if goal is None else f"goal {goal:>3}  {'met' if value <= goal else 'missed'}"
        print(f"{program:<15}{name:<28}{value:>8.2f} {units.get(name, 'ms'):<12} {verdict}".rstrip())


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True)
    parser.add_argument("seconds", type=float, nargs="?", default=60, help="how long to measure")
    options = parser.parse_args()

    front_ends = ("none", "terminal")
    with concurrent.futures.ThreadPoolExecutor() as pool:  # they idle, so they do not disturb each other
        for ui, figures in zip(front_ends, pool.map(lambda ui: measure(options.build, ui, options.seconds), front_ends)):
            show(ui, figures, NONE_GOALS if ui == "none" else GOALS)
    if not pathlib.Path(options.build, "KvnGUIAgent.app/Contents/PlugIns/KvnDesktop.so").exists():
        return
    from desktop_session import DesktopSession  # needs what only a machine with a desktop has
    with DesktopSession() as desktop:
        desktop.start_panel()
        show("desktop", measure(options.build, "desktop", options.seconds, desktop), DESKTOP_GOALS)
        installed = [name for name in NEIGHBOURS if shutil.which(name)]
        with concurrent.futures.ThreadPoolExecutor() as pool:
            for name, figures in zip(installed, pool.map(lambda one: measure_neighbour(one, options.seconds), installed)):
                show(name, figures, {})


if __name__ == "__main__":
    main()
