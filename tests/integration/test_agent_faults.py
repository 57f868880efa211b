#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The agent beside a service that is absent, dies, keeps silent, freezes, floods or sends nonsense."""

import random
import signal
import socket
import time

from harness import ends_well, expect, logged, main, returns_to
from processes import resources_of
from sandbox import wait_until
from wire import CLIENT, HANG_UP, WireDaemon, answer_all


def settled(box, service):
    """The resources of an agent that has registered, polls and has done its start-up work."""
    expect(service.record.wait("<GetStatus", 20), "the agent does not poll")
    expect(wait_until(lambda: service.connected == 1, 5), f"{service.connected} connections")
    logged(box, "verifyPreLoginPermissions (failed|task)")
    return resources_of(box.agent.pid)


def half(broken):
    """How a service answers that breaks off its answers to one kind of element."""
    def answer(tag, identifier):
        whole = answer_all(tag, identifier)
        return [one[:len(one) // 2] for one in whole] if tag == broken else whole

    return answer


def survives(failure, answer=answer_all, greeting=(), heard="", times=0):
    """The test of a service that fails before it dies and is started again. `heard` and `times` tell what it hears of
    the agent before."""
    def play(box):
        service = WireDaemon(box)
        box.start_agent("none")
        alive = settled(box, service)
        service.die()
        logged(box, "no messenger for given pipe ID$", start=len(box.log.record))
        service = WireDaemon(box, answer, greeting)
        expect(wait_until(lambda: service.connections, 20), "the agent does not connect")
        expect(not times or service.record.wait(heard, 30, count=times), f"did not come: {heard}")
        expect(wait_until(lambda: service.connected <= 1, 5), f"{service.connected} connections are open")
        service.die()
        service = WireDaemon(box)
        settled(box, service)
        expect(returns_to(box, alive), f"the agent leaked: {alive}, {resources_of(box.agent.pid)}")
        ends_well(box, service)

    play.__name__ = f"a_service_that_{failure}_is_survived"
    return play


def nonsense_and_floods_are_survived(box):
    service = WireDaemon(box)
    box.start_agent("none")
    calm = settled(box, service)
    status = b'<Status Value="online" Server="relay"><Proxy Name="a" Value="1"/></Status>'
    for bytes_sent in (b"\0" * 4096, b"<a>" * 100_000, b"<", b">", b"</Status>", status[:-1], b"<Status Value=",
                       b"<Status " + b'a="b" ' * 50_000 + b"/>", b"&#x;&#;&;" * 1000,
                       random.Random(5).randbytes(100_000), b'<Status SubProcessSessions="' + b"-," * 20_000 + b'"/>',
                       status * 5_000,
                       b'<RequestResult RequestData="-99999999999999999999" StatusCode="12abc"/>' * 100):
        service.push(bytes_sent)
        expect(wait_until(service.all_taken, 20), f"the agent does not read {bytes_sent[:20]}")
    service.push(b'<ServiceCommand Command="Still there?"/>')
    logged(box, "unknown service command: Still there")
    expect(returns_to(box, calm), "nonsense makes the agent leak")
    expect(service.connections == 1, "the agent gave its connection up")
    ends_well(box, service)


def a_frozen_service_holds_nothing_up(box):
    """Its socket listens, but nobody accepts: there is room for one connection, and later for none."""
    box.pipes.mkdir(parents=True)
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(str(box.pipes / CLIENT))
        listener.listen(0)
        box.start_agent("terminal")
        logged(box, "Registering service agent")
        for situation in ("connected", "refused"):
            if situation == "refused":
                logged(box, "connect error")
            for command in ("pause", "status"):
                seen, said = len(box.agent.record), time.monotonic()
                expect(box.agent.say(command), "the agent does not listen")
                line = box.agent.record.wait("^(ok|error|status)", 20, seen)
                expect(line and line.time - said < 1, f"{situation}, {command}: answered with {line}, asked at {said}")
        told = time.monotonic()
        box.agent.signal(signal.SIGTERM)
        expect(box.agent.wait(20) == 0, "the agent's exit status is not 0")
        expect(time.monotonic() - told < 1, f"the agent ended after {time.monotonic() - told:.1f} s")


main([survives("closes_connections", greeting=[HANG_UP]),
      survives("breaks_off_a_registration", half(b"RegisterAgent"), heard="<RegisterAgent", times=1),
      survives("breaks_off_a_poll", half(b"GetStatus"), heard="<GetStatus", times=1),
      survives("is_silent", lambda *_: [], heard="<RegisterAgent", times=3),
      nonsense_and_floods_are_survived], at_terminal=[a_frozen_service_holds_nothing_up])
