#!/usr/bin/env python3
"""The agent's side of its conversation with the privileged helper, against one that shares no code with it."""

import json
import os
import re
import signal

from agent_process import resources_of
from harness import ends_well, expect, logged, main, returns_to
from helper_client import frame
from helper_wire import WireHelper, completed, succeed
from installation import HELPER
from sandbox import wait_until
from wire import HANG_UP, RETIRE, WireDaemon

VERSION = b'F7100015{"Ctrl":"getVersion"}'
BYE = b'F710000E{"Ctrl":"bye"}'
START = b'F7100016{"Cmd":"StartService"}'
TASK = {"Cmd": "ExecuteTask", "task": "/bin/echo", "args": ["a", "b"], "requestId": 1}
SENDING = "Sending start service command"
CLOSED = "PrivilegedAgent event connection closed by peer"


def started(box):
    service, helper = WireDaemon(box), WireHelper(box)
    box.start_agent("terminal")
    expect(service.record.wait("<GetStatus", 30), "the agent does not come up")
    return service, helper


def tell(box, helper, command, log):
    """Gives the agent a command; returns the frames that it then sends."""
    sent, seen = len(helper.frames), len(box.log.record)
    expect(box.agent.say(command), "the agent does not listen")
    logged(box, "\t" + re.escape(log), start=seen)
    expect(wait_until(lambda: b'"Cmd"' in b"".join(helper.frames[sent:]), 20), f"{command}: nothing came")
    return helper.frames[sent:]


def ends(box, service, helper):
    expect(not helper.faults, f"not frames of an agent: {helper.faults}")
    ends_well(box, service)
    helper.die()


def commands_travel_as_frames(box):
    service, helper = started(box)
    sent = []
    for command, log in (("start", SENDING), ("stop", "Sending stop service command"),
                         ("restart", "Sending restart service command"),
                         ("task /bin/echo a b", "Sending launch command")):
        sent += tell(box, helper, command, log)
    expect(sent[:-1] == [VERSION, START, b'F7100015{"Cmd":"StopService"}', b'F7100018{"Cmd":"RestartService"}'],
           f"sent {sent}")
    message = json.loads(sent[-1][8:])
    expect(sent[-1] == frame(message) and message == TASK, f"sent {sent[-1]}")
    expect(box.agent.record.wait("^task: result 0$", 10), "the task's result is not shown")
    ends(box, service, helper)


def padded(message, size):
    """A failed completion whose body has that size."""
    bare = len(completed(message, -201, ErrorDetails="")) - 8
    return completed(message, -201, ErrorDetails="x" * (size - bare))


# What the helper answers to a start command, and what the agent then logs.
STATUS = "Command StartService failed, status: -201"
UNDERSTOOD = (
    (lambda message: [padded(message, 511)], STATUS),
    (lambda message: [bytes([byte]) for byte in padded(message, 90)], STATUS),
    (lambda message: [frame([1]) + frame({}) + frame({"Event": 5}) + padded(message, 100)], STATUS),
    (lambda _: [completed({"Cmd": "ExecuteTask"}, Response={"requestId": 99, "result": 7})],
     "Received response: 7 for unknown request: 99"),
    (lambda _: [completed({"Cmd": "ExecuteTask"})], "Received response: (null) for unknown request: (null)"),
    (lambda _: [], SENDING),
)
FATAL = (
    ([b"F7100200" + b" " * 512], "PH connection failed, reason: Invalid message size: 512, error: -101"),
    ([frame(b'{"a":"\xff\xfe"}')], "PH connection failed, reason: Failed to deserialize message"),
    ([HANG_UP], CLOSED),
    ([b"F710", HANG_UP], CLOSED),
    ([b'F7100015{"Event', HANG_UP], CLOSED),
)


def whatever_a_helper_answers_is_survived(box):
    service, helper = started(box)
    for answer, log in UNDERSTOOD:
        helper.answer = answer
        tell(box, helper, "start", log)
    expect(helper.frames == [VERSION] + [START] * len(UNDERSTOOD), f"sent {helper.frames}")
    calm = resources_of(box.agent.pid)
    for answer, log in FATAL:
        seen = len(box.log.record)
        helper.answer = lambda _, answer=answer: answer
        tell(box, helper, "start", log)
        if answer is FATAL[0][0]:
            # The controller hears of the first failure, and says goodbye for a quarter of a second.
            logged(box, "\tServiceCrtlClient error: ", start=seen)
        expect(wait_until(lambda: helper.connected == 0, 5), "the agent keeps a broken connection")
        helper.answer = succeed
        sent = tell(box, helper, "start", SENDING)
        expect(sent == [VERSION, START], f"after {log}: sent {sent}")
        expect(returns_to(box, calm), f"after {log}: {resources_of(box.agent.pid)}, not {calm}")
    ends(box, service, helper)


# What a helper that has to be replaced does to a peer that connects, or that asks for the version.
UNFIT = (("greeting", [HANG_UP]), ("handshake", [b'F7100015{"version', HANG_UP]), ("handshake", [b"F7100000"]),
         ("handshake", [frame({"version": 1})]), ("handshake", [frame({"version": "0.0.9"})]), ("handshake", []))


def an_unfit_helper_is_replaced(box):
    service, helper = started(box)
    calm = None
    for place, steps in UNFIT:
        setattr(helper, place, [RETIRE, *steps])
        seen, done = len(box.log.record), len(box.helper_log.record)
        expect(box.agent.say("task /bin/true"), "the agent does not listen")
        logged(box, f"\tPrivileged helper {HELPER} is up-to-date, version: ", start=seen)
        logged(box, "\tSending launch command", start=seen)
        expect(box.helper_log.record.wait("ExecuteTask completed with status 0", 20, done),
               "the new helper does nothing")
        replacements = box.serving(HELPER)
        expect(len(replacements) == 1, f"{len(replacements)} helpers run")
        calm = calm or resources_of(box.agent.pid)
        expect(returns_to(box, calm), f"after {steps}: {resources_of(box.agent.pid)}, not {calm}")
        expect(set(helper.frames) <= {VERSION, BYE} and not helper.faults, f"sent {helper.frames}, {helper.faults}")
        helper.die()
        seen = len(box.log.record)
        os.kill(replacements[0], signal.SIGTERM)
        logged(box, "\t" + CLOSED, start=seen)
        helper = WireHelper(box)
    ends(box, service, helper)


main([commands_travel_as_frames, whatever_a_helper_answers_is_survived, an_unfit_helper_is_replaced],
     side_by_side=True)
