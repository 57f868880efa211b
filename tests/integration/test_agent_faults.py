#!/usr/bin/env python3
"""The agent beside a service that is absent, dies, keeps silent, floods or sends nonsense."""

import random
import signal
import socket
import time

from agent_process import processor_seconds_of, resources_of
from harness import ends_well, expect, logged, main, returns_to
from sandbox import wait_until
from wire import CLIENT, HANG_UP, WireDaemon, answer_all, answer_nothing


def resources(box):
    """What the agent holds once its start-up work is done."""
    logged(box, "verifyPreLoginPermissions (failed|task)")
    return resources_of(box.agent.pid)


def settled(box, service):
    """The resources of an agent that has registered and polls."""
    expect(service.record.wait("<GetStatus", 20), "the agent does not poll")
    expect(wait_until(lambda: service.connected == 1, 5), f"{service.connected} connections")
    return resources(box)


def an_absent_service_is_awaited(box):
    box.start_agent("none")
    logged(box, r"no messenger for given pipe ID$")
    alone = resources(box)
    used, began = processor_seconds_of(box.agent.pid), time.monotonic()
    tries = len(box.log.record.find("connect error"))
    logged(box, "connect error", count=tries + 1)
    share = (processor_seconds_of(box.agent.pid) - used) / (time.monotonic() - began)
    expect(share < 0.05, f"a waiting agent uses {share:.0%} of a processor")
    expect(returns_to(box, alone), "a try leaks")
    service = WireDaemon(box)
    logged(box, r"\tService agent registered\.$")
    ends_well(box, service)


def a_silent_service_is_tried_again(box):
    service = WireDaemon(box, answer_nothing)
    box.start_agent("none")
    first = expect(service.record.wait("<RegisterAgent", 20), "the agent does not register")
    calm = resources(box)
    third = expect(service.record.wait("<RegisterAgent", 30, count=3), "the agent does not register again")
    expect(third.time - first.time > 6.0, f"three registrations came in {third.time - first.time:.1f} s")
    expect(returns_to(box, calm), "a silent service makes the agent leak")
    ends_well(box, service)


def survives_death(moment, greeting=(), half_answered=None):
    """The test of a service that dies at a moment and is started again."""
    def answer(tag, identifier):
        whole = b"".join(answer_all(tag, identifier))
        return [whole[:len(whole) // 2]] if tag == half_answered else [whole]

    def play(box):
        service = WireDaemon(box)
        box.start_agent("none")
        alive = settled(box, service)
        service.die()
        service = WireDaemon(box, answer, greeting)
        tag = half_answered.decode() if half_answered else None
        returned = service.record.wait(tag, 20) if tag else wait_until(lambda: service.connections, 20)
        expect(returned, "the agent does not return")
        service.die()
        service = WireDaemon(box)
        settled(box, service)
        expect(returns_to(box, alive), f"the agent leaked: {alive}, {resources_of(box.agent.pid)}")
        ends_well(box, service)

    play.__name__ = f"a_service_that_dies_{moment}_is_survived"
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


main([an_absent_service_is_awaited, a_silent_service_is_tried_again,
      survives_death("at_the_connection", greeting=[HANG_UP]),
      survives_death("in_a_registration", half_answered=b"RegisterAgent"),
      survives_death("in_a_poll", half_answered=b"GetStatus"),
      nonsense_and_floods_are_survived, a_frozen_service_holds_nothing_up], side_by_side=True)
