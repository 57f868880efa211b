#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The agent's main thread waits for nobody, whatever a peer, a bus, a terminal or the holder of a lock does."""

import collections
import fcntl
import itertools
import os
import platform
import socket
import termios
import threading
import time
from typing import NamedTuple

from harness import expect, logged, main
from sandbox import wait_until
from wire import CLIENT, WireDaemon, WireServer

LONGEST = 0.1  # seconds
SPARSE = 0.01  # seconds between two samples, from which on the thread may have been idle between them
RUNNING = (b"running",)  # the place of a thread that does not sleep
LAUNCH = b'<ServiceCommand Command="ExecuteProcess" Executable="/bin/true"/>'
# The numbers of the system calls clone, vfork and clone3, with which a program is started. The caller waits there until
# the child has got a processor, like a thread that waits for one itself.
STARTING = {"x86_64": {b"56", b"58", b"435"}, "aarch64": {b"220", b"435"}}.get(platform.machine(), set())


class Sample(NamedTuple):
    time: float
    place: tuple  # the system call and its stack pointer, which differs from one caller to the next
    busy: float  # seconds for which the thread has been running or waiting for a processor
    turns: int  # how often it has begun to run


class MainThread:
    """Samples where a program's main thread is, as long as the scope lasts. Only the time is counted in which it
    sleeps: on a busy machine every thread may wait long for a processor."""

    def __init__(self, pid):
        self._files = [os.open(f"/proc/{pid}/task/{pid}/{name}", os.O_RDONLY) for name in ("schedstat", "syscall")]
        self._samples = []
        self._ending = threading.Event()
        self._thread = threading.Thread(target=self._follow)

    def _follow(self):
        while not self._ending.wait(0.002):
            counts, call = (os.pread(file, 300, 0).split() for file in self._files)
            running, waiting, turns = map(int, counts)
            self._samples.append(Sample(time.monotonic(), (call[0], *call[-2:-1]), (running + waiting) / 1e9, turns))

    def __enter__(self):
        self._thread.start()
        time.sleep(0.5)
        # The main loop's own wait, since nothing happens.
        self._idle = collections.Counter(sample.place for sample in self._samples).most_common(1)[0][0]
        return self

    def __exit__(self, *_):
        expect(self._thread.is_alive(), "the main thread could not be looked at any more")
        self._ending.set()
        self._thread.join()
        for file in self._files:
            os.close(file)

    def longest_sleep(self):
        """Returns the longest time in seconds that it slept at other places between two waits of the main loop."""
        longest = slept = 0
        for first, second in itertools.pairwise(self._samples):
            places, passed = (first.place, second.place), second.time - first.time
            if self._idle in places or (first.turns != second.turns and passed >= SPARSE):
                slept = 0
            elif RUNNING not in places and not STARTING & {place[0] for place in places}:
                # The wait for a processor is counted when it is over.
                slept += passed - (second.busy - first.busy)
                longest = max(longest, slept)
        return longest


def polls(service):
    """Waits for the agent's next two requests for the status."""
    expect(service.record.wait("<GetStatus", 20, len(service.record), 2), "the agent does not poll")


def started(box, service, **options):
    box.start_agent("terminal", **options)
    logged(box, "verifyPreLoginPermissions (failed|task)")
    polls(service)


def answers(box, command, answer="^(ok|error|status)"):
    seen = len(box.agent.record)
    expect(box.agent.say(command), "the agent does not listen")
    return expect(box.agent.record.wait(answer, 20, seen), f"not answered: {command}")


# Each of these starts the agent, yields when nothing happens, and then makes the fault.

def a_service_that_does_not_read(box):
    box.pipes.mkdir(parents=True)
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(str(box.pipes / CLIENT))
        listener.listen(5)
        box.start_agent("terminal")
        logged(box, "verifyPreLoginPermissions (failed|task)")
        yield
        expect(wait_until(lambda: answers(box, "pause") and box.log.record.find("failed to send request tag"), 20),
               "the socket was never full")


def a_session_bus_that_stops_at_forty_launches(box):
    """The service confirms no registration, so that the agent gives its connection up meanwhile."""
    service = WireDaemon(box, lambda *_: [])
    started(box, service)
    service.push(LAUNCH * 30)  # with more than two later, the starts of programs would be measured
    expect(box.log.record.wait("Started", 20, count=30), "not all were launched")
    yield
    with box.frozen_bus():
        service.push(LAUNCH * 40)
        logged(box, "Too many launch requests")
        answers(box, "status")
        polls(service)
    expect(box.log.record.wait("Started", 20, count=32), "not all were launched")
    service.die()


def buses_that_never_answer(box):
    service, bus = WireDaemon(box), Silent(box.root / "silent")
    address = f"unix:path={box.root}/silent"
    started(box, service, environment={"DBUS_SESSION_BUS_ADDRESS": address, "DBUS_SYSTEM_BUS_ADDRESS": address})
    yield
    former = bus.connections
    expect(former >= 2, "not both buses are used")
    bus.hang_up()
    expect(wait_until(lambda: bus.connections >= former + 2, 20), "the buses are not sought again")
    polls(service)
    bus.die()
    service.die()


def a_terminal_that_is_stopped(box):
    service = WireDaemon(box)
    started(box, service, columns=80)
    yield
    terminal = os.open(f"/proc/{box.agent.pid}/fd/1", os.O_RDWR | os.O_NOCTTY)
    termios.tcflow(terminal, termios.TCOOFF)
    for _ in range(100):  # of about 1 KB each: more than the terminal and the agent keep
        expect(box.agent.say("help"), "the agent does not listen")
    polls(service)
    seen = len(box.agent.record)
    termios.tcflow(terminal, termios.TCOON)
    os.close(terminal)
    expect(box.agent.record.wait("Lines that were left out", 20, seen), "the terminal was never full")
    service.die()


def preferences_that_are_locked(box):
    service = WireDaemon(box)
    started(box, service)
    yield
    with open(box.preferences, "rb") as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        os.utime(box.preferences)  # so that they are read again
        for command, answer in (("settings", "Keep a transfer log"), ("set 1 on", "^ok"), ("close", "^ok"),
                                ("settings", r"\[x\] Keep a transfer log")):
            answers(box, command, answer)
        polls(service)
    service.die()


def a_helper_that_keeps_silent(box):
    service, helper = WireDaemon(box), Silent(box.helper_socket)
    started(box, service)
    yield
    expect(box.agent.say("task /bin/true"), "the agent does not listen")
    expect(helper.record.wait("getVersion", 20), "the helper is not asked")
    answers(box, "status")
    polls(service)
    service.die()
    helper.die()


class Silent(WireServer):
    """Accepts, reads and never answers."""

    def react(self, peer, data):
        return []

    def hang_up(self):
        with self._lock:
            self._close(*list(self._peers))


def holds_nothing_up(fault):
    """The test that the main thread does not wait while there is the fault."""
    def play(box):
        steps = fault(box)
        next(steps)
        with MainThread(box.agent.pid) as thread:
            next(steps, None)
        slept = thread.longest_sleep()
        print(f"{fault.__name__}: held for {slept * 1000:.1f} ms at most", flush=True)
        expect(slept < LONGEST, f"the main thread was held for {slept:.3f} s")

    play.__name__ = f"{fault.__name__}_holds_nothing_up"
    return play


if __name__ == "__main__":
    main(map(holds_nothing_up, (a_service_that_does_not_read, a_session_bus_that_stops_at_forty_launches,
                                buses_that_never_answer, a_terminal_that_is_stopped, preferences_that_are_locked,
                                a_helper_that_keeps_silent)))
