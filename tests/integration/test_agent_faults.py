#!/usr/bin/env python3
"""The agent beside a service that is absent, dies, keeps silent, floods or talks nonsense."""

import random
import signal
import socket
import time

from agent_process import processor_seconds_of, resources_of
from harness import expect, main
from sandbox import wait_until
from wire import CLIENT, WireDaemon, answer_all, answer_nothing

POLL = 5.0


def resources(box):
    """What the agent holds once its start-up work is done."""
    expect(box.log.record.wait("verifyPreLoginPermissions (failed|task)", 20), "the start-up has no end")
    return resources_of(box.agent.pid)


def returns_to(box, former):
    """Whether the agent holds no more than then; it may be running a tool at the moment."""
    return wait_until(lambda: all(now <= then for now, then in zip(resources_of(box.agent.pid), former)), 10)


def settled(box, service, seconds=30):
    """The resources of an agent that has registered and polls."""
    seen = len(service.record)
    expect(service.record.wait("<GetStatus", seconds, seen), "the agent does not poll")
    expect(wait_until(lambda: service.connected == 1, 5), f"{service.connected} connections")
    return resources(box)


def ends_well(box):
    expect(box.agent.running, "the agent has ended")
    box.agent.signal(signal.SIGTERM)
    expect(box.agent.wait(20) == 0, "the agent's exit status is not 0")


def an_absent_service_is_awaited(box):
    box.start_agent("none")
    expect(box.log.record.wait(r"no messenger for given pipe ID$", 20), "the agent does not try")
    alone = resources(box)
    used, began = processor_seconds_of(box.agent.pid), time.monotonic()
    tries = len(box.log.record.find("connect error"))
    expect(box.log.record.wait("connect error", 30, count=tries + 3), "the agent gave up")
    passed = time.monotonic() - began
    share = (processor_seconds_of(box.agent.pid) - used) / passed
    expect(share < 0.05, f"a waiting agent uses {share:.0%} of a processor")
    expect(returns_to(box, alone), "a try leaks")
    service = WireDaemon(box)
    expect(service.record.wait("<RegisterAgent", 20), "the agent did not register")
    expect(box.log.record.wait(r"\tService agent registered\.$", 20), "the registration was not understood")
    service.die()
    ends_well(box)


def a_silent_service_is_tried_again(box):
    service = WireDaemon(box, answer_nothing)
    box.start_agent("none")
    first = settled(box, service)
    expect(service.record.wait("<RegisterAgent", 40, count=4), "the agent does not register again")
    times = [delivery.time for delivery in service.deliveries if b"<RegisterAgent" in delivery.data]
    gaps = [later - earlier for earlier, later in zip(times, times[1:])]
    expect(all(gap > 3.0 for gap in gaps), f"registrations follow each other after {gaps}")
    expect(settled(box, service) == first, "a silent service makes the agent leak")
    service.die()
    ends_well(box)


def deaths_at_any_moment_are_survived(box):
    moments = random.Random(4)
    service = WireDaemon(box)
    box.start_agent("none")
    alive = settled(box, service)
    for _ in range(8):
        time.sleep(moments.uniform(0, 1.5))
        service.die()
        time.sleep(moments.uniform(0, 1.5))
        service = WireDaemon(box, moments.choice([answer_all, answer_nothing]))
    # Two that die in the middle of a conversation.
    for tag in ("RegisterAgent", "GetStatus"):
        service.answer = answer_all
        expect(service.record.wait(f"<{tag}", 30, len(service.record)), "the agent does not come back")
        service.push(b'<Status Value="onl')
        service.die()
        service = WireDaemon(box)
    settled(box, service)
    expect(returns_to(box, alive), f"the agent leaked: {alive}, {resources_of(box.agent.pid)}")
    service.die()
    ends_well(box)


def nonsense_and_floods_are_survived(box):
    service = WireDaemon(box)
    box.start_agent("none")
    calm = settled(box, service)
    noise = random.Random(5)
    status = b'<Status Value="online" Server="relay"><Proxy Name="a" Value="1"/></Status>'
    for bytes_sent in (b"\0" * 4096, b"<a>" * 100_000, b"<", b">", b"</Status>", status[:-1], b"<Status Value=",
                       b"<Status " + b'a="b" ' * 50_000 + b"/>", b"&#x;&#;&;" * 1000, noise.randbytes(100_000),
                       b'<Status SubProcessSessions="' + b"-," * 20_000 + b'"/>', status * 5_000,
                       b'<RequestResult RequestData="-99999999999999999999" StatusCode="12abc"/>' * 100):
        service.push(bytes_sent)
        expect(wait_until(service.all_taken, 20), f"the agent does not read {bytes_sent[:20]}")
    settled(box, service)
    expect(returns_to(box, calm), "nonsense makes the agent leak")
    expect(service.deliveries[-1].connection == 1, "the agent gave its connection up")
    service.push(b'<ServiceCommand Command="Still there?"/>')
    expect(box.log.record.wait("unknown service command: Still there", 20), "the agent understands nothing more")
    service.die()
    ends_well(box)


def a_frozen_service_holds_nothing_up(box):
    """Its socket listens, but nobody accepts: there is room for a connection, and later for none."""
    box.pipes.mkdir(parents=True)
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(str(box.pipes / CLIENT))
        listener.listen(0)
        box.start_agent("terminal")
        expect(box.log.record.wait("Registering service agent", 20), "the agent does not try")
        for situation in ("connected", "refused"):
            if situation == "refused":
                expect(box.log.record.wait("connect error", 30), "the agent connects ever again")
            for command in ("pause", "status"):
                seen, said = len(box.agent.record), time.monotonic()
                expect(box.agent.say(command), "the agent does not listen")
                line = box.agent.record.wait("^(ok|error|status)", 20, seen)
                expect(line and line.time - said < 1, f"{situation}, {command}: answered with {line}, asked at {said}")
        told = time.monotonic()
        box.agent.signal(signal.SIGTERM)
        expect(box.agent.wait(20) == 0, "the agent's exit status is not 0")
        expect(time.monotonic() - told < 1, f"the agent ended after {time.monotonic() - told:.1f} s")


main([an_absent_service_is_awaited, a_silent_service_is_tried_again, deaths_at_any_moment_are_survived,
      nonsense_and_floods_are_survived, a_frozen_service_holds_nothing_up], side_by_side=True)
