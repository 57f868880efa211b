#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Opens the agent's dialogs from outside: in the agent that runs, or else in one that is started for it."""

import signal
import time

from harness import expect, logged, main
from sandbox import wait_until


def show(box, dialog, *options):
    """Runs the agent's program with the option that opens a dialog, on a machine without a system bus."""
    return box._start("show", box.bundle / "Contents/MacOS/KvnGUIAgent", *options, "--show", dialog,
                      environment={"DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/nowhere"})


def is_shown_by_running_agent(box, dialog, title):
    start = len(box.agent.record)
    asked = show(box, dialog, "--ui", "none")
    expect(asked.wait(20) == 0, f"{dialog}: the exit status is not 0: {asked.record.tail(5)}")
    expect(not asked.record.tail(5), f"{dialog}: it prints {asked.record.tail(5)}")
    expect(box.agent.record.wait(title, 20, start), f"{dialog} is not shown")


def the_running_agent_shows_it(box):
    box.start_agent("terminal")
    logged(box, "Launched")
    for dialog, title in (("settings", "Keep a transfer log"), ("status", "Status:")):
        is_shown_by_running_agent(box, dialog, title)
    logs = list(box.root.glob("var/log/com.korvane.remote/*"))
    expect(len(logs) == 1, f"the logs are {logs}")


def an_agent_that_shows_nothing_is_replaced(box):
    box.start_daemon()
    expect(box.wait_for_daemon(), "the daemon does not come up")
    box.start_agent("none")
    logged(box, "No other running KvnGUIAgent instance found")  # it would end one that starts before
    first, box.agent = box.agent, show(box, "status", "--ui", "terminal")
    expect(box.agent.record.wait("Status:", 20), "the status is not shown")
    expect(wait_until(lambda: not first.running, 30), "two agents run")
    expect(first.wait(20) == -signal.SIGKILL, "the first agent ended otherwise")


def without_an_agent_it_becomes_one_at_once(box):
    started = time.monotonic()
    box.agent = show(box, "settings", "--ui", "terminal")
    expect(box.agent.record.wait("Keep a transfer log", 20), "the settings are not shown")
    expect(time.monotonic() - started < 3, "it waited for an agent that does not run")
    is_shown_by_running_agent(box, "status", "Status:")


main([the_running_agent_shows_it, an_agent_that_shows_nothing_is_replaced, without_an_agent_it_becomes_one_at_once])
