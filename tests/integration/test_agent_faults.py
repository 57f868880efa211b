#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The agent beside a service that dies, breaks off its answers or keeps silent."""

from harness import ends_well, expect, logged, main, returns_to
from processes import resources_of
from sandbox import wait_until
from wire import HANG_UP, WireDaemon, answer_all


def settled(box, service):
    """The resources of an agent that has registered, polls and has done its start-up work."""
    for element in ("<RegisterAgent", "<GetStatus"):
        expect(service.record.wait(element, 20), f"did not come: {element}")
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


main([survives("closes_connections", greeting=[HANG_UP]),
      survives("breaks_off_a_registration", half(b"RegisterAgent"), heard="<RegisterAgent", times=1),
      survives("breaks_off_a_poll", half(b"GetStatus"), heard="<GetStatus", times=1),
      survives("is_silent", lambda *_: [], heard="<RegisterAgent", times=3)])
