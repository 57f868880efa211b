#!/usr/bin/env python3
"""The agent's bytes, rhythm and log lines, against a service that shares no code with it."""

import pathlib
import re
import time

from agent_process import session_of
from harness import ends_well, expect, logged, main
from sandbox import wait_until
from wire import WireDaemon, answer_all, answer_nothing

POLL = 5.0
SLACK = 0.75  # of a busy machine under a sanitizer


def started(box, answer=answer_all, ui="terminal"):
    service = WireDaemon(box, answer)
    box.start_agent(ui)
    return service


def heard(service, text, start=0, count=1):
    return expect(service.record.wait(text, 20, start, count), f"did not come: {text}")


def near(measured, wanted, what):
    expect(abs(measured - wanted) < SLACK, f"{what}: {measured:.2f} s, not {wanted} s")


def it_registers_and_polls(box):
    service = started(box)
    first, second = (heard(service, "<GetStatus", count=count) for count in (1, 2))
    near(second.time - first.time, POLL, "second poll")
    pid = box.agent.pid
    session, user = session_of(pid)
    sent = service.all_text()
    expect(sent == f'<RegisterAgent SessionID="{session}" UserID="{user}" ProcessID="{pid}" RequestData="1">'
           '</RegisterAgent><GetStatus RequestData="2" /><GetStatus RequestData="3" />', f"sent {sent}")
    expect(service.connections == 1, "more than one connection")
    for text in (r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3} Thread\[[0-9a-f]+\]:\tStarting status timer$",
                 r"\tRegistering service agent\.\.\.$",
                 rf"\tSending RegisterAgent request for user: {user}, session: {session}, pid: {pid}$",
                 r"\tService agent registered\.$"):
        expect(len(box.log.record.find(text)) == 1, f"not once in the log: {text}")
    ends_well(box, service)


def commands_of_the_terminal_are_sent(box):
    service = started(box)
    heard(service, "<GetStatus")
    for command, wanted in (("pause", '<Pause /><GetStatus RequestData="3" />'),
                            ("continue", '<Continue /><GetStatus RequestData="4" />'),
                            ("reboot", "<RebootSystem />")):
        seen = len(service.record)
        expect(box.agent.say(command), "the agent does not listen")
        expect(wait_until(lambda: len(service.all_text(seen)) >= len(wanted), 10), f"{command}: nothing came")
        expect(service.all_text(seen) == wanted, f"{command}: sent {service.all_text(seen)}")
    logged(box, r"\treboot request succesfully sent$")
    box.agent.say("quit")
    expect(box.agent.wait(20) == 0, "the agent's exit status is not 0")
    service.die()


def clients_are_launched(box):
    service = started(box)
    heard(service, "<GetStatus")
    client = box.root / "my client"
    client.write_text('#!/bin/sh\nprintf "%s\\n" "$@" >"$0.new"; mv "$0.new" "$0.arguments"\n')
    client.chmod(0o755)
    service.push(f'<Status Value="online"/><ServiceCommand Command="ExecuteProcess" Executable="&#34;{client}&#34;"'
                 ' Parameters="  /sessionid:9  &#34;/remoteuser:A &amp; B&#34; /proxyconfig:x plain "/>'.encode())
    sent = time.monotonic()
    line = expect(service.record.wait("<ClientLauched", 40), "no launch was reported")
    if float(pathlib.Path("/proc/uptime").read_text().split()[0]) > 100:  # else the desktop gets time to come up
        near(line.time - sent, 1.0, "launch delay")
    pid = re.search(r"procId: (\d+)", logged(box, r"\tStarted: ").text)[1]
    session, user = session_of(box.agent.pid)
    expect(line.text.startswith(f'<ClientLauched ProcessID="{pid}" SessionID="{session}" UserID="{user}" '
                                'RequestData="0"></ClientLauched>'), f"sent {line.text}")
    arguments = client.with_name("my client.arguments")
    expect(wait_until(arguments.exists, 10), "the client did not run")
    found = arguments.read_text().splitlines()
    expect(found == ["-sid:9", '"-sessionclientname:A & B"', "-proxyconfig:x", "plain"], f"arguments {found}")
    logged(box, r"\tRemoteServiceConnector: Processing command: ExecuteProcess$")
    logged(box, r"\tLaunching client in 1?\d\.0 seconds$")

    # Programs that cannot be launched are logged and not reported.
    (box.root / "text").write_text("no program")
    programs = ("/nowhere/client", str(box.root / "text"), str(box.root), "")
    for program in programs:
        service.push(f'<ServiceCommand Command="ExecuteProcess" Executable="{program}" Parameters=""/>'.encode())
    service.push(b'<ServiceCommand Command="Dance"/>')
    logged(box, r"\tReceived unknown service command: Dance$")
    logged(box, r"\tFailed to launch: ", seconds=40, count=len(programs))
    expect(len(service.record.find("<ClientLauched")) == 1, "a launch that failed was reported")
    ends_well(box, service)


def a_refused_agent_registers_again(box):
    def refuse(tag, identifier):
        if tag == b"RegisterAgent":
            return [b'<RequestResult RequestData="%d" StatusCode="5"/>' % identifier]
        return answer_all(tag, identifier)

    service = started(box, refuse, "none")
    first = heard(service, "<RegisterAgent")
    logged(box, r"\tService agent registeration failed, status: 5$")
    # The poll that finds the agent unregistered starts over with a new connection.
    second = heard(service, "<RegisterAgent", count=2)
    logged(box, r"\tReregistering service agent\.\.\.$")
    near(second.time - first.time, POLL, "second registration")
    ends_well(box, service)


def a_split_answer_is_not_taken(box):
    service = started(box, answer_nothing, "none")
    request = heard(service, "<RegisterAgent").text
    identifier = re.search(r'RequestData="(\d+)"', request)[1].encode()
    for piece in (b'<RequestResult RequestData="' + identifier, b'" StatusCode="0"/>'):
        service.push(piece)
        expect(wait_until(service.all_taken, 10), "the agent does not read")
    # What comes after it is understood.
    service.answer = answer_all
    heard(service, "<RegisterAgent", count=2)
    logged(box, r"\tService agent registered\.$")
    expect(len(box.log.record.find(r"\tService agent registered\.$")) == 1, "a split answer was taken")
    ends_well(box, service)


main([it_registers_and_polls, commands_of_the_terminal_are_sent, clients_are_launched,
      a_refused_agent_registers_again, a_split_answer_is_not_taken], side_by_side=True)
