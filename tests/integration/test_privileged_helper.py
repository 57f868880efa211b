#!/usr/bin/env python3
"""The agent's side of the talk with the privileged helper, against a helper that is not the product's own."""

import json
import os
import re
import signal

from agent_process import resources_of
from harness import expect, main
from helper_client import frame
from helper_wire import HANG_UP, RETIRE, WireHelper, completed, succeed
from installation import HELPER
from sandbox import wait_until
from wire import WireDaemon

VERSION = b'F7100015{"Ctrl":"getVersion"}'
BYE = b'F710000E{"Ctrl":"bye"}'
START = b'F7100016{"Cmd":"StartService"}'
COMMANDS = (("start", START, "Sending start service command"),
            ("stop", b'F7100015{"Cmd":"StopService"}', "Sending stop service command"),
            ("restart", b'F7100018{"Cmd":"RestartService"}', "Sending restart service command"),
            ("task /bin/echo a b", None, "Sending launch command"))
CLOSED = "PrivilegedAgent event connection closed by peer"
FAILED = "PH connection failed, reason: "


def started(box):
    service, helper = WireDaemon(box), WireHelper(box)
    box.start_agent("terminal")
    expect(service.record.wait("<GetStatus", 30), "the agent does not come up")
    return service, helper


def logged(box, text, start, seconds=20):
    return expect(box.log.record.wait("\t" + re.escape(text), seconds, start), f"not in the log: {text}")


def tell(box, helper, command, log):
    """The frames that a command makes the agent send."""
    sent, seen = len(helper.frames), len(box.log.record)
    expect(box.agent.say(command), "the agent does not listen")
    logged(box, log, seen)
    expect(wait_until(lambda: b'"Cmd"' in b"".join(helper.frames[sent:]), 20), f"{command}: nothing came")
    return helper.frames[sent:]


def grows(box, calm):
    """Whether the agent keeps more descriptors or threads than before."""
    def now():
        return resources_of(box.agent.pid)
    return not wait_until(lambda: all(count <= before for count, before in zip(now(), calm)), 5)


def ends(box, service, helper):
    expect(not helper.faults, f"no frames of an agent: {helper.faults}")
    box.agent.signal(signal.SIGTERM)
    expect(box.agent.wait(20) == 0, "the agent's exit status is not 0")
    helper.die()
    service.die()


def commands_travel_as_frames(box):
    service, helper = started(box)
    handshake = [VERSION]
    for command, wanted, log in COMMANDS:
        sent = tell(box, helper, command, log)
        expect(sent[:-1] == handshake, f"{command}: sent {sent}")
        if wanted:
            expect(sent[-1] == wanted, f"{command}: sent {sent[-1]}")
        else:
            message = json.loads(sent[-1][8:])
            expect(sent[-1] == frame(message) and message == {
                "Cmd": "ExecuteTask", "task": "/bin/echo", "args": ["a", "b"], "requestId": 1}, f"sent {sent[-1]}")
        handshake = []
    expect(len(box.log.record.find("\tConnection to PrivilegedAgent established$")) == 1, "not connected once")
    expect(box.agent.record.wait("^task: result 0$", 10), "the task's result is not shown")
    ends(box, service, helper)


def padded(message, size):
    """A failed completion whose body has that size."""
    bare = len(completed(message, -201, ErrorDetails="")) - 8
    return completed(message, -201, ErrorDetails="x" * (size - bare))


STATUS = "Command StartService failed, status: -201"
# What the helper answers to a start command, and what the agent logs then.
UNDERSTOOD = (
    (lambda message: [completed(message, -201)], STATUS),
    (lambda message: [completed(message, -201, ErrorDetails="no such service")], STATUS),
    (lambda message: [padded(message, 511)], STATUS),
    (lambda message: [padded(message, 0xAB).replace(b"000AB", b"000ab")], STATUS),
    (lambda message: [b"xyz" + padded(message, 100)[3:]], STATUS),
    (lambda message: [bytes([byte]) for byte in padded(message, 90)], STATUS),
    (lambda message: [frame([1]) + frame({}) + frame({"Event": 5}) +
                      frame(b'{"a":' + b"[" * 240 + b"]" * 240 + b"}") + padded(message, 100)], STATUS),
    (lambda _: [completed({"Cmd": "ExecuteTask"}, Response={"requestId": 99, "result": 7})],
     "Received response: 7 for unknown request: 99"),
    (lambda _: [completed({"Cmd": "ExecuteTask"})], "Received response: (null) for unknown request: (null)"),
    (lambda _: [], "Sending start service command"),
)
INVALID = FAILED + "Failed to deserialize message"
FATAL = (
    ([b"F7100000"], FAILED + "Invalid message size: 0, error: -101"),
    ([b"F71zzzzz"], FAILED + "Invalid message size: 0, error: -101"),
    ([b"F7100200" + b" " * 512], FAILED + "Invalid message size: 512, error: -101"),
    ([b"F71FFFFF"], FAILED + "Invalid message size: 1048575, error: -101"),
    ([b"F7100001{"], INVALID),
    ([frame(b'"Event"')], INVALID),
    ([frame(b"5")], INVALID),
    ([frame(b'{"a":"\0"}')], INVALID),
    ([frame(b'{"Event":1}\0')], INVALID),
    ([frame(b'{"a":"\xff\xfe"}')], INVALID),
    ([frame(b"[" * 511)], INVALID),
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
        sent = tell(box, helper, "start", log)
        if answer is FATAL[0][0]:
            # The first failure is told to the controller, which says goodbye, a quarter of a second long.
            logged(box, "ServiceCrtlClient error: ", seen)
        expect(wait_until(lambda: helper.connected == 0, 5), "the agent keeps a broken connection")
        helper.answer = succeed
        sent = tell(box, helper, "start", "Sending start service command")
        expect(sent == [VERSION, START], f"after {log}: sent {sent}")
        expect(not grows(box, calm), f"after {log}: {resources_of(box.agent.pid)}, not {calm}")
    ends(box, service, helper)


# What a helper that is about to be replaced does to a peer that connects, or that asks for the version.
UNFIT = (
    ("greeting", [HANG_UP]),
    ("handshake", [HANG_UP]),
    ("handshake", [b"F7", HANG_UP]),
    ("handshake", [b'F7100015{"version', HANG_UP]),
    ("handshake", [b"F7100000"]),
    ("handshake", [frame(b"nonsense")]),
    ("handshake", [frame({"Event": "CommandCompleted"})]),
    ("handshake", [frame({"version": 1})]),
    ("handshake", [frame({"version": "0.0.9"})]),
    ("handshake", []),
)


def an_unfit_helper_is_replaced(box):
    service, helper = started(box)
    calm = None
    for place, steps in UNFIT:
        setattr(helper, place, [RETIRE, *steps])
        seen, done = len(box.log.record), len(box.helper_log.record)
        expect(box.agent.say("task /bin/true"), "the agent does not listen")
        logged(box, f"Privileged helper {HELPER} is up-to-date, version: ", seen)
        logged(box, "Sending launch command", seen)
        done = box.helper_log.record.wait("ExecuteTask completed with status 0", 20, done)
        expect(done, "the new helper does nothing")
        replacements = box.serving(HELPER)
        expect(len(replacements) == 1, f"{len(replacements)} helpers run")
        calm = calm or resources_of(box.agent.pid)
        expect(not grows(box, calm), f"after {steps}: {resources_of(box.agent.pid)}, not {calm}")
        expect(set(helper.frames) <= {VERSION, BYE} and not helper.faults, f"sent {helper.frames}, {helper.faults}")
        helper.die()
        seen = len(box.log.record)
        os.kill(replacements[0], signal.SIGTERM)
        logged(box, CLOSED, seen)
        helper = WireHelper(box)
    ends(box, service, helper)


main([commands_travel_as_frames, whatever_a_helper_answers_is_survived, an_unfit_helper_is_replaced])
