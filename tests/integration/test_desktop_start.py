#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""How the agent finds its front end, and what becomes of it when its display or the front end's module is missing."""

import contextlib
import os
import pathlib
import re
import signal
import socket
import subprocess

from harness import expect, logged, main
from programs import Program
from sandbox import wait_until
from test_main_thread import holds_nothing_up

MODULE = "KvnDesktop.so"
for name in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "XAUTHORITY", "SESSION_MANAGER", "XDG_SESSION_ID"):
    os.environ.pop(name, None)  # they belong to the desktop of the person who runs the tests


@contextlib.contextmanager
def display(*options):
    """Runs a display of its own; yields the program and what names it."""
    server = Program(["Xvfb", "-displayfd", "1", "-screen", "0", "640x480x24", "-nolisten", "tcp", *options])
    try:
        number = expect(server.record.wait(r"^\d+$", 20), "the display does not come up").text
        yield server, {"DISPLAY": f":{number}"}
    finally:
        server.end()


@contextlib.contextmanager
def silent_socket(path):
    """Takes connections and never answers."""
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(str(path))
        listener.listen(8)
        try:
            yield
        finally:
            path.unlink()


def loaded(box):
    """The names of the libraries that the agent has loaded."""
    return set(re.findall(r"/([^/\n]+\.so[^/\n]*)\n", pathlib.Path(f"/proc/{box.agent.pid}/maps").read_text()))


def falls_back(box, environment, reason):
    """Expects `--ui desktop` to fail for the reason, and the default to run without a desktop and log the reason."""
    box.start_agent("desktop", environment=environment)
    expect(box.agent.wait(20) == 1, "the agent's exit status is not 1")
    lines = box.agent.record.tail(9)
    expect(len(lines) == 1 and re.search(f"^KvnGUIAgent: the desktop front end .*{reason}", lines[0]), f"told: {lines}")
    seen = len(box.log.record)
    box.start_agent(None, environment=environment)
    logged(box, "\tLaunched: ", seen)
    told = box.log.record.find("The desktop front end is not used: ")
    expect(len(told) == 1 and re.search(reason, told[0].text), f"logged: {told}")
    end_in_order(box, lambda: box.agent.signal(signal.SIGTERM))


def end_in_order(box, end):
    end()
    expect(box.agent.wait(20) == 0, "the agent's exit status is not 0")
    logged(box, "\tApplication will terminate: KvnGUIAgent$")


def a_display_that_answers_is_used_by_default(box):
    with display() as (_, environment):
        box.start_agent(None, environment=environment)
        logged(box, "\tLaunched: ")
        expect(MODULE in loaded(box), "the desktop front end is not loaded")
        process = pathlib.Path(f"/proc/{box.agent.pid}")
        for fd in process.joinpath("fd").iterdir():
            flags = int(process.joinpath("fdinfo", fd.name).read_text().split("flags:")[1].split()[0], 8)
            expect(int(fd.name) <= 2 or flags & os.O_CLOEXEC, f"{fd.name} -> {os.readlink(fd)} would be inherited")
        # The threads of the toolkit leave the signals to the agent's.
        masks = {int(task.joinpath("status").read_text().split("SigBlk:")[1].split()[0], 16)
                 for task in process.joinpath("task").iterdir()
                 if task.joinpath("comm").read_text().startswith("QXcb")}
        expect(masks and all(mask & 1 << signal.SIGTERM - 1 for mask in masks), f"blocked signals: {masks}")
        end_in_order(box, lambda: box.agent.signal(signal.SIGTERM))


def the_other_front_ends_load_no_toolkit(box):
    with display() as (_, environment):
        for ui in ("none", "terminal"):
            seen = len(box.log.record)
            box.start_agent(ui, environment=environment)
            logged(box, "\tLaunched: ", seen)
            foreign = {name for name in loaded(box) if re.match("libQt|libX|libxcb|libedit|Kvn", name)}
            expect(not foreign, f"{ui} has loaded {foreign}")
            end_in_order(box, lambda: box.agent.signal(signal.SIGTERM))


def a_session_without_a_display_is_no_news(box):
    box.start_agent(None)
    logged(box, "\tLaunched: ")
    expect(not box.log.record.find("desktop front end"), "the log tells of the desktop")
    box.start_agent("desktop")
    expect(box.agent.wait(20) == 1 and box.agent.record.find("neither DISPLAY nor WAYLAND_DISPLAY"), "no clear error")


def without(name, reason, change):
    """The test of a desktop that cannot be used. `change` is called with the sandbox and a stack of scopes; it returns
    the environment."""
    def play(box):
        with contextlib.ExitStack() as stack:
            falls_back(box, change(box, stack), reason)

    play.__name__ = name
    return play


def remove_module(box, stack):
    box.bundle.joinpath("Contents/PlugIns", MODULE).unlink()
    return stack.enter_context(display())[1]


def x11_silence(_, stack):
    folder = pathlib.Path("/tmp/.X11-unix")
    folder.mkdir(mode=0o1777, exist_ok=True)
    path = folder / f"X{10000 + os.getpid()}"
    stack.enter_context(silent_socket(path))
    return {"DISPLAY": f":{path.name[1:]}"}


def wayland_silence(box, stack):
    stack.enter_context(silent_socket(box.root / "wayland"))
    return {"WAYLAND_DISPLAY": str(box.root / "wayland")}


def the_agent_ends_in_order_with_its_display(box):
    box.start_daemon()
    expect(box.wait_for_daemon(), "the daemon does not come up")
    with display() as (server, environment):
        box.start_agent("desktop", environment=environment)
        logged(box, r"\tService agent registered\.$")
        server.signal(signal.SIGKILL)
        end_in_order(box, lambda: None)
        expect(box.log.record.find("\tThe display is gone$"), "the log does not tell why")
        expect(wait_until(lambda: box.tell_daemon("agents") == "ok", 10), "the daemon still has an agent")


def a_session_bus_that_stops_before_a_dialog_opens(box):
    """The permission dialog opens by itself, soon after the start."""
    with display() as (_, environment), box.frozen_bus():
        box.start_agent("desktop", environment=environment)
        logged(box, "\tLaunched: ")
        yield
        search = ["xdotool", "search", "--onlyvisible", "--name", "^Permissions$"]
        expect(wait_until(lambda: subprocess.run(search, env={**os.environ, **environment}, capture_output=True,
                                                 timeout=20, check=False).stdout, 20), "no dialog is shown")


if __name__ == "__main__":
    main((holds_nothing_up(a_session_bus_that_stops_before_a_dialog_opens),
          a_display_that_answers_is_used_by_default,
          the_other_front_ends_load_no_toolkit,
          a_session_without_a_display_is_no_news,
          the_agent_ends_in_order_with_its_display,
          without("a_missing_module_is_told", r"package kvn-gui-agent-desktop", remove_module),
          without("a_display_that_is_not_there_is_told", "DISPLAY=:987654", lambda *_: {"DISPLAY": ":987654"}),
          without("a_silent_x11_display_is_told", r"DISPLAY=:\d+", x11_silence),
          without("a_silent_wayland_display_is_told", "WAYLAND_DISPLAY=/", wayland_silence),
          without("a_missing_plug_in_is_told", 'plug-in "nonsense" is missing',
                  lambda *_: {"DISPLAY": ":987654", "QT_QPA_PLATFORM": "nonsense"})))
